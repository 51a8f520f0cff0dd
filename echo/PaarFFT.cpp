#include "echo/PaarFFT.h"

#include <algorithm>
#include <cmath>

namespace hallkorb {

namespace {

// Energies of a pair that shares a transform differ by at most 80 dB: the fainter signal is then
// exact to 1e-12, which no decision of the canceller can tell from exact.
constexpr double HOECHSTENS = 1e8;

bool aehnlichLaut(double a, double b) {
  return a * HOECHSTENS >= b && b * HOECHSTENS >= a && std::isfinite(a + b);
}

void leere(kern::Spektrum A) {
  std::fill_n(A.re, kern::HALB, 0.0);
  std::fill_n(A.im, kern::HALB, 0.0);
}

}  // namespace

PaarFFT::PaarFFT()
    : fft(9),
      zr(static_cast<std::int64_t>(kern::VOLL)),
      zi(static_cast<std::int64_t>(kern::VOLL)),
      leer(static_cast<std::int64_t>(kern::ZEILE)),
      zweites(static_cast<std::int64_t>(kern::K)),
      k(kern::bester()),
      re(zr.p),
      im(zi.p) {}

void PaarFFT::vor(kern::Spektrum A, kern::Spektrum B) {
  const double a = k.skalarprodukt(re, re, kern::K);
  const double b = k.skalarprodukt(im, im, kern::K);
  if (!aehnlichLaut(a, b)) {
    vorGetrennt(A, a != 0.0, B, b != 0.0);
    return;
  }
  fft.vor(re, im);
  k.paarTrennen(re, im, A, B);
}

void PaarFFT::rueck(kern::Spektrum A, kern::Spektrum B) {
  const auto energie = [this](kern::Spektrum S) {
    return k.skalarprodukt(S.re, S.re, kern::ZEILE) + k.skalarprodukt(S.im, S.im, kern::ZEILE);
  };
  const double a = energie(A);
  const double b = energie(B);
  if (!aehnlichLaut(a, b)) {
    rueckGetrennt(A, a != 0.0, B, b != 0.0);
    return;
  }
  k.paarMischen(A, B, re, im);
  fft.rueck(re, im);
}

void PaarFFT::vorGetrennt(kern::Spektrum A, bool mitA, kern::Spektrum B, bool mitB) {
  if (mitB) std::copy_n(im, kern::K, zweites.p);
  if (mitA) {
    vorEinzeln(A);
  } else {
    leere(A);
  }
  if (mitB) {
    std::copy_n(zweites.p, kern::K, re);
    vorEinzeln(B);
  } else {
    leere(B);
  }
}

void PaarFFT::rueckGetrennt(kern::Spektrum A, bool mitA, kern::Spektrum B, bool mitB) {
  if (mitB) {
    rueckEinzeln(B);
    std::copy_n(re, kern::K, zweites.p);
  } else {
    zweites.null();
  }
  if (mitA) {
    rueckEinzeln(A);
  } else {
    std::fill_n(re, kern::K, 0.0);
  }
  std::copy_n(zweites.p, kern::K, im);
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
  k.paarMischen(A, {leer.p, leer.p}, re, im);
  fft.rueck(re, im);
}

}  // namespace hallkorb
