// The delay estimator's loops around its transforms.
#pragma once

#include "echo/kernels/Kernsatz.h"
#include "echo/kernels/Vektor.h"

namespace hallkorb::kern::HALLKORB_KERN {

// w^R of a vector of twiddle factors w.
template <std::size_t R>
HK_INLINE void potenz(V& wr, V& wi) {
  const V ar = wr;
  const V ai = wi;
  if constexpr (R == 0) {
    wr = alle(1.0);
    wi = V{};
  }
  for (std::size_t i = 1; i < R; ++i) {
    const V t = wr * ar - wi * ai;
    wi = wr * ai + wi * ar;
    wr = t;
  }
}

// Calls f with the residue class as a compile-time constant.
template <class F>
HK_INLINE void mitKlasse(std::size_t r, F f) {
  switch (r) {
    case 0:
      return f.template operator()<0>();
    case 1:
      return f.template operator()<1>();
    case 2:
      return f.template operator()<2>();
    case 3:
      return f.template operator()<3>();
    default:
      return f.template operator()<4>();
  }
}

// Values [von, bis) of class R; each sums TEILE values of the signal that lie M apart.
template <std::size_t R, std::size_t TEILE>
HK_INLINE void restklasseVon(const double* x, std::size_t von, std::size_t bis, const double* wr,
                             const double* wi, std::size_t M, double* zr, double* zi) {
  // e^(-2 pi i R j / 8) for j = 0, 1, 2: the signals fill at most three eighths.
  constexpr double h = 0.70710678118654752440;
  constexpr double DREHUNG[5][3][2] = {{{1, 0}, {1, 0}, {1, 0}},
                                       {{1, 0}, {h, -h}, {0, -1}},
                                       {{1, 0}, {0, -1}, {-1, 0}},
                                       {{1, 0}, {-h, -h}, {0, 1}},
                                       {{1, 0}, {-1, 0}, {1, 0}}};
  for (std::size_t n = von; n < bis; n += B) {
    V sr = lade(x + n);
    V si = V{};
    for (std::size_t j = 1; j < TEILE; ++j) {
      const V v = lade(x + j * M + n);
      sr += DREHUNG[R][j][0] * v;
      si += DREHUNG[R][j][1] * v;
    }
    V cr = lade(wr + n);
    V ci = lade(wi + n);
    potenz<R>(cr, ci);
    speichere(zr + n, sr * cr - si * ci);
    speichere(zi + n, sr * ci + si * cr);
  }
}

inline void restklasse(const double* x, std::size_t laenge, std::size_t r, const double* wr,
                       const double* wi, std::size_t M, double* zr, double* zi) {
  mitKlasse(r, [&]<std::size_t R>() {
    if (laenge > 2 * M) {
      restklasseVon<R, 3>(x, 0, laenge - 2 * M, wr, wi, M, zr, zi);
      restklasseVon<R, 2>(x, laenge - 2 * M, M, wr, wi, M, zr, zi);
    } else {
      restklasseVon<R, 2>(x, 0, laenge - M, wr, wi, M, zr, zi);
      restklasseVon<R, 1>(x, laenge - M, M, wr, wi, M, zr, zi);
    }
  });
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
  mitKlasse(r, [&]<std::size_t R>() {
    for (std::size_t n = 0; n < anzahl; n += B) {
      V cr = lade(wr + n);
      V ci = lade(wi + n);
      potenz<R>(cr, ci);
      // Times the conjugate of w^(R n), real part.
      const V re = lade(zr + n) * cr + lade(zi + n) * ci;
      speichere(summe + n, lade(summe + n) + faktor * re);
    }
  });
}

}  // namespace hallkorb::kern::HALLKORB_KERN
