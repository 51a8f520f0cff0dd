// Two real signals of 512 points through one complex transform.
//
// The canceller's signals are real and come in pairs: error and echo, residual and echo frame, the
// echoes of both filters, two partitions' impulse responses. As real and imaginary part of one
// complex signal a pair costs one transform instead of two, and the symmetry of its spectrum
// separates the two: A[k] = (Z[k] + conj Z[K - k]) / 2, B[k] = (Z[k] - conj Z[K - k]) / 2i.
//
// The separation is exact up to rounding, and that is relative to the louder signal. A zero signal
// would inherit 1e-16 of its partner, and the canceller's decisions, which compare ratios of tiny
// numbers too, would no longer be those of separate transforms. So only signals of similar level
// share a transform; a zero signal has a spectrum of exact zeros, and one that is not finite spoils
// no other.
//
// The signals stand in re and im, K values each, before vor and after rueck; both transforms
// overwrite them. One thread at a time.
#pragma once

#include "echo/DFeld.h"
#include "echo/kernels/Kernsatz.h"
#include "echo/KFFT.h"

namespace hallkorb {

class PaarFFT {
 public:
  PaarFFT();

  // Spectra of both signals.
  void vor(kern::Spektrum A, kern::Spektrum B);
  // The signals of both spectra, scaled by 1/K.
  void rueck(kern::Spektrum A, kern::Spektrum B);
  // The same without the factor, and in one transform whatever the levels: for callers to whom what
  // the fainter signal inherits is lost beside the louder one.
  void rueckUnskaliert(kern::Spektrum A, kern::Spektrum B);
  // The spectrum of the signal in re alone; im is cleared first.
  void vorEinzeln(kern::Spektrum A);
  // The signal of one spectrum, in re.
  void rueckEinzeln(kern::Spektrum A);

 private:
  void vorGetrennt(kern::Spektrum A, bool mitA, kern::Spektrum B, bool mitB);
  void rueckGetrennt(kern::Spektrum A, bool mitA, kern::Spektrum B, bool mitB);

  KFFT fft;
  DFeld zr;
  DFeld zi;
  DFeld leer;
  DFeld zweites;  // keeps the second signal while the first is transformed
  const kern::Kernsatz& k;

 public:
  double* const re;
  double* const im;
};

}  // namespace hallkorb
