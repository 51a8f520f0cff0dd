#include "tests/oracles/echo/Fft.h"

#include <cmath>
#include <numbers>
#include <utility>

namespace hallkorb::referenz {

namespace {

// Joins two transforms of `halb` values to one of twice the length. Nothing overlaps.
void verbinde(double* __restrict ar, double* __restrict ai, double* __restrict br,
              double* __restrict bi, const double* __restrict c, const double* __restrict s,
              std::size_t halb, double vorzeichen) {
  for (std::size_t k = 0; k < halb; ++k) {
    const double wr = c[k];
    const double wi = vorzeichen * s[k];
    const double tr = br[k] * wr - bi[k] * wi;
    const double ti = br[k] * wi + bi[k] * wr;
    br[k] = ar[k] - tr;
    bi[k] = ai[k] - ti;
    ar[k] += tr;
    ai[k] += ti;
  }
}

}  // namespace

Fft::Fft(unsigned log2n, double stoerung)
    : n_(std::size_t{1} << log2n), stoerung_(stoerung), cos_(n_), sin_(n_) {
  std::size_t halb = n_ / 2;
  for (std::size_t k = 0; k < halb; ++k) {
    const double winkel = 2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n_);
    cos_[halb + k] = std::cos(winkel);
    sin_[halb + k] = std::sin(winkel);
  }
  // A shorter pass takes every other one of the next longer.
  while ((halb /= 2) > 0) {
    for (std::size_t k = 0; k < halb; ++k) {
      cos_[halb + k] = cos_[2 * (halb + k)];
      sin_[halb + k] = sin_[2 * (halb + k)];
    }
  }
  std::vector<std::size_t> gespiegelt(n_);
  for (std::size_t i = 1; i < n_; ++i) {
    gespiegelt[i] = (gespiegelt[i / 2] + (i % 2) * n_) / 2;
    if (i < gespiegelt[i]) tausche_.emplace_back(i, gespiegelt[i]);
  }
}

void Fft::rueck(double* re, double* im) {
  transformiere(re, im, 1.0);
  const double faktor = 1.0 / static_cast<double>(n_);
  for (std::size_t t = 0; t < n_; ++t) {
    re[t] *= faktor;
    im[t] *= faktor;
  }
}

// Halves first, as long as they do not fit into the processor's nearest memory.
void Fft::baueAuf(double* re, double* im, std::size_t laenge, double vorzeichen) const {
  if (laenge > 1024) {
    const std::size_t halb = laenge / 2;
    baueAuf(re, im, halb, vorzeichen);
    baueAuf(re + halb, im + halb, halb, vorzeichen);
    verbinde(re, im, re + halb, im + halb, &cos_[halb], &sin_[halb], halb, vorzeichen);
    return;
  }
  for (std::size_t halb = 1; halb < laenge; halb *= 2) {
    for (std::size_t a = 0; a < laenge; a += 2 * halb) {
      verbinde(re + a, im + a, re + a + halb, im + a + halb, &cos_[halb], &sin_[halb], halb,
               vorzeichen);
    }
  }
}

void Fft::transformiere(double* re, double* im, double vorzeichen) {
  for (const auto& [i, j] : tausche_) {
    std::swap(re[i], re[j]);
    std::swap(im[i], im[j]);
  }
  baueAuf(re, im, n_, vorzeichen);
  if (stoerung_ > 0.0) {
    const auto rauschen = [this] {
      zufall_ = zufall_ * 6364136223846793005U + 1442695040888963407U;
      return stoerung_ * (static_cast<double>(zufall_ >> 11) * 0x1p-52 - 1.0);
    };
    for (std::size_t k = 0; k < n_; ++k) {
      re[k] *= 1.0 + rauschen();
      im[k] *= 1.0 + rauschen();
    }
  }
}

}  // namespace hallkorb::referenz
