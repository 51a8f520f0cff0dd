#include "echo/Verzoegerungsschaetzer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "base/Abbruch.h"

namespace hallkorb {

namespace {

// Both signals end before 3/8 of the LAENGE points, and only lags below 1/8 are wanted: one
// transform of M points for each residue class of the bins modulo 8 spares most of the work. For
// real signals classes 5 to 7 mirror 3 to 1. The bins' order within a class does not matter.
constexpr std::size_t LAENGE = 131072;
constexpr std::size_t M = LAENGE / 8;
constexpr std::size_t KLASSEN = 5;
constexpr std::uint64_t M_LOG2 = 14;

constexpr std::size_t FENSTER = Verzoegerungsschaetzer::fen;
constexpr std::size_t VERLAUF = Verzoegerungsschaetzer::fen + Verzoegerungsschaetzer::maxLag;
constexpr std::size_t LAGS = Verzoegerungsschaetzer::maxLag + 1;
// A whole number of vectors.
constexpr std::size_t LAGS_AUF = (LAGS + 7) / 8 * 8;

// The reference counts as silent below a mean square of 1e-5 of full scale (-50 dB).
constexpr double RUHE = 10737.41824;
// A peak must have 5 % of perfect agreement, and one and a half times that of the next peak.
constexpr double SPITZE = 0.05;
constexpr double VORSPRUNG = 1.5;
// Half the width of the first peak, 3 ms, left out in the search for the second.
constexpr std::int64_t BREITE = 48;
// Changes of the delay up to 8 ms are not reported.
constexpr std::int64_t STILL = 128;
// Estimates it takes for a report.
constexpr std::size_t MINDESTENS = 3;

constexpr auto laenge(std::size_t n) {
  return static_cast<std::int64_t>(n);
}

void anhaengen(Vorrat<double>& verlauf, std::span<const double> neu) {
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
  // The next analysis comes half a second after this one, whatever its result.
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
  // Negated so that NaN does not count as silence.
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
  // The window around the first peak is half open: 48 lags below it, 47 above.
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
  if (anzahl < MINDESTENS) return std::nullopt;

  auto sortiert = schaetzungen;
  const auto ende = sortiert.begin() + static_cast<std::ptrdiff_t>(anzahl);
  std::partial_sort(sortiert.begin(), ende, ende);
  const std::size_t mitte = anzahl / 2;
  // Of four estimates, the truncated mean of the middle two.
  const std::int64_t median =
      anzahl % 2 == 1 ? sortiert[mitte] : (sortiert[mitte - 1] + sortiert[mitte]) / 2;
  if (wert_ && std::llabs(median - *wert_) <= STILL) return std::nullopt;
  wert_ = median;
  return wert_;
}

}  // namespace hallkorb
