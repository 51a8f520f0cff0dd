// A plain radix-2 transform: the measure of every faster one.
//
// Decimation in time with bit reversal, as in every textbook, with each twiddle factor computed by
// cos and sin of its own angle. On request it adds relative noise to every result, so that a scene
// can be asked whether its outcome hangs on the last bits at all.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

namespace hallkorb::referenz {

class Fft {
 public:
  // Length 2^log2n. `stoerung` is the relative size of the noise, normally none.
  explicit Fft(unsigned log2n, double stoerung = 0.0)
      : n_(std::size_t{1} << log2n), stoerung_(stoerung), cos_(n_ / 2), sin_(n_ / 2) {
    for (std::size_t k = 0; k < n_ / 2; ++k) {
      const double winkel =
          2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n_);
      cos_[k] = std::cos(winkel);
      sin_[k] = std::sin(winkel);
    }
  }

  // X[k] = sum of x[t] e^(-2 pi i k t / n), unscaled.
  void vor(double* re, double* im) { transformiere(re, im, -1.0); }

  // The inverse with its factor 1/n.
  void rueck(double* re, double* im) {
    transformiere(re, im, 1.0);
    const double faktor = 1.0 / static_cast<double>(n_);
    for (std::size_t t = 0; t < n_; ++t) {
      re[t] *= faktor;
      im[t] *= faktor;
    }
  }

 private:
  void transformiere(double* re, double* im, double vorzeichen) {
    for (std::size_t i = 1, j = 0; i < n_; ++i) {
      std::size_t bit = n_ >> 1;
      for (; j & bit; bit >>= 1)
        j ^= bit;
      j ^= bit;
      if (i < j) {
        std::swap(re[i], re[j]);
        std::swap(im[i], im[j]);
      }
    }
    for (std::size_t laenge = 2; laenge <= n_; laenge *= 2) {
      const std::size_t halb = laenge / 2;
      const std::size_t schritt = n_ / laenge;
      for (std::size_t anfang = 0; anfang < n_; anfang += laenge) {
        for (std::size_t k = 0; k < halb; ++k) {
          const double wr = cos_[k * schritt];
          const double wi = vorzeichen * sin_[k * schritt];
          const std::size_t a = anfang + k;
          const std::size_t b = a + halb;
          const double tr = re[b] * wr - im[b] * wi;
          const double ti = re[b] * wi + im[b] * wr;
          re[b] = re[a] - tr;
          im[b] = im[a] - ti;
          re[a] += tr;
          im[a] += ti;
        }
      }
    }
    if (stoerung_ > 0.0) {
      std::uniform_real_distribution<double> rauschen(-stoerung_, stoerung_);
      for (std::size_t k = 0; k < n_; ++k) {
        re[k] *= 1.0 + rauschen(zufall_);
        im[k] *= 1.0 + rauschen(zufall_);
      }
    }
  }

  std::size_t n_;
  double stoerung_;
  std::vector<double> cos_;
  std::vector<double> sin_;
  std::mt19937_64 zufall_{20240917};
};

}  // namespace hallkorb::referenz
