// KFFT on macOS: the platform's own transform.
#include <Accelerate/Accelerate.h>

#include <algorithm>

#include "base/Abbruch.h"
#include "echo/KFFT.h"

namespace hallkorb {

struct KFFT::Setup {
  // A setup serves every length up to its own. Accelerate does not define the length 1, whose
  // transform is the point itself.
  explicit Setup(std::uint64_t laengeLog2)
      : fft(vDSP_create_fftsetupD(std::max<vDSP_Length>(laengeLog2, 1), kFFTRadix2)) {
    if (fft == nullptr) abbruch("KFFT: Setup nicht moeglich");
  }
  ~Setup() { vDSP_destroy_fftsetupD(fft); }
  Setup(const Setup&) = delete;
  Setup& operator=(const Setup&) = delete;

  void transformiere(double* re, double* im, std::uint64_t laengeLog2,
                     FFTDirection richtung) const {
    if (laengeLog2 == 0) return;
    const DSPDoubleSplitComplex v{re, im};
    vDSP_fft_zipD(fft, &v, 1, static_cast<vDSP_Length>(laengeLog2), richtung);
  }

  FFTSetupD fft;
};

KFFT::KFFT(std::uint64_t laengeLog2)
    : n(laengeLog2 <= GROESSTES_LOG2 ? std::int64_t{1} << laengeLog2 : 0), log2n(laengeLog2) {
  if (n == 0) abbruch("KFFT: unmoegliche Laenge");
  setup = std::make_unique<Setup>(log2n);
}

KFFT::~KFFT() = default;

void KFFT::vor(double* re, double* im) {
  setup->transformiere(re, im, log2n, kFFTDirection_Forward);
}

void KFFT::rueck(double* re, double* im) {
  setup->transformiere(re, im, log2n, kFFTDirection_Inverse);
  const double faktor = 1.0 / static_cast<double>(n);
  vDSP_vsmulD(re, 1, &faktor, re, 1, static_cast<vDSP_Length>(n));
  vDSP_vsmulD(im, 1, &faktor, im, 1, static_cast<vDSP_Length>(n));
}

// Accelerate's spectra are always in order.
void KFFT::vorUngeordnet(double* re, double* im) {
  vor(re, im);
}

void KFFT::rueckUngeordnet(double* re, double* im) {
  setup->transformiere(re, im, log2n, kFFTDirection_Inverse);
}

}  // namespace hallkorb
