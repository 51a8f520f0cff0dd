// A plain radix-2 transform: the measure of every faster one.
//
// Decimation in time with bit reversal, as in every textbook, with each twiddle factor computed
// from its own angle. On request it adds relative noise to every result, which shows whether a
// scene's outcome depends on the last bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace hallkorb::referenz {

class Fft {
 public:
  // Length 2^log2n. `stoerung` is the relative size of the noise, normally none.
  explicit Fft(unsigned log2n, double stoerung = 0.0);

  // X[k] = sum of x[t] e^(-2 pi i k t / n), unscaled.
  void vor(double* re, double* im) { transformiere(re, im, -1.0); }

  // The inverse with its factor 1/n.
  void rueck(double* re, double* im);

 private:
  void baueAuf(double* re, double* im, std::size_t laenge, double vorzeichen) const;
  void transformiere(double* re, double* im, double vorzeichen);

  std::size_t n_;
  double stoerung_;
  // The factors of the pass that joins pairs of `halb` values are those from `halb` on.
  std::vector<double> cos_;
  std::vector<double> sin_;
  // Pairs of indices whose bits are those of each other in reverse order.
  std::vector<std::pair<std::size_t, std::size_t>> tausche_;
  std::uint64_t zufall_ = 20240917;
};

}  // namespace hallkorb::referenz
