#include "tool/Echomessung.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>

namespace hallkorb {
namespace {

// From the speakers through the air to the microphone and both devices' buffers. A little less than
// nothing is possible too, since each stream's times are only known to a few milliseconds.
constexpr double FRUEHESTENS = -0.02;
constexpr double SPAETESTENS = 0.5;
// Standard deviations of chance. Of 8000 delays the largest one is rarely above 4.5.
constexpr double AUFFALLEND = 7.0;
constexpr double DAUER = 1.0;
constexpr double BLENDE = 0.05;
constexpr double AMPLITUDE = 0.025;

// The sum of products with the microphone delayed by `versatz` samples.
double korreliere(std::span<const float> gespielt, std::span<const float> mikrofon,
                  std::int64_t versatz) {
  const auto n = static_cast<std::int64_t>(gespielt.size());
  const auto m = static_cast<std::int64_t>(mikrofon.size());
  float summe = 0.0F;
  double gesamt = 0.0;
  constexpr std::int64_t BLOCK = 256;  // short sums in single precision are fast and exact enough
  const std::int64_t bis = std::min(n, m - versatz);
  for (std::int64_t ab = std::max<std::int64_t>(0, -versatz); ab < bis; ab += BLOCK) {
    summe = 0.0F;
    for (std::int64_t i = ab; i < std::min(ab + BLOCK, bis); ++i)
      summe +=
          gespielt[static_cast<std::size_t>(i)] * mikrofon[static_cast<std::size_t>(i + versatz)];
    gesamt += static_cast<double>(summe);
  }
  return gesamt;
}

}  // namespace

std::optional<Echobefund> misseEcho(std::span<const float> gespielt,
                                    std::span<const float> mikrofon, double rate) {
  double energie = 0.0;
  for (const float wert : gespielt)
    energie += static_cast<double>(wert) * static_cast<double>(wert);
  if (energie <= 0.0 || mikrofon.empty()) return std::nullopt;
  double quadrate = 0.0;
  double groesste = 0.0;
  std::int64_t beste = 0;
  const auto von = static_cast<std::int64_t>(FRUEHESTENS * rate);
  const auto bis = static_cast<std::int64_t>(SPAETESTENS * rate);
  for (std::int64_t versatz = von; versatz <= bis; ++versatz) {
    const double wert = std::abs(korreliere(gespielt, mikrofon, versatz));
    quadrate += wert * wert;
    if (wert > groesste) {
      groesste = wert;
      beste = versatz;
    }
  }
  // The peak itself is no chance.
  const double zufall =
      std::sqrt(std::max(quadrate - groesste * groesste, 0.0) / static_cast<double>(bis - von));
  if (groesste <= 0.0 || groesste < AUFFALLEND * zufall) return std::nullopt;
  return Echobefund{static_cast<double>(beste) / rate * 1000.0,
                    20.0 * std::log10(groesste / energie)};
}

std::vector<float> pruefton(double rate) {
  const auto anzahl = static_cast<std::size_t>(DAUER * rate);
  std::mt19937 zufall(1);
  std::vector<float> samples;
  samples.reserve(anzahl);
  for (std::size_t i = 0; i < anzahl; ++i) {
    const double zeit = static_cast<double>(i) / rate;
    const double rand = std::min({1.0, zeit / BLENDE, (DAUER - zeit) / BLENDE});
    const double laut = std::sin(0.5 * std::numbers::pi * rand);
    // Not a distribution of the library, which may differ from system to system.
    const double wert = static_cast<double>(zufall()) / 2147483648.0 - 1.0;
    // Evenly distributed noise has 0.577 of its largest value.
    samples.push_back(static_cast<float>(wert * laut * AMPLITUDE / 0.577));
  }
  return samples;
}

}  // namespace hallkorb
