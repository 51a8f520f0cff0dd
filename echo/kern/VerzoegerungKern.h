// The delay estimator's loops around its transforms.
#pragma once

#include "echo/kern/Kern.h"
#include "echo/kern/Vektor.h"

namespace hallkorb::kern::HALLKORB_KERN {

// w^r of a vector of twiddle factors w, r = 0..4.
HK_INLINE void potenz(std::size_t r, V& wr, V& wi) {
  const V ar = wr;
  const V ai = wi;
  if (r == 0) {
    wr = alle(1.0);
    wi = V{};
    return;
  }
  for (std::size_t i = 1; i < r; ++i) {
    const V t = wr * ar - wi * ai;
    wi = wr * ai + wi * ar;
    wr = t;
  }
}

inline void restklasse(const double* x, std::size_t laenge, std::size_t r, const double* wr,
                       const double* wi, std::size_t M, double* zr, double* zi) {
  // e^(-2 pi i r j / 8) for j = 0, 1, 2: the signals fill at most three eighths.
  constexpr double h = 0.70710678118654752440;
  constexpr double DREHUNG[5][3][2] = {{{1, 0}, {1, 0}, {1, 0}},
                                       {{1, 0}, {h, -h}, {0, -1}},
                                       {{1, 0}, {0, -1}, {-1, 0}},
                                       {{1, 0}, {-h, -h}, {0, 1}},
                                       {{1, 0}, {-1, 0}, {1, 0}}};
  const auto teil = [&](std::size_t j, std::size_t n) {
    const std::size_t t = j * M + n;
    if (t + B <= laenge) return lade(x + t);
    V v = V{};
    for (std::size_t l = 0; l < B && t + l < laenge; ++l)
      v[l] = x[t + l];
    return v;
  };
  for (std::size_t n = 0; n < M; n += B) {
    V sr = teil(0, n);
    V si = V{};
    for (std::size_t j = 1; j < 3; ++j) {
      const V v = teil(j, n);
      sr += DREHUNG[r][j][0] * v;
      si += DREHUNG[r][j][1] * v;
    }
    V cr = lade(wr + n);
    V ci = lade(wi + n);
    potenz(r, cr, ci);
    speichere(zr + n, sr * cr - si * ci);
    speichere(zi + n, sr * ci + si * cr);
  }
}

inline double kreuzspektrum(double* dr, double* di, const double* xr, const double* xi,
                            std::size_t n) {
  V groesstes = V{};
  for (std::size_t k = 0; k < n; k += B) {
    const V ar = lade(dr + k);
    const V ai = lade(di + k);
    const V br = lade(xr + k);
    const V bi = lade(xi + k);
    const V re = ar * br + ai * bi;
    const V im = br * ai - ar * bi;
    speichere(dr + k, re);
    speichere(di + k, im);
    const V q = re * re + im * im;
    groesstes = q > groesstes ? q : groesstes;
  }
  double g = 0.0;
  for (std::size_t l = 0; l < B; ++l)
    g = groesstes[l] > g ? groesstes[l] : g;
  return g;
}

inline void phase(double* dr, double* di, double eps, std::size_t n) {
  for (std::size_t k = 0; k < n; k += B) {
    const V re = lade(dr + k);
    const V im = lade(di + k);
    const V f = 1.0 / (wurzel(re * re + im * im) + eps);
    speichere(dr + k, re * f);
    speichere(di + k, im * f);
  }
}

inline void lagSumme(const double* zr, const double* zi, std::size_t r, const double* wr,
                     const double* wi, double faktor, std::size_t anzahl, double* summe) {
  for (std::size_t n = 0; n < anzahl; n += B) {
    V cr = lade(wr + n);
    V ci = lade(wi + n);
    potenz(r, cr, ci);
    // Times the conjugate of w^(r n), real part.
    const V re = lade(zr + n) * cr + lade(zi + n) * ci;
    speichere(summe + n, lade(summe + n) + faktor * re);
  }
}

}  // namespace hallkorb::kern::HALLKORB_KERN
