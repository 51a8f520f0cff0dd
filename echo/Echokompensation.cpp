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
constexpr double BLOCK_SEKUNDEN = BLOCK / EK_R;
// A partition's row: real and imaginary parts of a half spectrum.
constexpr std::size_t REIHE = 2 * ZEILE;

// --- Shares of the partitions in a step (proportionate adaptation). ---
// What is known before anything is learnt: a room's response falls by e in about three partitions
// (48 ms). Weighted like a filter with a little echo, so that it matters only at the beginning.
constexpr double ABKLINGEN_PARTITIONEN = 3.0;
constexpr double VORWISSEN = 20.0;
// Even a partition without any echo gets a tenth of the strongest one's share: the echo may move.
constexpr double MINDESTANTEIL = 0.1;
// All shares together: just below 1, from which on a normalised step no longer converges.
constexpr double ANTEILE_SUMME = 0.99;

// --- Which filter is better. ---
// A running mean of the difference between both errors, with its variance: the weights of the old
// value and of the new one, their squares, and how clear the difference must be.
struct Mittelung {
  double alt;
  double neu;
  double altQuadrat;
  double neuQuadrat;
  double deutlich;
};
constexpr Mittelung KURZ{0.6, 0.4, 0.36, 0.16, 0.5};         // about two blocks
constexpr Mittelung LANG{0.85, 0.15, 0.7225, 0.0225, 0.25};  // about six blocks
// To throw the background filter away takes more evidence: it forgets what it has learnt.
constexpr double RUECKFALL = 4.0;
// Keeps the variance above 0 while both filters are the same.
constexpr double MIN_UNTERSCHIED = 10.0;

// --- Failure. ---
// The error may be louder than the microphone by 100 steps rms (-50 dB of full scale).
constexpr double ZU_LAUT = BLOCK * 10000.0;
constexpr std::int64_t GEDULD_BLOECKE = 50;  // 0.8 s

// --- Learning. ---
// An error below 1.25 steps rms is rounding; a smaller one would raise the rates without end.
constexpr double MIN_FEHLER = BLOCK * 100.0 / 64.0;
// The reference's power is smoothed over about three lengths of the filter.
constexpr double GLAETTUNG_FILTER = 0.35;
// Leakage follows quickly while there is much echo, and never by more than half in a second.
constexpr double LECK_RATE = 2.0 * BLOCK / EK_R;
constexpr double LECK_RATE_MAX = 0.5 * BLOCK / EK_R;
// No filter is believed to leave less than -23 dB of the echo.
constexpr double MIN_LECK = 0.005;
// Residual echo in the error: what the leakage says, three times over, since an estimate that is
// too low stops the adaptation; at least -40 dB of the reference; never more than half of the
// error.
constexpr double LECK_GEWICHT = 3.0;
constexpr double REFERENZ_IM_FEHLER = 0.0001;
constexpr double MAX_RESTECHO = 0.5;

// --- The start, while the leakage says nothing yet. ---
constexpr double STARTRATE = 0.25;
// A reference below 32 steps rms (-60 dB of full scale) teaches nothing.
constexpr double REFERENZ_LEISE = BLOCK * 1000.0;
// Over when there is an echo at all: 3 % of its power leaks.
constexpr double ECHO_ERKANNT = 0.03;

constexpr auto laenge(std::size_t n) {
  return static_cast<std::int64_t>(n);
}

// x |x|: the sign survives the square.
double quadratMitVorzeichen(double x) {
  return x * std::fabs(x);
}

// How much the echo of a partition weighs, from the energy of its first N taps. The transform left
// out its factor 1/K, so the energy is K^2 times too large.
double gewicht(double energie) {
  return std::sqrt(energie / static_cast<double>(K) + 1.0);
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
      nachfilter_(fft) {
  for (std::size_t j = 0; j <= P; ++j)
    x[j] = X.p + j * REIHE;
  for (std::size_t j = 0; j < P; ++j)
    prior[j] = std::exp(-static_cast<double>(j) / ABKLINGEN_PARTITIONEN);
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
  s.Sey = k.skalarprodukt(paar.e, paar.y, N);
  s.Syy = k.skalarprodukt(paar.y, paar.y, N);
  s.Sdd = k.skalarprodukt(d.p, d.p, N);
  pruefen(s);
  schrittweiteBestimmen(paar, s);

  if (nachfilterAn_) {
    nachfilter_.block(out.p, yf.p, leak_, out.p);
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

// Each partition's share of the step, by the echo that it holds. Two partitions share a transform
// whatever their levels: what a faint one inherits is lost beside the strongest one's share.
void Echokompensation::gewichten() {
  double groesste = 0.0;
  const auto setze = [&](std::size_t j, const double* w) {
    prop[j] = gewicht(k.skalarprodukt(w, w, N));
    if (prop[j] > groesste) groesste = prop[j];
  };
  for (std::size_t j = 0; j < P; j += 2) {
    const bool zwei = j + 1 < P;
    fft.rueckUnskaliert(zeile(W, j), zwei ? zeile(W, j + 1) : Spektrum{leer.p, leer.p});
    setze(j, fft.re);
    if (zwei) setze(j + 1, fft.im);
  }
  double gesamt = 0.0;
  for (std::size_t j = 0; j < P; ++j) {
    prop[j] = prop[j] + MINDESTANTEIL * groesste + VORWISSEN * prior[j];
    gesamt += prop[j];
  }
  for (std::size_t j = 0; j < P; ++j)
    prop[j] = ANTEILE_SUMME * prop[j] / gesamt;
}

// Gradient step of W with the previous block's error, constraint, and the echo spectra of both
// filters. The two partitions to be constrained are stepped first, all others while filtering.
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
      // The error is the previous block's, so it meets a spectrum one older than the filter does.
      k.gradient(W.p + j * REIHE, x[j + 1], prop[j], power1.p, E);
      propReihe[j] = 0.0;
    }
  }
  beschraenken(0, reihum);
  k.filtern(W.p, F.p, x.data(), P, lernen ? propReihe.p : nullptr, power1.p, E, {Yr.p, Yi.p},
            {Br.p, Bi.p});
}

// A partition's filter is real and N taps long. Constrains two partitions at once; j1 may be beyond
// the last.
void Echokompensation::beschraenken(std::size_t j0, std::size_t j1) {
  const Spektrum erste = zeile(W, j0);
  const bool zwei = j1 < P;
  if (zwei) {
    fft.rueck(erste, zeile(W, j1));
  } else {
    fft.rueckEinzeln(erste);
  }
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
  s.Dbf = MIN_UNTERSCHIED + k.abstand(yf.p, yb.p, N);
  k.differenz(d.p, yf.p, ef.p, N);
  k.differenz(d.p, yb.p, eb.p, N);
  s.Sff = k.skalarprodukt(ef.p, ef.p, N);
  s.See = k.skalarprodukt(eb.p, eb.p, N);
}

// Which filter is better, by this block and by two averages.
Echokompensation::Paar Echokompensation::vergleichen(Energien& s) {
  const double D = s.Sff - s.See;
  const double varianz = s.Sff * s.Dbf;
  Davg1 = KURZ.alt * Davg1 + KURZ.neu * D;
  Davg2 = LANG.alt * Davg2 + LANG.neu * D;
  Dvar1 = KURZ.altQuadrat * Dvar1 + KURZ.neuQuadrat * s.Sff * s.Dbf;
  Dvar2 = LANG.altQuadrat * Dvar2 + LANG.neuQuadrat * s.Sff * s.Dbf;

  const double q = quadratMitVorzeichen(D);
  const double q1 = quadratMitVorzeichen(Davg1);
  const double q2 = quadratMitVorzeichen(Davg2);
  if (q > varianz || q1 > KURZ.deutlich * Dvar1 || q2 > LANG.deutlich * Dvar2) {
    Davg1 = Davg2 = Dvar1 = Dvar2 = 0.0;
    std::copy_n(W.p, W.n, F.p);
    ++vgKopien_;
    // A change of filters within the block would click.
    k.ueberblenden(fade.p, yf.p, yb.p);
    k.differenz(d.p, yf.p, ef.p, N);
    s.Sff = k.skalarprodukt(ef.p, ef.p, N);
    return {yb.p, eb.p};
  }
  if (-q > RUECKFALL * varianz || -q1 > RUECKFALL * Dvar1 || -q2 > RUECKFALL * Dvar2) {
    std::copy_n(F.p, F.n, W.p);
    Davg1 = Davg2 = Dvar1 = Dvar2 = 0.0;
    ++hgReset_;
    // See stays that of the failed background filter, which keeps the next step small.
    return {yf.p, ef.p};
  }
  return {yb.p, eb.p};
}

// A filter has failed if it makes the signal much louder, or if sums are not finite.
void Echokompensation::pruefen(const Energien& s) {
  if (std::isfinite(s.Syy) && std::isfinite(s.See) && std::isfinite(s.Sff) &&
      s.Sff <= s.Sdd + ZU_LAUT) {
    screwed_ = 0;
    return;
  }
  ++screwed_;
  if (!std::isfinite(s.Syy) || screwed_ >= GEDULD_BLOECKE) resetFilter();
}

// The spectra of N zeros followed by the error, and of N zeros followed by the echo.
void Echokompensation::spektrenBilden(Paar paar, Spektrum E, Spektrum Y) {
  const auto einsetzen = [](double* ziel, const double* signal) {
    std::fill_n(ziel, N, 0.0);
    std::copy_n(signal, N, ziel + N);
  };
  einsetzen(fft.re, paar.e);
  einsetzen(fft.im, paar.y);
  fft.vor(E, Y);
}

// How fast each bin may learn from this block's error in the next block.
void Echokompensation::schrittweiteBestimmen(Paar paar, const Energien& s) {
  const Spektrum E{Er.p, Ei.p};
  const Spektrum Y{Yr.p, Yi.p};
  spektrenBilden(paar, E, Y);

  const double See = std::max(s.See, MIN_FEHLER);
  double pe = 0.0;
  double py = 0.0;
  k.glaetten(E, Y, x[0], GLAETTUNG_FILTER / static_cast<double>(P), BLOCK_SEKUNDEN, power.p, Eh.p,
             Yh.p, Rf.p, Yf.p, pe, py);
  leckSchaetzen(pe, py, s.Syy, See);

  if (!adapted && sumAdapt > static_cast<double>(P) && leak_ * s.Syy > ECHO_ERKANNT * s.Syy) {
    adapted = true;
  }
  if (adapted) {
    // Residual-to-error ratio.
    double RER = (REFERENZ_IM_FEHLER * s.Sxx + LECK_GEWICHT * leak_ * s.Syy) / See;
    RER = std::max(RER, s.Sey * s.Sey / (See * s.Syy + 1.0));
    RER = std::min(RER, MAX_RESTECHO);
    k.schrittweite(Rf.p, Yf.p, power.p, leak_, RER, power1.p);
  } else {
    const double rate =
        s.Sxx > REFERENZ_LEISE ? std::min(STARTRATE * See, STARTRATE * s.Sxx) / See : 0.0;
    k.anlaufschritt(power.p, rate, power1.p);
    sumAdapt += rate;
  }
}

// Leakage: how far the error's spectrum follows that of the echo. pe and py are the sums over all
// bins of their common and of the echo's own fluctuation.
void Echokompensation::leckSchaetzen(double pe, double py, double Syy, double See) {
  const double streuung = std::sqrt(py);
  const double gemeinsam = pe / (streuung + 1e-9);
  const double alpha = std::min(LECK_RATE * Syy, LECK_RATE_MAX * See) / See;
  Pyy = std::max(1.0, (1.0 - alpha) * Pyy + alpha * streuung);
  Pey = std::min(Pyy, std::max(MIN_LECK * Pyy, (1.0 - alpha) * Pey + alpha * gemeinsam));
  leak_ = Pey / Pyy;
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
