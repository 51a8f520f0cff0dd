#include "echo/PaarFFT.h"

#include <algorithm>

namespace hallkorb {

PaarFFT::PaarFFT()
    : fft(9),
      zr(static_cast<std::int64_t>(kern::VOLL)),
      zi(static_cast<std::int64_t>(kern::VOLL)),
      leer(static_cast<std::int64_t>(kern::ZEILE)),
      k(kern::bester()),
      re(zr.p),
      im(zi.p) {}

void PaarFFT::vor(kern::Spektrum A, kern::Spektrum B) {
  fft.vor(re, im);
  k.paarTrennen(re, im, A, B);
}

void PaarFFT::rueck(kern::Spektrum A, kern::Spektrum B) {
  k.paarMischen(A, B, re, im);
  fft.rueck(re, im);
}

void PaarFFT::rueckUnskaliert(kern::Spektrum A, kern::Spektrum B) {
  k.paarMischen(A, B, re, im);
  fft.rueckUngeordnet(re, im);
}

void PaarFFT::vorEinzeln(kern::Spektrum A) {
  zi.null();
  fft.vor(re, im);
  std::copy_n(re, kern::HALB, A.re);
  std::copy_n(im, kern::HALB, A.im);
}

void PaarFFT::rueckEinzeln(kern::Spektrum A) {
  rueck(A, {leer.p, leer.p});
}

}  // namespace hallkorb
