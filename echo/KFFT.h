// A complex FFT of a power-of-two length, in place, in double precision.
//
// The delay estimator and the canceller stand on it: every 16 ms takes about 17 transforms of 512
// points, so its speed is that of the echo path. Real and imaginary parts are in separate arrays.
// On macOS it is the platform's own (Accelerate, vDSP). Elsewhere it is ours: a Stockham transform
// of radix 8 up to some thousand points; above that the four steps of columns, twiddle factors,
// rows and transposition (D. H. Bailey, "FFTs in external or hierarchical memory", 1990), since
// 131072 points fill a second-level cache.
//
// Forward: X[k] = sum over t of x[t] e^(-2 pi i k t / n), unscaled. Inverse: e^(+2 pi i k t / n)
// with the factor 1/n, so rueck(vor(v)) returns v. The arrays hold n values each and do not
// overlap; 64-byte alignment makes it faster. Nothing is allocated after construction. An object
// holds scratch memory: one thread at a time.
#pragma once

#include <cstdint>
#include <memory>

namespace hallkorb {

class KFFT {
 public:
  // 2^28 points take 4 GB.
  static constexpr std::uint64_t GROESSTES_LOG2 = 28;

  // Length 2^log2n. A greater length, or one that cannot be set up, stops the program.
  explicit KFFT(std::uint64_t log2n);
  // Out of line: the variant for macOS owns a setup of the platform's.
  ~KFFT();  // NOLINT(performance-trivially-destructible)
  KFFT(const KFFT&) = delete;
  KFFT& operator=(const KFFT&) = delete;

  void vor(double* re, double* im);
  void rueck(double* re, double* im);

  // The same transforms for callers that only multiply spectra bin by bin: the spectrum stays in
  // the order in which the passes leave it (always the same for a length), which saves the
  // reordering. The inverse takes that order and leaves out the factor 1/n.
  void vorUngeordnet(double* re, double* im);
  void rueckUngeordnet(double* re, double* im);

  const std::int64_t n;
  const std::uint64_t log2n;

 private:
  struct Setup;
  std::unique_ptr<Setup> setup;
};

}  // namespace hallkorb
