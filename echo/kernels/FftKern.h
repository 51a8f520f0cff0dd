// The FFT: Stockham passes of radix 8, 4 and 2 on split arrays, forward.
//
// A pass turns x[q + s (p + m j)] into y[q + s (radix p + k)], which orders the result by itself:
// no bit reversal. Vectors run along q, except in a single transform's first pass, where s is 1 and
// they run along p; there the results are transposed in registers. The last pass (m = 1) reads and
// writes the same places and may therefore work in place.
#pragma once

#include "echo/kernels/Kernsatz.h"
#include "echo/kernels/Vektor.h"

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

// Where a pass reads and writes: row t begins at address p + t * abstand and holds the s values
// that stand side by side.
struct Lesezeilen {
  const double* re;
  const double* im;
  std::size_t abstand;

  HK_INLINE void lies(std::size_t t, std::size_t q, V& r, V& i) const {
    r = lade(re + t * abstand + q);
    i = lade(im + t * abstand + q);
  }
};
struct Zeilen {
  double* re;
  double* im;
  std::size_t abstand;

  HK_INLINE void schreib(std::size_t t, std::size_t q, V r, V i) const {
    speichere(re + t * abstand + q, r);
    speichere(im + t * abstand + q, i);
  }
};

// A pass with s >= B, from `ein.lies` to `aus.schreib`.
template <std::size_t R, class Ein, class Aus>
HK_INLINE void durchgang(const Durchgang& d, Ein ein, Aus aus) {
  for (std::size_t q = 0; q < d.s; q += B) {
    V r[R];
    V i[R];
    for (std::size_t j = 0; j < R; ++j)
      ein.lies(d.m * j, q, r[j], i[j]);
    dft<R>(r, i);
    for (std::size_t k = 0; k < R; ++k)
      aus.schreib(k, q, r[k], i[k]);
  }
  for (std::size_t p = 1; p < d.m; ++p) {
    const double* wr = d.wr + p * (R - 1);
    const double* wi = d.wi + p * (R - 1);
    for (std::size_t q = 0; q < d.s; q += B) {
      V r[R];
      V i[R];
      for (std::size_t j = 0; j < R; ++j)
        ein.lies(p + d.m * j, q, r[j], i[j]);
      dft<R>(r, i);
      aus.schreib(R * p, q, r[0], i[0]);
      for (std::size_t k = 1; k < R; ++k) {
        const V cr = alle(wr[k - 1]);
        const V ci = alle(wi[k - 1]);
        aus.schreib(R * p + k, q, r[k] * cr - i[k] * ci, r[k] * ci + i[k] * cr);
      }
    }
  }
}

template <class Ein, class Aus>
HK_INLINE void einDurchgang(const Durchgang& d, Ein ein, Aus aus) {
  if (d.radix == 8) {
    durchgang<8>(d, ein, aus);
  } else if (d.radix == 4) {
    durchgang<4>(d, ein, aus);
  } else {
    durchgang<2>(d, ein, aus);
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

// A pass with strides that the compiler knows: as variables, the many addresses of a butterfly
// would leave no registers for its values.
HK_INLINE constexpr Durchgang fest(std::size_t radix, std::size_t s, std::size_t m,
                                   const Durchgang& d) {
  return {radix, s, m, d.wr, d.wi};
}

HK_INLINE void fft512(const Plan& plan, const double* xr, const double* xi, double* yr, double* yi,
                      Hilfsfeld hilf) {
  const Durchgang* d = plan.durchgang;
  ersterDurchgang(fest(8, 1, 64, d[0]), xr, xi, hilf.re, hilf.im);
  durchgang<8>(fest(8, 8, 8, d[1]), Lesezeilen{hilf.re, hilf.im, 8}, Zeilen{yr, yi, 8});
  durchgang<8>(fest(8, 64, 1, d[2]), Lesezeilen{yr, yi, 64}, Zeilen{yr, yi, 64});
}

// From x to y, which may be the same arrays; otherwise x is not changed.
HK_INLINE void fftKern(const Plan& plan, const double* xr, const double* xi, double* yr, double* yi,
                       Hilfsfeld hilf) {
  if (plan.n == 512) {
    fft512(plan, xr, xi, yr, yi, hilf);
    return;
  }
  const double* ar = xr;
  const double* ai = xi;
  for (std::size_t a = 0; a < plan.anzahl; ++a) {
    const Durchgang& d = plan.durchgang[a];
    const bool nachY = a + 1 == plan.anzahl || ar == hilf.re;
    double* br = nachY ? yr : hilf.re;
    double* bi = nachY ? yi : hilf.im;
    if (d.s == 1) {
      ersterDurchgang(d, ar, ai, br, bi);
    } else {
      einDurchgang(d, Lesezeilen{ar, ai, d.s}, Zeilen{br, bi, d.s});
    }
    ar = br;
    ai = bi;
  }
}

inline void fft(const Plan& plan, double* re, double* im, Hilfsfeld hilf) {
  fftKern(plan, re, im, re, im, hilf);
}

// The twiddle factors between rows and columns, applied to a group of columns: w^(c + l) k for row
// k, lane l.
struct Drehung {
  const GrossPlan& plan;
  std::size_t c;

  HK_INLINE void wende(std::size_t k, std::size_t l, V& r, V& i) const {
    const std::size_t grob = c / SPALTEN * plan.spalten.n + k;
    const V fr = lade(plan.feinR + k * SPALTEN + l);
    const V fi = lade(plan.feinI + k * SPALTEN + l);
    const V wr = fr * plan.grobR[grob] - fi * plan.grobI[grob];
    const V wi = fr * plan.grobI[grob] + fi * plan.grobR[grob];
    const V t = r * wr - i * wi;
    i = r * wi + i * wr;
    r = t;
  }
};

// Reads and writes a group of columns as the rows of its transforms; the rows of the matrix are
// `abstand` apart. Applies the twiddle factors on the way if DREHEN. In the last pass a row holds
// the values of several rows of the matrix side by side.
template <bool DREHEN>
struct Spaltenleser {
  Lesezeilen von;
  Drehung drehung;
  HK_INLINE void lies(std::size_t t, std::size_t q, V& r, V& i) const {
    von.lies(t, drehung.c + q, r, i);
    if constexpr (DREHEN) drehung.wende(t, q, r, i);
  }
};
template <bool DREHEN>
struct Spaltenschreiber {
  Zeilen nach;
  Drehung drehung;
  std::size_t s;
  HK_INLINE void schreib(std::size_t k, std::size_t q, V r, V i) const {
    const std::size_t zeile = k * (s / SPALTEN) + q / SPALTEN;
    const std::size_t l = q % SPALTEN;
    if constexpr (DREHEN) drehung.wende(zeile, l, r, i);
    nach.schreib(zeile, drehung.c + l, r, i);
  }
};

// One group of columns: the first pass reads `ein`, the last one writes `aus`. N1 is the columns'
// length if the compiler is to know it, otherwise 0.
template <std::size_t N1, class Ein, class Aus>
HK_INLINE void spaltengruppe(const Plan& spalten, Ein ein, Aus aus, Hilfsfeld hilf) {
  constexpr std::size_t S = SPALTEN;
  const Durchgang* d = spalten.durchgang;
  const std::size_t menge = S * spalten.n;
  const Hilfsfeld zweites{hilf.re + menge, hilf.im + menge};
  if constexpr (N1 == 32) {
    durchgang<8>(fest(8, S, 4, d[0]), ein, Zeilen{hilf.re, hilf.im, S});
    durchgang<4>(fest(4, 8 * S, 1, d[1]), Lesezeilen{hilf.re, hilf.im, 8 * S}, aus);
  } else if constexpr (N1 == 256) {
    durchgang<8>(fest(8, S, 32, d[0]), ein, Zeilen{hilf.re, hilf.im, S});
    durchgang<8>(fest(8, 8 * S, 4, d[1]), Lesezeilen{hilf.re, hilf.im, 8 * S},
                 Zeilen{zweites.re, zweites.im, 8 * S});
    durchgang<4>(fest(4, 64 * S, 1, d[2]), Lesezeilen{zweites.re, zweites.im, 64 * S}, aus);
  } else {
    Hilfsfeld von = hilf;
    Hilfsfeld nach = zweites;
    einDurchgang(*d, ein, Zeilen{von.re, von.im, d->s});
    for (++d; d + 1 < spalten.durchgang + spalten.anzahl; ++d) {
      einDurchgang(*d, Lesezeilen{von.re, von.im, d->s}, Zeilen{nach.re, nach.im, d->s});
      const Hilfsfeld t = von;
      von = nach;
      nach = t;
    }
    einDurchgang(*d, Lesezeilen{von.re, von.im, d->s}, aus);
  }
}

template <std::size_t N1, bool VOR, bool NACH>
HK_INLINE void spaltengruppen(const GrossPlan& plan, Lesezeilen von, Zeilen nach, Hilfsfeld hilf) {
  constexpr std::size_t S = SPALTEN;
  const std::size_t s = N1 == 0 ? plan.spalten.durchgang[plan.spalten.anzahl - 1].s : S * N1 / 4;
  for (std::size_t c = 0; c < GROSSE_ZEILE; c += S) {
    const Drehung drehung{plan, c};
    spaltengruppe<N1>(plan.spalten, Spaltenleser<VOR>{von, drehung},
                      Spaltenschreiber<NACH>{nach, drehung, s}, hilf);
  }
}

// All groups of columns: each group's first pass reads `von`, its last writes `nach`.
template <bool VOR, bool NACH>
HK_INLINE void alleSpalten(const GrossPlan& plan, Lesezeilen von, Zeilen nach, Hilfsfeld hilf) {
  if (plan.spalten.n == 32) {
    spaltengruppen<32, VOR, NACH>(plan, von, nach, hilf);
  } else if (plan.spalten.n == 256) {
    spaltengruppen<256, VOR, NACH>(plan, von, nach, hilf);
  } else {
    spaltengruppen<0, VOR, NACH>(plan, von, nach, hilf);
  }
}

// Rows of the matrix between columns and rows are eight values longer than they need to be;
// otherwise a whole column would share one set of the cache.
inline constexpr std::size_t ZEILENABSTAND = GROSSE_ZEILE + 8;
// The rows that are transposed together, 256 KB: a second-level cache holds them.
inline constexpr std::size_t ZEILENBLOCK = KLEINSTE_SPALTE;

// Rows k1 to k1 + ZEILENBLOCK of the matrix as columns of the result. All lines of one column share
// a few sets of the cache if its length is a power of two; each visit therefore writes four whole
// lines that follow one another, so that they leave the cache through different sets. One line at
// each visit takes three times as long.
HK_INLINE void transponiere(const double* zeilen, double* ziel, std::size_t n1, std::size_t k2) {
  for (std::size_t z = 0; z < ZEILENBLOCK; z += 8) {
    V v[8];
    for (std::size_t j = 0; j < 8; ++j)
      v[j] = lade(zeilen + (z + j) * ZEILENABSTAND + k2);
    speichereTransponiert(v, ziel + z + n1 * k2, n1);
  }
}

inline void fftGross(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix,
                     Hilfsfeld hilf) {
  const std::size_t n1 = plan.spalten.n;
  constexpr std::size_t n2 = GROSSE_ZEILE;
  constexpr std::size_t abstand = ZEILENABSTAND;
  alleSpalten<false, true>(plan, {re, im, n2}, {matrix.re, matrix.im, abstand}, hilf);
  for (std::size_t k1 = 0; k1 < n1; k1 += ZEILENBLOCK) {
    double* const zr = matrix.re + k1 * abstand;
    double* const zi = matrix.im + k1 * abstand;
    for (std::size_t z = 0; z < ZEILENBLOCK * abstand; z += abstand)
      fftKern(plan.zeilen, zr + z, zi + z, zr + z, zi + z, hilf);
    for (std::size_t k2 = 0; k2 < n2; k2 += B) {
      transponiere(zr, re + k1, n1, k2);
      transponiere(zi, im + k1, n1, k2);
    }
  }
}

inline void fftGrossHin(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix,
                        Hilfsfeld hilf) {
  constexpr std::size_t n2 = GROSSE_ZEILE;
  constexpr std::size_t abstand = ZEILENABSTAND;
  alleSpalten<false, true>(plan, {re, im, n2}, {matrix.re, matrix.im, abstand}, hilf);
  for (std::size_t k = 0; k < plan.spalten.n; ++k) {
    fftKern(plan.zeilen, matrix.re + k * abstand, matrix.im + k * abstand, re + k * n2, im + k * n2,
            hilf);
  }
}

inline void fftGrossHer(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix,
                        Hilfsfeld hilf) {
  constexpr std::size_t n2 = GROSSE_ZEILE;
  constexpr std::size_t abstand = ZEILENABSTAND;
  for (std::size_t k = 0; k < plan.spalten.n; ++k) {
    fftKern(plan.zeilen, re + k * n2, im + k * n2, matrix.re + k * abstand, matrix.im + k * abstand,
            hilf);
  }
  alleSpalten<true, false>(plan, {matrix.re, matrix.im, abstand}, {re, im, n2}, hilf);
}

}  // namespace hallkorb::kern::HALLKORB_KERN
