// A complex FFT of a power-of-two length, in place, in double precision.
//
// The delay estimator and the canceller stand on it: at 512 points it runs about 17 times in every
// 16 ms, so its speed is that of the echo path. Signals are split: real parts in one array,
// imaginary parts in another. On macOS it is the platform's own (Accelerate, vDSP); elsewhere it
// is ours, a Stockham transform of radix 8 up to some thousand points, and above that the four
// steps of columns, twiddle factors, rows and transposition (D. H. Bailey, "FFTs in external or
// hierarchical memory", 1990), since a transform of 131072 points is as large as a second-level
// cache.
//
// Forward: X[k] = sum over t of x[t] e^(-2 pi i k t / n), unscaled. Inverse: e^(+2 pi i k t / n)
// with the factor 1/n, so rueck(vor(v)) returns v. The arrays hold n values each and do not
// overlap; 64-byte alignment is welcome, not needed. Nothing is allocated after construction. An
// object holds scratch memory: one thread at a time.
#pragma once

#include <cstdint>
#include <memory>

namespace hallkorb {

class KFFT {
 public:
  // 2^28 points take 4 GB; nobody means more.
  static constexpr std::uint64_t GROESSTES_LOG2 = 28;

  // Length 2^log2n. A greater length, and one that cannot be set up, stop the program.
  explicit KFFT(std::uint64_t log2n);
  // Out of line for the variant that owns a setup of the platform's.
  ~KFFT();  // NOLINT(performance-trivially-destructible)
  KFFT(const KFFT&) = delete;
  KFFT& operator=(const KFFT&) = delete;

  void vor(double* re, double* im);
  void rueck(double* re, double* im);

  // The same transforms for those who only multiply spectra bin by bin: the spectrum stays in
  // whatever order it falls out in (always the same one for a length), which saves the reordering,
  // and the inverse takes that order and leaves out the factor 1/n.
  void vorUngeordnet(double* re, double* im);
  void rueckUngeordnet(double* re, double* im);

  const std::int64_t n;
  const std::uint64_t log2n;

 private:
  struct Setup;
  std::unique_ptr<Setup> setup;
};

}  // namespace hallkorb
