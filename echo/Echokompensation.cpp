#include "echo/Echokompensation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace hallkorb {

using kern::K;
using kern::N;
using kern::Spektrum;
using kern::ZEILE;

static_assert(EK_N == static_cast<std::int64_t>(N) && EK_K == static_cast<std::int64_t>(K));

namespace {

constexpr double BLOCK = static_cast<double>(N);
// Both filters' rows: real and imaginary parts of a half spectrum.
constexpr std::size_t REIHE = 2 * ZEILE;

constexpr auto laenge(std::size_t n) {
  return static_cast<std::int64_t>(n);
}

// x |x|: the sign survives the square.
double quadratMitVorzeichen(double x) {
  return x * std::fabs(x);
}

}  // namespace

Echokompensation::Echokompensation(std::int64_t partitionen)
    : P(static_cast<std::size_t>(std::max<std::int64_t>(partitionen, 1))),
      k(kern::bester()),
      X(laenge((P + 1) * REIHE)),
      W(laenge(P * REIHE)),
      F(laenge(P * REIHE)),
      x(P + 1),
      power(laenge(ZEILE)),
      power1(laenge(ZEILE)),
      Er(laenge(ZEILE)),
      Ei(laenge(ZEILE)),
      Yr(laenge(ZEILE)),
      Yi(laenge(ZEILE)),
      Br(laenge(ZEILE)),
      Bi(laenge(ZEILE)),
      Eh(laenge(ZEILE)),
      Yh(laenge(ZEILE)),
      Rf(laenge(ZEILE)),
      Yf(laenge(ZEILE)),
      prop(laenge(P)),
      propReihe(laenge(P)),
      prior(laenge(P)),
      fade(laenge(N)),
      d(laenge(N)),
      yf(laenge(N)),
      yb(laenge(N)),
      ef(laenge(N)),
      eb(laenge(N)),
      out(laenge(N)),
      leer(laenge(ZEILE)),
      muell(laenge(ZEILE)),
      nachfilter_(fft) {
  for (std::size_t j = 0; j <= P; ++j)
    x[j] = X.p + j * REIHE;
  for (std::size_t j = 0; j < P; ++j)
    prior[j] = std::exp(-static_cast<double>(j) / 3.0);
  // The falling half of a Hann curve of 512 values.
  for (std::size_t i = 0; i < N; ++i) {
    fade[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(N + i) / 511.0);
  }
}

std::span<const double> Echokompensation::block(std::span<const double> mic,
                                                std::span<const double> ref) {
  ++bloecke_;
  k.vorfilter(mic.data(), d.p, vorfilter);
  referenzAufnehmen(ref);
  Energien s;
  s.Sxx = k.skalarprodukt(ref.data() + N, ref.data() + N, N);

  hintergrundAnpassen();
  echosSchaetzen(s);
  const Paar paar = vergleichen(s);

  // The residual: what is left of the microphone.
  k.differenz(d.p, yf.p, out.p, N);
  const bool endlich = std::isfinite(s.Sff);
  s.Sey = k.skalarprodukt(paar.e, paar.y, N);
  s.Syy = k.skalarprodukt(paar.y, paar.y, N);
  s.Sdd = k.skalarprodukt(d.p, d.p, N);
  pruefen(s);
  schrittweiteBestimmen(paar, s);

  if (nachfilterAn_) {
    nachfilter_.block(out.p, yf.p, leak_, endlich, out.p);
    letzteSprache_ = nachfilter_.letzteSprache();
  } else {
    letzteSprache_ = true;
  }
  k.deemphase(out.p, deM);
  return {out.p, N};
}

Spektrum Echokompensation::zeile(DFeld& filter, std::size_t j) const {
  return {filter.p + j * REIHE, filter.p + j * REIHE + ZEILE};
}

// The oldest spectrum makes room for the newest.
void Echokompensation::referenzAufnehmen(std::span<const double> ref) {
  std::rotate(x.begin(), x.end() - 1, x.end());
  std::copy_n(ref.data(), K, fft.re);
  fft.vorEinzeln({x[0], x[0] + ZEILE});
}

// Each partition's share of the step, by the energy of its first N taps. The shares add up to 0.99.
void Echokompensation::gewichten() {
  double groesste = 0.0;
  const auto energie = [&](const double* w) { return k.skalarprodukt(w, w, N); };
  for (std::size_t j = 0; j < P; j += 2) {
    const bool zwei = j + 1 < P;
    fft.rueckUnskaliert(zeile(W, j), zwei ? zeile(W, j + 1) : Spektrum{leer.p, leer.p});
    // Without the factor 1/K the energy is K^2 times too large.
    prop[j] = std::sqrt(energie(fft.re) / static_cast<double>(K) + 1.0);
    if (prop[j] > groesste) groesste = prop[j];
    if (!zwei) continue;
    prop[j + 1] = std::sqrt(energie(fft.im) / static_cast<double>(K) + 1.0);
    if (prop[j + 1] > groesste) groesste = prop[j + 1];
  }
  double gesamt = 0.0;
  for (std::size_t j = 0; j < P; ++j) {
    prop[j] = prop[j] + 0.1 * groesste + vorwissen * prior[j];
    gesamt += prop[j];
  }
  for (std::size_t j = 0; j < P; ++j)
    prop[j] = 0.99 * prop[j] / gesamt;
}

// Gradient step of W with the error of the block before, constraint, and the echo spectra of both
// filters. All partitions but the two to be constrained are stepped in the pass that filters.
void Echokompensation::hintergrundAnpassen() {
  const bool lernen = screwed_ == 0;
  const Spektrum E{Er.p, Ei.p};
  // Partition 0 is constrained on every block, the others in turn.
  const std::size_t reihum =
      static_cast<std::size_t>(bloecke_) % std::max<std::size_t>(P - 1, 1) + 1;
  if (lernen) {
    gewichten();
    std::copy_n(prop.p, P, propReihe.p);
    for (const std::size_t j : {std::size_t{0}, reihum}) {
      if (j >= P) continue;
      // The error belongs to the block before, so it meets the spectrum one older than the filter.
      k.gradient(W.p + j * REIHE, x[j + 1], prop[j], power1.p, E);
      propReihe[j] = 0.0;
    }
  }
  beschraenken(0, reihum);
  k.filtern(W.p, F.p, x.data(), P, lernen ? propReihe.p : nullptr, power1.p, E, {Yr.p, Yi.p},
            {Br.p, Bi.p});
}

// A partition's filter is real and N taps long. Takes two at once; j1 may be beyond the last.
void Echokompensation::beschraenken(std::size_t j0, std::size_t j1) {
  const Spektrum erste = zeile(W, j0);
  const bool zwei = j1 < P;
  fft.rueck(erste, zwei ? zeile(W, j1) : Spektrum{leer.p, leer.p});
  std::fill(fft.re + N, fft.re + K, 0.0);
  std::fill(fft.im + N, fft.im + K, 0.0);
  if (zwei) {
    fft.vor(erste, zeile(W, j1));
  } else {
    fft.vorEinzeln(erste);
  }
}

// The echo that either filter expects, and the errors.
void Echokompensation::echosSchaetzen(Energien& s) {
  const Spektrum vordergrund{Yr.p, Yi.p};
  const Spektrum hintergrund{Br.p, Bi.p};
  fft.rueck(vordergrund, hintergrund);
  std::copy_n(fft.re + N, N, yf.p);
  std::copy_n(fft.im + N, N, yb.p);
  s.Dbf = 10.0 + k.abstand(yf.p, yb.p, N);
  if (!std::isfinite(s.Dbf)) {
    // One of the filters has failed; the other's echo must not suffer.
    fft.rueckEinzeln(vordergrund);
    std::copy_n(fft.re + N, N, yf.p);
    fft.rueckEinzeln(hintergrund);
    std::copy_n(fft.re + N, N, yb.p);
    s.Dbf = 10.0 + k.abstand(yf.p, yb.p, N);
  }
  k.differenz(d.p, yf.p, ef.p, N);
  k.differenz(d.p, yb.p, eb.p, N);
  s.Sff = k.skalarprodukt(ef.p, ef.p, N);
  s.See = k.skalarprodukt(eb.p, eb.p, N);
}

// Which filter is better, by this block and by two averages.
Echokompensation::Paar Echokompensation::vergleichen(Energien& s) {
  const double D = s.Sff - s.See;
  const double varianz = s.Sff * s.Dbf;
  Davg1 = 0.6 * Davg1 + 0.4 * D;
  Davg2 = 0.85 * Davg2 + 0.15 * D;
  Dvar1 = 0.36 * Dvar1 + 0.16 * s.Sff * s.Dbf;
  Dvar2 = 0.7225 * Dvar2 + 0.0225 * s.Sff * s.Dbf;

  const double q = quadratMitVorzeichen(D);
  const double q1 = quadratMitVorzeichen(Davg1);
  const double q2 = quadratMitVorzeichen(Davg2);
  if (q > varianz || q1 > 0.5 * Dvar1 || q2 > 0.25 * Dvar2) {
    Davg1 = Davg2 = Dvar1 = Dvar2 = 0.0;
    std::copy_n(W.p, W.n, F.p);
    ++vgKopien_;
    // From the old filter's echo to the new one's without a click.
    k.ueberblenden(fade.p, yf.p, yb.p);
    k.differenz(d.p, yf.p, ef.p, N);
    s.Sff = k.skalarprodukt(ef.p, ef.p, N);
    return {yb.p, eb.p, s.See};
  }
  if (-q > 4.0 * varianz || -q1 > 4.0 * Dvar1 || -q2 > 4.0 * Dvar2) {
    std::copy_n(F.p, F.n, W.p);
    Davg1 = Davg2 = Dvar1 = Dvar2 = 0.0;
    ++hgReset_;
    // See stays that of the background filter that has failed: the step size is to be careful.
    return {yf.p, ef.p, s.Sff};
  }
  return {yb.p, eb.p, s.See};
}

// A filter that makes the signal much louder than it was, or numbers that are none.
void Echokompensation::pruefen(const Energien& s) {
  if (std::isfinite(s.Syy) && std::isfinite(s.See) && std::isfinite(s.Sff) &&
      s.Sff <= s.Sdd + BLOCK * 10000.0) {
    screwed_ = 0;
    return;
  }
  ++screwed_;
  if (!std::isfinite(s.Syy) || screwed_ >= 50) resetFilter();
}

// How fast each bin may learn from this block's error in the next.
void Echokompensation::schrittweiteBestimmen(Paar paar, Energien& s) {
  const Spektrum E{Er.p, Ei.p};
  const Spektrum Y{Yr.p, Yi.p};
  const auto einsetzen = [](double* ziel, const double* signal) {
    std::fill_n(ziel, N, 0.0);
    std::copy_n(signal, N, ziel + N);
  };
  if (std::isfinite(paar.energie) && std::isfinite(s.Syy)) {
    einsetzen(fft.re, paar.e);
    einsetzen(fft.im, paar.y);
    fft.vor(E, Y);
  } else {
    einsetzen(fft.re, paar.e);
    fft.vorEinzeln(E);
    einsetzen(fft.re, paar.y);
    fft.vorEinzeln(Y);
  }

  const double See = std::max(s.See, BLOCK * 100.0 / 64.0);
  double pe = 0.0;
  double py = 0.0;
  k.glaetten(E, Y, x[0], 0.35 / static_cast<double>(P), BLOCK / EK_R, power.p, Eh.p, Yh.p, Rf.p,
             Yf.p, pe, py);

  // Leakage: how the error's spectrum follows the echo's.
  py = std::sqrt(py);
  pe = pe / (py + 1e-9);
  const double alpha = std::min((2.0 * BLOCK / EK_R) * s.Syy, (0.5 * BLOCK / EK_R) * See) / See;
  Pyy = std::max(1.0, (1.0 - alpha) * Pyy + alpha * py);
  Pey = std::min(Pyy, std::max(0.005 * Pyy, (1.0 - alpha) * Pey + alpha * pe));
  leak_ = Pey / Pyy;

  // Residual-to-error ratio.
  double RER = (0.0001 * s.Sxx + 3.0 * leak_ * s.Syy) / See;
  RER = std::max(RER, s.Sey * s.Sey / (See * s.Syy + 1.0));
  RER = std::min(RER, 0.5);

  if (!adapted && sumAdapt > static_cast<double>(P) && leak_ * s.Syy > 0.03 * s.Syy) {
    adapted = true;
  }
  if (adapted) {
    k.schrittweite(Rf.p, Yf.p, power.p, leak_, RER, power1.p);
  } else {
    const double rate =
        s.Sxx > BLOCK * 1000.0 ? std::min(startRate * See, startRate * s.Sxx) / See : 0.0;
    k.anlaufschritt(power.p, rate, power1.p);
    sumAdapt += rate;
  }
}

void Echokompensation::resetFilter() {
  for (DFeld* feld : {&W, &F, &power1, &Er, &Ei})
    feld->null();
  adapted = false;
  sumAdapt = 0.0;
  Pey = 1.0;
  Pyy = 1.0;
  screwed_ = 0;
  ++resets_;
}

void Echokompensation::versetzen(std::int64_t s, const Rahmenquelle& rahmen) {
  const auto weite = std::min(static_cast<std::size_t>(std::abs(s)), P);
  for (DFeld* filter : {&W, &F}) {
    double* const ende = filter->p + P * REIHE;
    if (s > 0) {
      std::copy(filter->p + weite * REIHE, ende, filter->p);
      std::fill(ende - weite * REIHE, ende, 0.0);
    } else if (s < 0) {
      std::copy_backward(filter->p, ende - weite * REIHE, ende);
      std::fill(filter->p, filter->p + weite * REIHE, 0.0);
    }
  }
  for (std::size_t j = 0; j <= P; ++j) {
    rahmen(static_cast<std::int64_t>(j), {fft.re, K});
    fft.vorEinzeln({x[j], x[j] + ZEILE});
  }
  Er.null();
  Ei.null();
}

}  // namespace hallkorb
