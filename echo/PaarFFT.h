// Two real signals of 512 points through one complex transform.
//
// The canceller's signals are real and come in pairs: error and echo, residual and echo frame, the
// echoes of both filters, two partitions' impulse responses. As real and imaginary part of one
// complex signal a pair costs one transform instead of two, and the symmetry of its spectrum
// separates the two: A[k] = (Z[k] + conj Z[K - k]) / 2, B[k] = (Z[k] - conj Z[K - k]) / 2i. A
// signal that is not finite spoils its partner's spectrum too, so signals that may differ in that
// must be transformed one by one.
//
// The signals stand in re and im, K values each, before vor and after rueck; both transforms
// overwrite them. One thread at a time.
#pragma once

#include "echo/DFeld.h"
#include "echo/kern/Kernsatz.h"
#include "echo/KFFT.h"

namespace hallkorb {

class PaarFFT {
 public:
  PaarFFT();

  // Spectra of both signals.
  void vor(kern::Spektrum A, kern::Spektrum B);
  // The signals of both spectra, scaled by 1/K.
  void rueck(kern::Spektrum A, kern::Spektrum B);
  // The same without the factor.
  void rueckUnskaliert(kern::Spektrum A, kern::Spektrum B);
  // The spectrum of the signal in re alone; im is cleared first.
  void vorEinzeln(kern::Spektrum A);
  // The signal of one spectrum, in re.
  void rueckEinzeln(kern::Spektrum A);

 private:
  KFFT fft;
  DFeld zr;
  DFeld zi;
  DFeld leer;
  const kern::Kernsatz& k;

 public:
  double* const re;
  double* const im;
};

}  // namespace hallkorb
