#include "echo/Verzoegerungsschaetzer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "base/Ausgabe.h"

namespace hallkorb {

namespace {

// The correlation is circular over LAENGE points: window and lags zero-padded. Both signals end
// before 3/8 of it and only lags below 1/8 are wanted, so the transform is split once into the
// eight residue classes of the bins modulo 8, each a transform of M points: going there, most of
// the split's inputs are zero; coming back, only its first output is needed. Of real signals
// classes 5 to 7 mirror 3 to 1. Bins are only multiplied one by one, so their order within a class
// does not matter.
constexpr std::size_t LAENGE = 131072;
constexpr std::size_t M = LAENGE / 8;
constexpr std::size_t KLASSEN = 5;
constexpr std::uint64_t M_LOG2 = 14;

constexpr std::size_t FENSTER = Verzoegerungsschaetzer::fen;
constexpr std::size_t VERLAUF = Verzoegerungsschaetzer::fen + Verzoegerungsschaetzer::maxLag;
constexpr std::size_t LAGS = Verzoegerungsschaetzer::maxLag + 1;
// A whole number of vectors.
constexpr std::size_t LAGS_AUF = (LAGS + 7) / 8 * 8;

// The mean square of 1e-5 of full scale: below it the reference is taken for silent.
constexpr double RUHE = 10737.41824;
constexpr double SPITZE = 0.05;
constexpr double VORSPRUNG = 1.5;
// Half the width of the first peak, left out when the second is sought.
constexpr std::int64_t BREITE = 48;
constexpr std::int64_t STILL = 128;

constexpr auto laenge(std::size_t n) {
  return static_cast<std::int64_t>(n);
}

void anhaengen(Puffer& verlauf, std::span<const double> neu) {
  verlauf.anhaengen(neu);
  if (verlauf.size() > VERLAUF) verlauf.verwerfen(verlauf.size() - VERLAUF);
}

}  // namespace

Verzoegerungsschaetzer::Verzoegerungsschaetzer()
    : k(kern::bester()),
      fft(M_LOG2),
      wr(laenge(M)),
      wi(laenge(M)),
      xr(laenge(M)),
      xi(laenge(M)),
      dr(laenge(KLASSEN * M)),
      di(laenge(KLASSEN * M)),
      korrelation(laenge(LAGS_AUF)) {
  static_assert(VERLAUF <= 3 * M && LAGS_AUF <= M);
  x.reservieren(2 * VERLAUF + 1024);
  d.reservieren(2 * VERLAUF + 1024);
  for (std::size_t n = 0; n < M; ++n) {
    const double winkel =
        2.0 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(LAENGE);
    wr[n] = std::cos(winkel);
    wi[n] = -std::sin(winkel);
  }
}

std::optional<std::int64_t> Verzoegerungsschaetzer::fuettern(std::span<const double> neuesX,
                                                             std::span<const double> neuesD) {
  anhaengen(x, neuesX);
  anhaengen(d, neuesD);
  seit += static_cast<std::int64_t>(neuesX.size());
  if (seit < schritt) return std::nullopt;
  if (x.size() < VERLAUF) return std::nullopt;
  // From here on an analysis is spent, whatever comes of it.
  seit = 0;
  if (!genugEnergie()) return std::nullopt;
  if (d.size() < VERLAUF) abbruch("Verzoegerungsschaetzer: Mikrofon kuerzer als Referenz");

  korrelieren();
  const auto lag = spitze({korrelation.p, LAGS});
  if (!lag) return std::nullopt;
  return annehmen(*lag);
}

bool Verzoegerungsschaetzer::genugEnergie() const {
  const double* fenster = x.werte().data();
  const double mittel = k.skalarprodukt(fenster, fenster, FENSTER) / static_cast<double>(FENSTER);
  // Not put the other way round: a NaN is no silence.
  return !(mittel < RUHE);
}

// Fills `korrelation` with the weighted correlation for lags 0..maxLag.
void Verzoegerungsschaetzer::korrelieren() {
  const double* fenster = x.werte().data();
  const double* verlauf = d.werte().data();

  // Spectra and cross-spectrum D conj(X), class by class.
  double groesstesQuadrat = 0.0;
  for (std::size_t r = 0; r < KLASSEN; ++r) {
    double* re = dr.p + r * M;
    double* im = di.p + r * M;
    k.restklasse(fenster, FENSTER, r, wr.p, wi.p, M, xr.p, xi.p);
    k.restklasse(verlauf, VERLAUF, r, wr.p, wi.p, M, re, im);
    fft.vorUngeordnet(xr.p, xi.p);
    fft.vorUngeordnet(re, im);
    const double quadrat = k.kreuzspektrum(re, im, xr.p, xi.p, M);
    if (quadrat > groesstesQuadrat) groesstesQuadrat = quadrat;
  }

  // Phase transform, and back.
  const double eps = 1e-9 * std::sqrt(groesstesQuadrat);
  korrelation.null();
  for (std::size_t r = 0; r < KLASSEN; ++r) {
    double* re = dr.p + r * M;
    double* im = di.p + r * M;
    k.phase(re, im, eps, M);
    fft.rueckUngeordnet(re, im);
    // Classes 1 to 3 stand for their mirror images too.
    const double anteil = r == 0 || r == 4 ? 1.0 : 2.0;
    k.lagSumme(re, im, r, wr.p, wi.p, anteil / static_cast<double>(LAENGE), LAGS_AUF,
               korrelation.p);
  }
}

std::optional<std::int64_t> Verzoegerungsschaetzer::spitze(std::span<const double> korrelation) {
  std::int64_t bester = 0;
  double erste = 0.0;
  for (std::size_t lag = 0; lag < LAGS; ++lag) {
    const double betrag = std::fabs(korrelation[lag]);
    if (betrag > erste) {
      erste = betrag;
      bester = static_cast<std::int64_t>(lag);
    }
  }
  // The window around the first peak is half open, as everywhere: 48 lags below it, 47 above.
  double zweite = 0.0;
  for (std::int64_t lag = 0; lag <= maxLag; ++lag) {
    if (lag >= bester - BREITE && lag < bester + BREITE) continue;
    zweite = std::max(zweite, std::fabs(korrelation[static_cast<std::size_t>(lag)]));
  }
  if (erste < SPITZE || erste / (zweite + 1e-12) < VORSPRUNG) return std::nullopt;
  return bester;
}

std::optional<std::int64_t> Verzoegerungsschaetzer::annehmen(std::int64_t lag) {
  if (anzahl == schaetzungen.size()) {
    std::move(schaetzungen.begin() + 1, schaetzungen.end(), schaetzungen.begin());
    --anzahl;
  }
  schaetzungen[anzahl++] = lag;
  if (anzahl < 3) return std::nullopt;

  auto sortiert = schaetzungen;
  const auto ende = sortiert.begin() + static_cast<std::ptrdiff_t>(anzahl);
  std::partial_sort(sortiert.begin(), ende, ende);
  const std::size_t mitte = anzahl / 2;
  // Of four estimates the mean of the middle two, truncated.
  const std::int64_t median =
      anzahl % 2 == 1 ? sortiert[mitte] : (sortiert[mitte - 1] + sortiert[mitte]) / 2;
  if (wert_ && std::llabs(median - *wert_) <= STILL) return std::nullopt;
  wert_ = median;
  return wert_;
}

}  // namespace hallkorb
