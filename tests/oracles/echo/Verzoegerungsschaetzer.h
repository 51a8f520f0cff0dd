// The delay estimator in its literal form: every step in its place, nothing saved.
//
// The fast estimator is checked against this one; its header says what it is for. Samples are on
// the scale of 16-bit integers, lags are samples at 16 kHz. Everything is public for the tests.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tests/oracles/echo/Fft.h"

namespace hallkorb::referenz {

class Verzoegerungsschaetzer {
 public:
  explicit Verzoegerungsschaetzer(double stoerung = 0.0);

  std::optional<std::int64_t> fuettern(std::span<const double> neuesX,
                                       std::span<const double> neuesD);

  // The lag of the peak in a correlation of at least maxLag + 1 values, if it is high and clear
  // enough.
  [[nodiscard]] std::optional<std::int64_t> spitze(const std::vector<double>& korrelation) const;
  // Takes an accepted single estimate: median and hysteresis.
  std::optional<std::int64_t> annehmen(std::int64_t lag);

  static constexpr std::int64_t maxLag = 12800;
  static constexpr std::int64_t fen = 32000;
  static constexpr std::int64_t schritt = 8000;
  std::vector<double> x;
  std::vector<double> d;
  std::int64_t seit = 0;
  std::vector<std::int64_t> schaetzungen;
  std::optional<std::int64_t> wert;

 private:
  Fft fft;
  std::vector<double> xr, xi, dr, di;
};

}  // namespace hallkorb::referenz
