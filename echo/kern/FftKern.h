// The FFT: Stockham passes of radix 8, 4 and 2 on split arrays, forward.
//
// A pass turns x[q + s (p + m j)] into y[q + s (radix p + k)], which orders the result by itself:
// no bit reversal. Vectors run along q, except in a single transform's first pass, where s is 1 and
// they run along p; there the results are transposed in registers. The last pass (m = 1) reads and
// writes the same places and may therefore work in place.
#pragma once

#include "echo/kern/Kern.h"
#include "echo/kern/Vektor.h"

namespace hallkorb::kern::HALLKORB_KERN {

inline constexpr double WURZEL_HALB = 0.70710678118654752440;

HK_INLINE void dft2(V (&r)[2], V (&i)[2]) {
  const V ar = r[0];
  const V ai = i[0];
  r[0] = ar + r[1];
  i[0] = ai + i[1];
  r[1] = ar - r[1];
  i[1] = ai - i[1];
}

HK_INLINE void dft4(V (&r)[4], V (&i)[4]) {
  const V t0r = r[0] + r[2];
  const V t0i = i[0] + i[2];
  const V t1r = r[0] - r[2];
  const V t1i = i[0] - i[2];
  const V t2r = r[1] + r[3];
  const V t2i = i[1] + i[3];
  const V t3r = r[1] - r[3];
  const V t3i = i[1] - i[3];
  r[0] = t0r + t2r;
  i[0] = t0i + t2i;
  r[1] = t1r + t3i;
  i[1] = t1i - t3r;
  r[2] = t0r - t2r;
  i[2] = t0i - t2i;
  r[3] = t1r - t3i;
  i[3] = t1i + t3r;
}

HK_INLINE void dft8(V (&r)[8], V (&i)[8]) {
  V gr[4] = {r[0], r[2], r[4], r[6]};
  V gi[4] = {i[0], i[2], i[4], i[6]};
  V ur[4] = {r[1], r[3], r[5], r[7]};
  V ui[4] = {i[1], i[3], i[5], i[7]};
  dft4(gr, gi);
  dft4(ur, ui);
  const V c = alle(WURZEL_HALB);
  // The odd half times e^(-i pi k / 4).
  const V h1r = c * (ur[1] + ui[1]);
  const V h1i = c * (ui[1] - ur[1]);
  const V h3r = c * (ui[3] - ur[3]);
  const V h3i = c * (ur[3] + ui[3]);
  r[0] = gr[0] + ur[0];
  i[0] = gi[0] + ui[0];
  r[4] = gr[0] - ur[0];
  i[4] = gi[0] - ui[0];
  r[1] = gr[1] + h1r;
  i[1] = gi[1] + h1i;
  r[5] = gr[1] - h1r;
  i[5] = gi[1] - h1i;
  r[2] = gr[2] + ui[2];
  i[2] = gi[2] - ur[2];
  r[6] = gr[2] - ui[2];
  i[6] = gi[2] + ur[2];
  r[3] = gr[3] + h3r;
  i[3] = gi[3] - h3i;
  r[7] = gr[3] - h3r;
  i[7] = gi[3] + h3i;
}

template <std::size_t R>
HK_INLINE void dft(V (&r)[R], V (&i)[R]) {
  if constexpr (R == 8) {
    dft8(r, i);
  } else if constexpr (R == 4) {
    dft4(r, i);
  } else {
    dft2(r, i);
  }
}

// A pass with s >= B.
template <std::size_t R>
HK_INLINE void durchgang(const Durchgang& d, const double* xr, const double* xi, double* yr,
                         double* yi) {
  const std::size_t s = d.s;
  const std::size_t sm = d.s * d.m;
  for (std::size_t q = 0; q < s; q += B) {
    V r[R];
    V i[R];
    for (std::size_t j = 0; j < R; ++j) {
      r[j] = lade(xr + q + sm * j);
      i[j] = lade(xi + q + sm * j);
    }
    dft<R>(r, i);
    for (std::size_t k = 0; k < R; ++k) {
      speichere(yr + q + s * k, r[k]);
      speichere(yi + q + s * k, i[k]);
    }
  }
  for (std::size_t p = 1; p < d.m; ++p) {
    const double* wr = d.wr + p * (R - 1);
    const double* wi = d.wi + p * (R - 1);
    const double* ar = xr + s * p;
    const double* ai = xi + s * p;
    double* br = yr + s * R * p;
    double* bi = yi + s * R * p;
    for (std::size_t q = 0; q < s; q += B) {
      V r[R];
      V i[R];
      for (std::size_t j = 0; j < R; ++j) {
        r[j] = lade(ar + q + sm * j);
        i[j] = lade(ai + q + sm * j);
      }
      dft<R>(r, i);
      speichere(br + q, r[0]);
      speichere(bi + q, i[0]);
      for (std::size_t k = 1; k < R; ++k) {
        const V cr = alle(wr[k - 1]);
        const V ci = alle(wi[k - 1]);
        speichere(br + q + s * k, r[k] * cr - i[k] * ci);
        speichere(bi + q + s * k, r[k] * ci + i[k] * cr);
      }
    }
  }
}

// The first pass of a single transform: s = 1, radix 8.
HK_INLINE void ersterDurchgang(const Durchgang& d, const double* xr, const double* xi, double* yr,
                               double* yi) {
  const std::size_t m = d.m;
  for (std::size_t p = 0; p < m; p += B) {
    V r[8];
    V i[8];
    for (std::size_t j = 0; j < 8; ++j) {
      r[j] = lade(xr + p + m * j);
      i[j] = lade(xi + p + m * j);
    }
    dft8(r, i);
    for (std::size_t k = 1; k < 8; ++k) {
      const V cr = lade(d.wr + (k - 1) * m + p);
      const V ci = lade(d.wi + (k - 1) * m + p);
      const V t = r[k] * cr - i[k] * ci;
      i[k] = r[k] * ci + i[k] * cr;
      r[k] = t;
    }
    speichereTransponiert(r, yr + 8 * p, 8);
    speichereTransponiert(i, yi + 8 * p, 8);
  }
}

HK_INLINE void fftKern(const Plan& plan, double* re, double* im, Hilfsfeld hilf) {
  double* xr = re;
  double* xi = im;
  for (std::size_t a = 0; a < plan.anzahl; ++a) {
    const Durchgang& d = plan.durchgang[a];
    const bool zurueck = xr != re || a + 1 == plan.anzahl;
    double* yr = zurueck ? re : hilf.re;
    double* yi = zurueck ? im : hilf.im;
    if (d.s == 1) {
      ersterDurchgang(d, xr, xi, yr, yi);
    } else if (d.radix == 8) {
      durchgang<8>(d, xr, xi, yr, yi);
    } else if (d.radix == 4) {
      durchgang<4>(d, xr, xi, yr, yi);
    } else {
      durchgang<2>(d, xr, xi, yr, yi);
    }
    xr = yr;
    xi = yi;
  }
}

inline void fft(const Plan& plan, double* re, double* im, Hilfsfeld hilf) {
  fftKern(plan, re, im, hilf);
}

// One group of SPALTEN columns, from column c on: loaded, transformed, stored.
template <bool VOR, bool NACH>
HK_INLINE void spalten(const GrossPlan& plan, std::size_t c, const double* re, const double* im,
                       double* zr, double* zi, std::size_t abstand, Hilfsfeld hilf) {
  const std::size_t zeilen = plan.spalten.n;
  const std::size_t n2 = plan.zeilen.n;
  double* const br = hilf.re;
  double* const bi = hilf.im;
  const double* const gr = plan.grobR + c / SPALTEN * zeilen;
  const double* const gi = plan.grobI + c / SPALTEN * zeilen;
  const auto drehen = [&](std::size_t k, std::size_t l, V& r, V& i) {
    const V fr = lade(plan.feinR + k * SPALTEN + l);
    const V fi = lade(plan.feinI + k * SPALTEN + l);
    const V wr = fr * gr[k] - fi * gi[k];
    const V wi = fr * gi[k] + fi * gr[k];
    const V t = r * wr - i * wi;
    i = r * wi + i * wr;
    r = t;
  };
  for (std::size_t k = 0; k < zeilen; ++k) {
    for (std::size_t l = 0; l < SPALTEN; l += B) {
      V r = lade(re + k * n2 + c + l);
      V i = lade(im + k * n2 + c + l);
      if constexpr (VOR) drehen(k, l, r, i);
      speichere(br + k * SPALTEN + l, r);
      speichere(bi + k * SPALTEN + l, i);
    }
  }
  fftKern(plan.spalten, br, bi, {hilf.re + SPALTEN * zeilen, hilf.im + SPALTEN * zeilen});
  for (std::size_t k = 0; k < zeilen; ++k) {
    for (std::size_t l = 0; l < SPALTEN; l += B) {
      V r = lade(br + k * SPALTEN + l);
      V i = lade(bi + k * SPALTEN + l);
      if constexpr (NACH) drehen(k, l, r, i);
      speichere(zr + k * abstand + c + l, r);
      speichere(zi + k * abstand + c + l, i);
    }
  }
}

inline void fftGross(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix,
                     Hilfsfeld hilf) {
  const std::size_t n1 = plan.spalten.n;
  const std::size_t n2 = plan.zeilen.n;
  // Eight values more than a row holds, or all of a column would fall into one set of the cache.
  const std::size_t abstand = n2 + 8;
  for (std::size_t c = 0; c < n2; c += SPALTEN) {
    spalten<false, true>(plan, c, re, im, matrix.re, matrix.im, abstand, hilf);
  }
  for (std::size_t k1 = 0; k1 < n1; k1 += 8) {
    double* const zr = matrix.re + k1 * abstand;
    double* const zi = matrix.im + k1 * abstand;
    for (std::size_t z = 0; z < 8; ++z) {
      fftKern(plan.zeilen, zr + z * abstand, zi + z * abstand, hilf);
    }
    for (std::size_t k2 = 0; k2 < n2; k2 += B) {
      V r[8];
      V i[8];
      for (std::size_t z = 0; z < 8; ++z) {
        r[z] = lade(zr + z * abstand + k2);
        i[z] = lade(zi + z * abstand + k2);
      }
      speichereTransponiert(r, re + k1 + n1 * k2, n1);
      speichereTransponiert(i, im + k1 + n1 * k2, n1);
    }
  }
}

inline void fftGrossHin(const GrossPlan& plan, double* re, double* im, Hilfsfeld hilf) {
  const std::size_t n2 = plan.zeilen.n;
  for (std::size_t c = 0; c < n2; c += SPALTEN) {
    spalten<false, true>(plan, c, re, im, re, im, n2, hilf);
  }
  for (std::size_t k = 0; k < plan.spalten.n; ++k) {
    fftKern(plan.zeilen, re + k * n2, im + k * n2, hilf);
  }
}

inline void fftGrossHer(const GrossPlan& plan, double* re, double* im, Hilfsfeld hilf) {
  const std::size_t n2 = plan.zeilen.n;
  for (std::size_t k = 0; k < plan.spalten.n; ++k) {
    fftKern(plan.zeilen, re + k * n2, im + k * n2, hilf);
  }
  for (std::size_t c = 0; c < n2; c += SPALTEN) {
    spalten<true, false>(plan, c, re, im, re, im, n2, hilf);
  }
}

}  // namespace hallkorb::kern::HALLKORB_KERN
