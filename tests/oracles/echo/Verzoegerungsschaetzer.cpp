#include "tests/oracles/echo/Verzoegerungsschaetzer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace hallkorb::referenz {

namespace {

constexpr std::size_t LAENGE = 131072;

void anhaengen(std::vector<double>& verlauf, std::span<const double> neu, std::size_t hoechstens) {
  verlauf.insert(verlauf.end(), neu.begin(), neu.end());
  if (verlauf.size() > hoechstens) {
    verlauf.erase(verlauf.begin(),
                  verlauf.end() - static_cast<std::vector<double>::difference_type>(hoechstens));
  }
}

}  // namespace

Verzoegerungsschaetzer::Verzoegerungsschaetzer(double stoerung)
    : fft(17, stoerung), xr(LAENGE), xi(LAENGE), dr(LAENGE), di(LAENGE) {}

std::optional<std::int64_t> Verzoegerungsschaetzer::fuettern(std::span<const double> neuesX,
                                                             std::span<const double> neuesD) {
  constexpr std::size_t VERLAUF = fen + maxLag;
  anhaengen(x, neuesX, VERLAUF);
  anhaengen(d, neuesD, VERLAUF);

  seit += static_cast<std::int64_t>(neuesX.size());
  if (seit < schritt) return std::nullopt;
  if (x.size() < VERLAUF) return std::nullopt;
  seit = 0;

  double energie = 0.0;
  for (std::size_t t = 0; t < fen; ++t)
    energie += x[t] * x[t];
  if (energie / 32000.0 < 10737.41824) return std::nullopt;

  if (d.size() < VERLAUF) std::abort();
  for (auto* feld : {&xr, &xi, &dr, &di})
    std::fill(feld->begin(), feld->end(), 0.0);
  std::copy_n(x.begin(), fen, xr.begin());
  std::copy_n(d.begin(), VERLAUF, dr.begin());
  fft.vor(xr.data(), xi.data());
  fft.vor(dr.data(), di.data());

  double groesster = 0.0;
  for (std::size_t k = 0; k < LAENGE; ++k) {
    const double re = dr[k] * xr[k] + di[k] * xi[k];
    const double im = xr[k] * di[k] - dr[k] * xi[k];
    dr[k] = re;
    di[k] = im;
    const double betrag = std::sqrt(re * re + im * im);
    if (betrag > groesster) groesster = betrag;
  }
  const double eps = 1e-9 * groesster;
  for (std::size_t k = 0; k < LAENGE; ++k) {
    const double betrag = std::sqrt(dr[k] * dr[k] + di[k] * di[k]);
    dr[k] /= betrag + eps;
    di[k] /= betrag + eps;
  }
  fft.rueck(dr.data(), di.data());

  const auto lag = spitze(dr);
  if (!lag) return std::nullopt;
  return annehmen(*lag);
}

std::optional<std::int64_t> Verzoegerungsschaetzer::spitze(
    const std::vector<double>& korrelation) const {
  std::int64_t bester = 0;
  double erste = 0.0;
  for (std::int64_t lag = 0; lag <= maxLag; ++lag) {
    const double betrag = std::fabs(korrelation[static_cast<std::size_t>(lag)]);
    if (betrag > erste) {
      erste = betrag;
      bester = lag;
    }
  }
  double zweite = 0.0;
  for (std::int64_t lag = 0; lag <= maxLag; ++lag) {
    if (lag >= bester - 48 && lag < bester + 48) continue;
    const double betrag = std::fabs(korrelation[static_cast<std::size_t>(lag)]);
    if (betrag > zweite) zweite = betrag;
  }
  if (erste < 0.05) return std::nullopt;
  if (erste / (zweite + 1e-12) < 1.5) return std::nullopt;
  return bester;
}

std::optional<std::int64_t> Verzoegerungsschaetzer::annehmen(std::int64_t lag) {
  schaetzungen.push_back(lag);
  if (schaetzungen.size() > 5) schaetzungen.erase(schaetzungen.begin());
  if (schaetzungen.size() < 3) return std::nullopt;

  std::vector<std::int64_t> sortiert = schaetzungen;
  std::sort(sortiert.begin(), sortiert.end());
  const std::size_t mitte = sortiert.size() / 2;
  const std::int64_t median =
      sortiert.size() % 2 == 1 ? sortiert[mitte] : (sortiert[mitte - 1] + sortiert[mitte]) / 2;
  if (!wert) {
    wert = median;
    return wert;
  }
  if (std::llabs(median - *wert) <= 128) return std::nullopt;
  wert = median;
  return wert;
}

}  // namespace hallkorb::referenz
