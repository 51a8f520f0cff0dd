// The canceller's and the post-filter's loops over bins, partitions and samples.
//
// Minima and maxima keep the order of comparison: it decides what becomes of a NaN.
#pragma once

#include "echo/kernels/Kernsatz.h"
#include "echo/kernels/Vektor.h"

namespace hallkorb::kern::HALLKORB_KERN {

// As std::max and std::min: the first argument if the comparison fails.
HK_INLINE V groesseres(V a, V b) {
  return a < b ? b : a;
}
HK_INLINE V kleineres(V a, V b) {
  return b < a ? b : a;
}

inline void paarMischen(Spektrum A, Spektrum Bs, double* zr, double* zi) {
  for (std::size_t k = 0; k < N; k += B) {
    const V ar = lade(A.re + k);
    const V ai = lade(A.im + k);
    const V br = lade(Bs.re + k);
    const V bi = lade(Bs.im + k);
    speichere(zr + k, ar - bi);
    speichere(zi + k, ai + br);
    // The mirrored bins K - k. Bin 0 has none: what it writes to K is never read.
    const std::size_t spiegel = K - k - (B - 1);
    speichere(zr + spiegel, umgekehrt(ar + bi));
    speichere(zi + spiegel, umgekehrt(br - ai));
  }
  zr[N] = A.re[N] - Bs.im[N];
  zi[N] = A.im[N] + Bs.re[N];
}

inline void paarTrennen(double* zr, double* zi, Spektrum A, Spektrum Bs) {
  zr[K] = zr[0];
  zi[K] = zi[0];
  for (std::size_t k = 0; k < N; k += B) {
    const V r = lade(zr + k);
    const V i = lade(zi + k);
    const V sr = umgekehrt(lade(zr + K - k - (B - 1)));
    const V si = umgekehrt(lade(zi + K - k - (B - 1)));
    speichere(A.re + k, 0.5 * (r + sr));
    speichere(A.im + k, 0.5 * (i - si));
    speichere(Bs.re + k, 0.5 * (i + si));
    speichere(Bs.im + k, 0.5 * (sr - r));
  }
  A.re[N] = zr[N];
  A.im[N] = 0.0;
  Bs.re[N] = zi[N];
  Bs.im[N] = 0.0;
}

inline double skalarprodukt(const double* a, const double* b, std::size_t n) {
  V s0 = V{};
  V s1 = V{};
  for (std::size_t i = 0; i < n; i += 8) {
    for (std::size_t l = 0; l < 8; l += 2 * B) {
      s0 += lade(a + i + l) * lade(b + i + l);
      if constexpr (B < 8) s1 += lade(a + i + l + B) * lade(b + i + l + B);
    }
  }
  return summe(s0 + s1);
}

inline void differenz(const double* a, const double* b, double* c, std::size_t n) {
  for (std::size_t i = 0; i < n; i += B)
    speichere(c + i, lade(a + i) - lade(b + i));
}

inline double abstand(const double* a, const double* b, std::size_t n) {
  V s = V{};
  for (std::size_t i = 0; i < n; i += B) {
    const V d = lade(a + i) - lade(b + i);
    s += d * d;
  }
  return summe(s);
}

inline void skalieren(double* a, double faktor, std::size_t n) {
  for (std::size_t i = 0; i < n; i += B)
    speichere(a + i, lade(a + i) * faktor);
}

inline void vorfilter(const double* mic, double* d, VorfilterZustand& zustand) {
  double n0 = zustand.n0;
  double n1 = zustand.n1;
  double preD = zustand.preD;
  // The notch's radius, and radius^2 + 0.7 (1 - radius)^2: it takes out what a microphone adds
  // below 50 Hz.
  constexpr double RADIUS = 0.982;
  constexpr double RADIUS_QUADRAT = 0.9645508;
  for (std::size_t i = 0; i < N; ++i) {
    const double x = mic[i];
    const double v = x + n0;
    const double r = RADIUS * v;
    // n1 + 2 (r - x), written so that only one multiplication waits for v.
    n0 = (n1 - 2.0 * x) + 2.0 * RADIUS * v;
    n1 = x - RADIUS_QUADRAT * v;
    d[i] = r - VORBETONUNG * preD;
    preD = r;
  }
  zustand = {n0, n1, preD};
}

inline void deemphase(double* out, double& deM) {
  double w = deM;
  for (std::size_t i = 0; i < N; ++i) {
    w = out[i] + VORBETONUNG * w;
    out[i] = w;
  }
  deM = w;
}

inline void gradient(double* w, const double* x, double prop, const double* power1, Spektrum E) {
  for (std::size_t k = 0; k < ZEILE; k += B) {
    const V schritt = lade(power1 + k);
    const V gr = schritt * lade(E.re + k);
    const V gi = schritt * lade(E.im + k);
    const V xr = lade(x + k);
    const V xi = lade(x + ZEILE + k);
    speichere(w + k, lade(w + k) + prop * (gr * xr + gi * xi));
    speichere(w + ZEILE + k, lade(w + ZEILE + k) + prop * (gi * xr - gr * xi));
  }
}

// Bins [k, k + BREITE * B) of all partitions: the sums stay in registers, and each cache line of W,
// F and X is touched once.
template <bool MIT_GRADIENT, std::size_t BREITE>
HK_INLINE void filtereBins(std::size_t k, double* W, const double* F, const double* const* x,
                           std::size_t P, const double* prop, const double* power1, Spektrum E,
                           Spektrum Yf, Spektrum Yb) {
  V gr[BREITE];
  V gi[BREITE];
  V xr[BREITE];
  V xi[BREITE];
  V fr[BREITE];
  V fi[BREITE];
  V br[BREITE];
  V bi[BREITE];
  for (std::size_t v = 0; v < BREITE; ++v) {
    const std::size_t q = k + v * B;
    if constexpr (MIT_GRADIENT) {
      gr[v] = lade(power1 + q) * lade(E.re + q);
      gi[v] = lade(power1 + q) * lade(E.im + q);
    }
    xr[v] = lade(x[0] + q);
    xi[v] = lade(x[0] + ZEILE + q);
    fr[v] = fi[v] = br[v] = bi[v] = V{};
  }
  for (std::size_t j = 0; j < P; ++j) {
    double* const w = W + j * 2 * ZEILE;
    const double* const f = F + j * 2 * ZEILE;
    const double* const aelter = x[j + 1];
    for (std::size_t v = 0; v < BREITE; ++v) {
      const std::size_t q = k + v * B;
      V wr = lade(w + q);
      V wi = lade(w + ZEILE + q);
      const V ar = lade(aelter + q);
      const V ai = lade(aelter + ZEILE + q);
      if constexpr (MIT_GRADIENT) {
        wr += prop[j] * (gr[v] * ar + gi[v] * ai);
        wi += prop[j] * (gi[v] * ar - gr[v] * ai);
        speichere(w + q, wr);
        speichere(w + ZEILE + q, wi);
      }
      const V vr = lade(f + q);
      const V vi = lade(f + ZEILE + q);
      fr[v] += vr * xr[v] - vi * xi[v];
      fi[v] += vr * xi[v] + vi * xr[v];
      br[v] += wr * xr[v] - wi * xi[v];
      bi[v] += wr * xi[v] + wi * xr[v];
      xr[v] = ar;
      xi[v] = ai;
    }
  }
  for (std::size_t v = 0; v < BREITE; ++v) {
    const std::size_t q = k + v * B;
    speichere(Yf.re + q, fr[v]);
    speichere(Yf.im + q, fi[v]);
    speichere(Yb.re + q, br[v]);
    speichere(Yb.im + q, bi[v]);
  }
}

template <bool MIT_GRADIENT>
HK_INLINE void filternMit(double* W, const double* F, const double* const* x, std::size_t P,
                          const double* prop, const double* power1, Spektrum E, Spektrum Yf,
                          Spektrum Yb) {
  // As many cache lines at once as the registers hold.
  constexpr std::size_t BREITE = B == 8 ? 3 : 1;
  static_assert(ZEILE % (BREITE * B) == 0);
  for (std::size_t k = 0; k < ZEILE; k += BREITE * B) {
    filtereBins<MIT_GRADIENT, BREITE>(k, W, F, x, P, prop, power1, E, Yf, Yb);
  }
}

inline void filtern(double* W, const double* F, const double* const* x, std::size_t P,
                    const double* prop, const double* power1, Spektrum E, Spektrum Yf,
                    Spektrum Yb) {
  if (prop != nullptr) {
    filternMit<true>(W, F, x, P, prop, power1, E, Yf, Yb);
  } else {
    filternMit<false>(W, F, x, P, prop, power1, E, Yf, Yb);
  }
}

inline void glaetten(Spektrum E, Spektrum Y, const double* x0, double ss, double a, double* power,
                     double* Eh, double* Yh, double* Rf, double* Yf, double& pe, double& py) {
  V spe = V{};
  V spy = V{};
  for (std::size_t k = 0; k < ZEILE; k += B) {
    const V er = lade(E.re + k);
    const V ei = lade(E.im + k);
    const V yr = lade(Y.re + k);
    const V yi = lade(Y.im + k);
    const V xr = lade(x0 + k);
    const V xi = lade(x0 + ZEILE + k);
    const V rf = er * er + ei * ei;
    const V yf = yr * yr + yi * yi;
    const V xf = xr * xr + xi * xi;
    speichere(power + k, (1.0 - ss) * lade(power + k) + 1.0 + ss * xf);
    const V eh = lade(Eh + k);
    const V yh = lade(Yh + k);
    spe += (rf - eh) * (yf - yh);
    spy += (yf - yh) * (yf - yh);
    speichere(Eh + k, a * rf + (1.0 - a) * eh);
    speichere(Yh + k, a * yf + (1.0 - a) * yh);
    speichere(Rf + k, rf);
    speichere(Yf + k, yf);
  }
  pe = summe(spe);
  py = summe(spy);
}

// Keeps a step finite in bins without any reference.
inline constexpr double MIN_LEISTUNG = 10.0;

inline void schrittweite(const double* Rf, const double* Yf, const double* power, double leak,
                         double RER, double* power1) {
  // Residual echo is at most half of a bin's error. The bin's own ratio counts for 0.7, that of the
  // whole block for 0.3: single bins scatter.
  constexpr double MAX_RESTECHO = 0.5;
  constexpr double EIGENES = 0.7;
  constexpr double GEMEINSAMES = 0.3;
  for (std::size_t k = 0; k < ZEILE; k += B) {
    const V e = lade(Rf + k) + 1.0;
    const V r = kleineres(leak * lade(Yf + k), MAX_RESTECHO * e);
    speichere(power1 + k,
              (EIGENES * r + GEMEINSAMES * RER * e) / (e * (lade(power + k) + MIN_LEISTUNG)));
  }
}

inline void anlaufschritt(const double* power, double rate, double* power1) {
  for (std::size_t k = 0; k < ZEILE; k += B) {
    speichere(power1 + k, rate / (lade(power + k) + MIN_LEISTUNG));
  }
}

inline void ueberblenden(const double* fade, double* a, const double* b) {
  for (std::size_t i = 0; i < N; i += B) {
    const V f = lade(fade + i);
    speichere(a + i, f * lade(a + i) + (1.0 - f) * lade(b + i));
  }
}

inline void rahmen(double* hist, const double* neu, const double* fenster, double* z) {
  for (std::size_t i = 0; i < N; i += B) {
    const V jetzt = lade(neu + i);
    speichere(z + i, lade(hist + i) * lade(fenster + i));
    speichere(z + N + i, jetzt * lade(fenster + N + i));
    speichere(hist + i, jetzt);
  }
}

inline BandSummen rauschenUndRest(Spektrum A, Spektrum Bs, double l, double c, double nachhall,
                                  const double* band, NachfilterFelder felder, double* r,
                                  double* p) {
  // The noise floor follows within 20 blocks, unless the signal is so far above it that it cannot
  // be noise: then it rises by 1 % a block, so that louder noise is learnt in the end.
  constexpr double KEIN_RAUSCHEN = 3.0;
  constexpr double ANSTIEG = 1.01;
  constexpr double ALT = 0.95;
  constexpr double NEU = 0.05;
  V spe = V{};
  V spy = V{};
  V sn = V{};
  for (std::size_t k = 0; k < ZEILE; k += B) {
    const V ar = lade(A.re + k);
    const V ai = lade(A.im + k);
    const V br = lade(Bs.re + k);
    const V bi = lade(Bs.im + k);
    const V Pe = ar * ar + ai * ai + 1.0;
    const V Py = br * br + bi * bi + 1.0;
    const V alt = lade(felder.rausch + k);
    const V rausch = Pe < KEIN_RAUSCHEN * alt ? ALT * alt + NEU * Pe : ANSTIEG * alt;
    speichere(felder.rausch + k, rausch);
    const V rest = groesseres(nachhall * lade(felder.restAvg + k),
                              c * groesseres(lade(felder.rho + k), alle(l)) * Py);
    speichere(felder.restAvg + k, rest);
    speichere(r + k, rest);
    speichere(p + k, Py);
    const V gewicht = lade(band + k);
    spe += gewicht * Pe;
    spy += gewicht * Py;
    sn += gewicht * rausch;
  }
  return {summe(spe), summe(spy), summe(sn)};
}

inline void rhoLernen(Spektrum er, const double* p, const double* rausch, double schwelle,
                      double rate, double* rho) {
  // A bin that holds more than four times its echo holds something else.
  constexpr double HOECHSTENS = 4.0;
  for (std::size_t k = 0; k < ZEILE; k += B) {
    const V re = lade(er.re + k);
    const V im = lade(er.im + k);
    const V echo = lade(p + k);
    const V alt = lade(rho + k);
    V q = (re * re + im * im + 1.0 - lade(rausch + k)) / (echo + 1e-9);
    q = q > V{} ? q : V{};
    q = kleineres(q, alle(HOECHSTENS));
    speichere(rho + k, echo > alle(schwelle) ? alt + rate * (q - alt) : alt);
  }
}

inline void verstaerken(Spektrum er, const double* r, double gmin, double deckel, double* gain,
                        Spektrum aus) {
  // A gain falls at once and rises smoothly, or residual echo would warble.
  constexpr double ALT = 0.6;
  constexpr double NEU = 0.4;
  for (std::size_t k = 0; k < ZEILE; k += B) {
    const V re = lade(er.re + k);
    const V im = lade(er.im + k);
    V g = 1.0 - lade(r + k) / (re * re + im * im + 1.0);
    g = groesseres(g, alle(gmin));
    g = kleineres(g, alle(1.0));
    g = kleineres(g, alle(deckel));
    const V alt = lade(gain + k);
    g = g < alt ? g : ALT * alt + NEU * g;
    speichere(gain + k, g);
    speichere(aus.re + k, g * re);
    speichere(aus.im + k, g * im);
  }
}

inline void ueberlappen(const double* z, const double* fenster, double* ola, double* out) {
  for (std::size_t i = 0; i < N; i += B) {
    speichere(out + i, lade(ola + i) + lade(z + i) * lade(fenster + i));
    speichere(ola + i, lade(z + N + i) * lade(fenster + N + i));
  }
}

}  // namespace hallkorb::kern::HALLKORB_KERN
