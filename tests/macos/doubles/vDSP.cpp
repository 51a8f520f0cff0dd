// Stand-in for the platform's transform, written from its documentation: complex, in place,
// unscaled in both directions, forward with a negative exponent.
#include <Accelerate/Accelerate.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <numbers>
#include <utility>
#include <vector>

#include "tests/macos/doubles/Transformation.h"

namespace {

std::atomic<bool> gibtKeine{false};
std::atomic<long> setups{0};
std::atomic<long> geloescht{0};

}  // namespace

void hallkorb::ersatz::vdsp::keine(bool ja) {
  gibtKeine = ja;
}
long hallkorb::ersatz::vdsp::lebende() {
  return setups;
}
long hallkorb::ersatz::vdsp::geloeschteWerte() {
  return geloescht;
}

struct OpaqueFFTSetupD {
  explicit OpaqueFFTSetupD(vDSP_Length laengeLog2);

  vDSP_Length log2n;
  // exp(-2 pi i k / n) for the first half of the circle.
  std::vector<double> kosinus;
  std::vector<double> sinus;
};

OpaqueFFTSetupD::OpaqueFFTSetupD(vDSP_Length laengeLog2) : log2n(laengeLog2) {
  const std::size_t n = std::size_t{1} << log2n;
  for (std::size_t k = 0; k < n / 2; ++k) {
    const double winkel = 2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n);
    kosinus.push_back(std::cos(winkel));
    sinus.push_back(-std::sin(winkel));
  }
}

FFTSetupD vDSP_create_fftsetupD(vDSP_Length log2n, FFTRadix radix) {
  constexpr vDSP_Length GROESSTES = 28;
  if (radix != kFFTRadix2 || log2n > GROESSTES || gibtKeine) return nullptr;
  ++setups;
  return new OpaqueFFTSetupD(log2n);
}

void vDSP_destroy_fftsetupD(FFTSetupD setup) {
  if (setup != nullptr) --setups;
  delete setup;
}

namespace {

void kehreUm(double* re, double* im, std::size_t n) {
  for (std::size_t i = 1, j = 0; i < n; ++i) {
    std::size_t bit = n >> 1;
    for (; (j & bit) != 0; bit >>= 1)
      j ^= bit;
    j ^= bit;
    if (i >= j) continue;
    std::swap(re[i], re[j]);
    std::swap(im[i], im[j]);
  }
}

// One stage of butterflies over spans of `spanne` values.
void stufe(const OpaqueFFTSetupD& setup, double* re, double* im, std::size_t n, std::size_t spanne,
           double richtung) {
  const std::size_t schritt = (std::size_t{1} << setup.log2n) / spanne;
  for (std::size_t k = 0; k < spanne / 2; ++k) {
    const double c = setup.kosinus[k * schritt];
    const double s = richtung * setup.sinus[k * schritt];
    for (std::size_t i = k; i < n; i += spanne) {
      const std::size_t j = i + spanne / 2;
      const double x = re[j] * c - im[j] * s;
      const double y = re[j] * s + im[j] * c;
      re[j] = re[i] - x;
      im[j] = im[i] - y;
      re[i] += x;
      im[i] += y;
    }
  }
}

}  // namespace

// A stride other than 1, a length of one point and one beyond the setup's are not defined.
void vDSP_fft_zipD(FFTSetupD setup, const DSPDoubleSplitComplex* werte, vDSP_Stride schritt,
                   vDSP_Length log2n, FFTDirection richtung) {
  if (log2n > setup->log2n || log2n == 0 || schritt != 1) std::abort();
  const std::size_t n = std::size_t{1} << log2n;
  kehreUm(werte->realp, werte->imagp, n);
  for (std::size_t spanne = 2; spanne <= n; spanne <<= 1)
    stufe(*setup, werte->realp, werte->imagp, n, spanne, richtung);
}

void vDSP_vsmulD(const double* a, vDSP_Stride schrittA, const double* faktor, double* c,
                 vDSP_Stride schrittC, vDSP_Length n) {
  for (vDSP_Length i = 0; i < n; ++i)
    c[static_cast<vDSP_Stride>(i) * schrittC] = a[static_cast<vDSP_Stride>(i) * schrittA] * *faktor;
}

void vDSP_vclrD(double* c, vDSP_Stride schritt, vDSP_Length n) {
  for (vDSP_Length i = 0; i < n; ++i)
    c[static_cast<vDSP_Stride>(i) * schritt] = 0.0;
  geloescht += static_cast<long>(n);
}
