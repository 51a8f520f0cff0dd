#include "tests/oracles/echo/Echokompensation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace hallkorb::referenz {

namespace {

constexpr std::size_t N = Echokompensation::N;
using Feld = Echokompensation::Feld;
using Block = std::array<double, N>;

double summe(const Block& a, const Block& b) {
  double s = 0.0;
  for (std::size_t i = 0; i < N; ++i)
    s += a[i] * b[i];
  return s;
}

Block differenz(const Block& a, const Block& b) {
  Block r;
  for (std::size_t i = 0; i < N; ++i)
    r[i] = a[i] - b[i];
  return r;
}

void null(Feld& feld) {
  std::fill(feld.begin(), feld.end(), 0.0);
}

}  // namespace

Echokompensation::Echokompensation(std::int64_t partitionen, double stoerung)
    : P(static_cast<std::size_t>(partitionen)),
      Xr((P + 1) * K),
      Xi((P + 1) * K),
      Wr(P * K),
      Wi(P * K),
      Fr(P * K),
      Fi(P * K),
      power(K),
      power1(K),
      Er(K),
      Ei(K),
      Eh(K),
      Yh(K),
      fft(9, stoerung),
      ar(K),
      ai(K),
      br(K),
      bi(K),
      prop(P),
      prior(P),
      fade(N),
      fenster(K),
      eHist(N),
      yHist(N),
      ola(N),
      gain(H, 1.0),
      restAvg(H),
      rausch(H),
      rho(H) {
  for (std::size_t j = 0; j < P; ++j)
    prior[j] = std::exp(-static_cast<double>(j) / 3.0);
  for (std::size_t i = 0; i < N; ++i) {
    fade[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(N + i) / 511.0);
  }
  for (std::size_t k = 0; k < K; ++k) {
    fenster[k] =
        std::sqrt(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(k) / 512.0));
  }
}

std::array<double, N> Echokompensation::echoSchaetzen(const Feld& Ar, const Feld& Ai) {
  null(ar);
  null(ai);
  for (std::size_t j = 0; j < P; ++j) {
    for (std::size_t k = 0; k < K; ++k) {
      const std::size_t q = j * K + k;
      ar[k] += Ar[q] * Xr[q] - Ai[q] * Xi[q];
      ai[k] += Ar[q] * Xi[q] + Ai[q] * Xr[q];
    }
  }
  fft.rueck(ar.data(), ai.data());
  Block y;
  std::copy_n(ar.begin() + N, N, y.begin());
  return y;
}

void Echokompensation::beschraenken(std::size_t j) {
  std::copy_n(&Wr[j * K], K, ar.begin());
  std::copy_n(&Wi[j * K], K, ai.begin());
  fft.rueck(ar.data(), ai.data());
  null(ai);
  std::fill(ar.begin() + N, ar.end(), 0.0);
  fft.vor(ar.data(), ai.data());
  std::copy_n(ar.begin(), K, &Wr[j * K]);
  std::copy_n(ai.begin(), K, &Wi[j * K]);
}

std::array<double, N> Echokompensation::block(std::span<const double> mic,
                                              std::span<const double> ref) {
  // One more block.
  bloecke += 1;

  // Notch at 0 Hz, then pre-emphasis.
  Block d;
  for (std::size_t i = 0; i < N; ++i) {
    const double x = mic[i];
    const double v = x + n0;
    const double r = 0.982 * v;
    n0 = n1 + 2.0 * (r - x);
    n1 = x - 0.9645508 * v;
    d[i] = r - 0.9 * preD;
    preD = r;
  }

  // Reference spectra.
  std::copy_backward(Xr.begin(), Xr.end() - K, Xr.end());
  std::copy_backward(Xi.begin(), Xi.end() - K, Xi.end());
  std::copy_n(ref.begin(), K, Xr.begin());
  std::fill_n(Xi.begin(), K, 0.0);
  fft.vor(Xr.data(), Xi.data());

  // Power of the newest reference block.
  double Sxx = 0.0;
  for (std::size_t i = N; i < K; ++i)
    Sxx += ref[i] * ref[i];

  // Foreground.
  Block yf = echoSchaetzen(Fr, Fi);
  Block ef = differenz(d, yf);
  double Sff = summe(ef, ef);

  // Gradient step.
  if (screwed == 0) {
    double m = 0.0;
    for (std::size_t j = 0; j < P; ++j) {
      std::copy_n(&Wr[j * K], K, ar.begin());
      std::copy_n(&Wi[j * K], K, ai.begin());
      fft.rueck(ar.data(), ai.data());
      double energie = 0.0;
      for (std::size_t t = 0; t < N; ++t)
        energie += ar[t] * ar[t];
      prop[j] = std::sqrt(static_cast<double>(K) * energie + 1.0);
      if (prop[j] > m) m = prop[j];
    }
    double gesamt = 0.0;
    for (std::size_t j = 0; j < P; ++j) {
      prop[j] = prop[j] + 0.1 * m + vorwissen * prior[j];
      gesamt += prop[j];
    }
    for (std::size_t j = 0; j < P; ++j)
      prop[j] = 0.99 * prop[j] / gesamt;

    for (std::size_t j = 0; j < P; ++j) {
      for (std::size_t k = 0; k < K; ++k) {
        const std::size_t w = j * K + k;
        const std::size_t x = (j + 1) * K + k;
        const double schritt = prop[j] * power1[k];
        Wr[w] += schritt * (Er[k] * Xr[x] + Ei[k] * Xi[x]);
        Wi[w] += schritt * (Ei[k] * Xr[x] - Er[k] * Xi[x]);
      }
    }
  }

  // Constraint.
  beschraenken(0);
  const std::size_t reihum =
      static_cast<std::size_t>(bloecke) % std::max<std::size_t>(P - 1, 1) + 1;
  if (reihum < P) beschraenken(reihum);

  // Background.
  const Block yb = echoSchaetzen(Wr, Wi);
  const Block eb = differenz(d, yb);
  double See = summe(eb, eb);
  const Block unterschied = differenz(yf, yb);
  const double Dbf = 10.0 + summe(unterschied, unterschied);

  // Averages.
  const double D = Sff - See;
  Davg1 = 0.6 * Davg1 + 0.4 * D;
  Davg2 = 0.85 * Davg2 + 0.15 * D;
  Dvar1 = 0.36 * Dvar1 + 0.16 * Sff * Dbf;
  Dvar2 = 0.7225 * Dvar2 + 0.0225 * Sff * Dbf;

  Block y = yb;
  Block e = eb;
  if (D * std::fabs(D) > Sff * Dbf || Davg1 * std::fabs(Davg1) > 0.5 * Dvar1 ||
      Davg2 * std::fabs(Davg2) > 0.25 * Dvar2) {
    // Foreground update.
    Davg1 = Davg2 = Dvar1 = Dvar2 = 0.0;
    Fr = Wr;
    Fi = Wi;
    vgKopien += 1;
    for (std::size_t i = 0; i < N; ++i)
      yf[i] = fade[i] * yf[i] + (1.0 - fade[i]) * yb[i];
    ef = differenz(d, yf);
    Sff = summe(ef, ef);
  } else if (-D * std::fabs(D) > 4.0 * Sff * Dbf || -Davg1 * std::fabs(Davg1) > 4.0 * Dvar1 ||
             -Davg2 * std::fabs(Davg2) > 4.0 * Dvar2) {
    // Background reset; See stays the sum over e_b.
    Wr = Fr;
    Wi = Fi;
    Davg1 = Davg2 = Dvar1 = Dvar2 = 0.0;
    hgReset += 1;
    y = yf;
    e = ef;
  }

  // The residual that goes to the post-filter.
  const Block out = differenz(d, yf);

  // Correlations.
  const double Sey = summe(e, y);
  const double Syy = summe(y, y);
  const double Sdd = summe(d, d);

  // Sanity.
  if (std::isfinite(Syy) && std::isfinite(See) && std::isfinite(Sff) &&
      Sff <= Sdd + static_cast<double>(N) * 10000.0) {
    screwed = 0;
  } else {
    screwed += 1;
    if (!std::isfinite(Syy) || screwed == 50) resetFilter();
  }

  // Floor of the error energy.
  See = std::max(See, static_cast<double>(N) * 100.0 / 64.0);

  // Spectra of error and echo.
  null(Er);
  null(Ei);
  std::copy(e.begin(), e.end(), Er.begin() + N);
  fft.vor(Er.data(), Ei.data());
  null(br);
  null(bi);
  std::copy(y.begin(), y.end(), br.begin() + N);
  fft.vor(br.data(), bi.data());

  // Smoothed spectra.
  double pe = 0.0;
  double py = 0.0;
  const double ss = 0.35 / static_cast<double>(P);
  const double a = static_cast<double>(N) / 16000.0;
  for (std::size_t k = 0; k < K; ++k) {
    const double Rf = Er[k] * Er[k] + Ei[k] * Ei[k];
    const double Yf = br[k] * br[k] + bi[k] * bi[k];
    const double Xf = Xr[k] * Xr[k] + Xi[k] * Xi[k];
    power[k] = (1.0 - ss) * power[k] + 1.0 + ss * Xf;
    if (k <= K / 2) {
      pe += (Rf - Eh[k]) * (Yf - Yh[k]);
      py += (Yf - Yh[k]) * (Yf - Yh[k]);
    }
    Eh[k] = a * Rf + (1.0 - a) * Eh[k];
    Yh[k] = a * Yf + (1.0 - a) * Yh[k];
    ar[k] = Rf;
    ai[k] = Yf;
  }

  // Leakage.
  py = std::sqrt(py);
  pe = pe / (py + 1e-9);
  const double n = static_cast<double>(N);
  const double alpha = std::min((2.0 * n / 16000.0) * Syy, (0.5 * n / 16000.0) * See) / See;
  Pyy = std::max(1.0, (1.0 - alpha) * Pyy + alpha * py);
  Pey = std::min(Pyy, std::max(0.005 * Pyy, (1.0 - alpha) * Pey + alpha * pe));
  leak = Pey / Pyy;

  // Residual-to-error ratio.
  double RER = (0.0001 * Sxx + 3.0 * leak * Syy) / See;
  RER = std::max(RER, Sey * Sey / (See * Syy + 1.0));
  RER = std::min(RER, 0.5);

  // Step sizes.
  if (!adapted && sumAdapt > static_cast<double>(P) && leak * Syy > 0.03 * Syy) adapted = true;
  if (adapted) {
    for (std::size_t k = 0; k < K; ++k) {
      const double ek = ar[k] + 1.0;
      const double r = std::min(leak * ai[k], 0.5 * ek);
      power1[k] = (0.7 * r + 0.3 * RER * ek) / (ek * (power[k] + 10.0));
    }
  } else {
    double rate = 0.0;
    if (Sxx > n * 1000.0) rate = std::min(startRate * See, startRate * Sxx) / See;
    for (std::size_t k = 0; k < K; ++k)
      power1[k] = rate / (power[k] + 10.0);
    sumAdapt += rate;
  }

  if (!nachfilterAn) {
    letzteSprache = true;
    return deemphase(out);
  }
  return deemphase(nachfilter(out, yf));
}

std::array<double, N> Echokompensation::nachfilter(const Block& out, const Block& yf) {
  // Analysis frames.
  for (std::size_t i = 0; i < N; ++i) {
    ar[i] = eHist[i] * fenster[i];
    ar[N + i] = out[i] * fenster[N + i];
    br[i] = yHist[i] * fenster[i];
    br[N + i] = yf[i] * fenster[N + i];
  }
  std::copy(out.begin(), out.end(), eHist.begin());
  std::copy(yf.begin(), yf.end(), yHist.begin());
  null(ai);
  null(bi);
  fft.vor(ar.data(), ai.data());
  fft.vor(br.data(), bi.data());

  // The first block starts the noise floor.
  if (!rauschBereit) {
    for (std::size_t k = 0; k < H; ++k)
      rausch[k] = ar[k] * ar[k] + ai[k] * ai[k] + 1.0;
    rauschBereit = true;
  }

  // Leakage, not below -15 dB.
  const double l = std::max(leak, 0.03162277660168379);

  // Noise floor, residual echo, band sums.
  Eintrag neu;
  neu.p.resize(H);
  double SPe = 0.0;
  double SPy = 0.0;
  double SN = 0.0;
  for (std::size_t k = 0; k < H; ++k) {
    const double Pe = ar[k] * ar[k] + ai[k] * ai[k] + 1.0;
    const double Py = br[k] * br[k] + bi[k] * bi[k] + 1.0;
    if (Pe < 3.0 * rausch[k]) {
      rausch[k] = 0.95 * rausch[k] + 0.05 * Pe;
    } else {
      rausch[k] = 1.01 * rausch[k];
    }
    restAvg[k] = std::max(nachhall * restAvg[k], c * std::max(rho[k], l) * Py);
    neu.p[k] = Py;
    if (k >= bandLo && k <= bandHi) {
      SPe += Pe;
      SPy += Py;
      SN += rausch[k];
    }
  }

  // Flags of the current block.
  neu.nah = SPe > std::pow(10.0, theta / 10.0) * (SN + c * l * SPy);
  neu.echo = SPy > 0.5 * SN;

  // Into the queue.
  neu.er = ar;
  neu.ei = ai;
  neu.r = restAvg;
  schlange.push_back(std::move(neu));
  tNach += 1;

  Block output;
  // The look-ahead fills: silence.
  if (schlange.size() <= 16) {
    std::copy(ola.begin(), ola.end(), output.begin());
    null(ola);
    letzteSprache = false;
    return output;
  }

  // The block that is 16 blocks old.
  const Eintrag alt = std::move(schlange.front());
  schlange.pop_front();
  letzteSprache = alt.nah;
  const std::int64_t t = tNach - 17;

  // Hold and gate.
  bool hold = false;
  bool gate = false;
  if (alt.nah) {
    nahZuletzt = t;
    hold = true;
  } else if (std::any_of(schlange.begin(), schlange.end(),
                         [](const Eintrag& eintrag) { return eintrag.nah; })) {
    hold = true;
  } else if (!nahZuletzt) {
    gate = alt.echo;
  } else {
    const std::int64_t g = t - *nahZuletzt;
    hold = g < 21;
    gate = alt.echo && g >= 21;
  }
  tor = gate;
  nahHalt = hold ? 1 : 0;

  // Learn rho.
  if (gate) {
    double m = alt.p[0];
    for (std::size_t k = 1; k < H; ++k) {
      if (alt.p[k] > m) m = alt.p[k];
    }
    for (std::size_t k = 0; k < H; ++k) {
      if (alt.p[k] > 0.001 * (m + 1e-9)) {
        double q =
            (alt.er[k] * alt.er[k] + alt.ei[k] * alt.ei[k] + 1.0 - rausch[k]) / (alt.p[k] + 1e-9);
        if (!(q > 0.0)) q = 0.0;
        if (q > 4.0) q = 4.0;
        rho[k] += 0.05 * (q - rho[k]);
      }
    }
    torBloecke += 1;
  }

  // Held blocks.
  if (hold) nahBloecke += 1;

  // Gain floor and gate level.
  const double gmin = gate ? 0.01778279410038923 : std::pow(10.0, gminOffen / 20.0);
  const double gt = std::pow(10.0, torDb / 20.0);

  // Gain.
  for (std::size_t k = 0; k < H; ++k) {
    double g = 1.0 - alt.r[k] / (alt.er[k] * alt.er[k] + alt.ei[k] * alt.ei[k] + 1.0);
    g = std::max(g, gmin);
    g = std::min(g, 1.0);
    if (gate && g > gt) g = gt;
    gain[k] = g < gain[k] ? g : 0.6 * gain[k] + 0.4 * g;
  }

  // Apply.
  for (std::size_t k = 0; k < K; ++k) {
    const std::size_t j = k <= K / 2 ? k : K - k;
    ar[k] = gain[j] * alt.er[k];
    ai[k] = gain[j] * alt.ei[k];
  }
  fft.rueck(ar.data(), ai.data());

  // Overlap-add.
  for (std::size_t i = 0; i < N; ++i) {
    output[i] = ola[i] + ar[i] * fenster[i];
    ola[i] = ar[N + i] * fenster[N + i];
  }
  return output;
}

// De-emphasis.
std::array<double, N> Echokompensation::deemphase(Block output) {
  for (double& wert : output) {
    wert = wert + 0.9 * deM;
    deM = wert;
  }
  return output;
}

void Echokompensation::resetFilter() {
  for (auto* feld : {&Wr, &Wi, &Fr, &Fi, &power1, &Er, &Ei})
    null(*feld);
  adapted = false;
  sumAdapt = 0.0;
  Pey = 1.0;
  Pyy = 1.0;
  screwed = 0;
  resets += 1;
}

void Echokompensation::versetzen(std::int64_t s, const std::function<Feld(std::int64_t)>& frame) {
  const auto p = static_cast<std::int64_t>(P);
  for (auto* feld : {&Wr, &Wi, &Fr, &Fi}) {
    Feld neu(P * K);
    for (std::int64_t j = 0; j < p; ++j) {
      const std::int64_t nach = j - s;
      if (nach < 0 || nach >= p) continue;
      std::copy_n(&(*feld)[static_cast<std::size_t>(j) * K], K,
                  &neu[static_cast<std::size_t>(nach) * K]);
    }
    *feld = std::move(neu);
  }
  for (std::int64_t j = 0; j <= p; ++j) {
    const Feld f = frame(j);
    const std::size_t anfang = static_cast<std::size_t>(j) * K;
    std::copy_n(f.begin(), K, &Xr[anfang]);
    std::fill_n(&Xi[anfang], K, 0.0);
    fft.vor(&Xr[anfang], &Xi[anfang]);
  }
  null(Er);
  null(Ei);
}

}  // namespace hallkorb::referenz
