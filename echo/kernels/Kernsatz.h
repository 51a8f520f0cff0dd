// The inner loops of the echo code (the kernels), compiled for each instruction set and chosen at
// run time.
//
// A kernel is arithmetic on plain arrays: it takes no decision and keeps nothing between calls. One
// source (the headers beside this one) is compiled several times, with vectors of 8, 4 or 2
// doubles; the results differ only in the last bits, by the order of sums and by fused
// multiplication and addition.
//
// Shapes: N = 256 samples a block, K = 512 points a transform. The spectrum of a real signal is
// kept as bins 0..256 in rows of ZEILE = 264 doubles, a whole number of the longest vectors; the
// seven values after the last bin are 0 wherever they could reach a sum. Arrays are 64-byte
// aligned unless stated otherwise and do not overlap.
#pragma once

#include <cstddef>

namespace hallkorb::kern {

inline constexpr std::size_t N = 256;
inline constexpr std::size_t K = 512;
inline constexpr std::size_t HALB = K / 2 + 1;
inline constexpr std::size_t ZEILE = 264;
// Arrays of a full complex spectrum have this many values, so that the mirror image of bin 0 may be
// read and written at K.
inline constexpr std::size_t VOLL = K + 8;

// Pre-emphasis of both signals, undone in the output: it evens out the spectrum of speech, on which
// the filter then learns at the same speed in all bins.
inline constexpr double VORBETONUNG = 0.9;

// A spectrum of a real signal; real and imaginary parts, ZEILE each.
struct Spektrum {
  double* re;
  double* im;
};

// One pass of a Stockham transform: m groups of `radix` points, s values side by side. Twiddle
// factors: for s = 1 as (radix - 1) rows of m, otherwise (radix - 1) for each group.
struct Durchgang {
  std::size_t radix;
  std::size_t s;
  std::size_t m;
  const double* wr;
  const double* wi;
};

// The passes of one length, either of a single transform (the first pass has s = 1) or of
// SPALTEN transforms side by side.
struct Plan {
  std::size_t n;
  std::size_t anzahl;
  const Durchgang* durchgang;
};
inline constexpr std::size_t SPALTEN = 8;
inline constexpr std::size_t GROSSE_ZEILE = 512;
// The number of rows is a multiple of it.
inline constexpr std::size_t KLEINSTE_SPALTE = 32;

// A long transform as a matrix of `spalten.n` rows of GROSSE_ZEILE values, which with their scratch
// memory fit the first-level cache.
// Twiddle factor of column c + l (l < SPALTEN) and row k: grob[c / SPALTEN][k] * fein[k][l].
struct GrossPlan {
  Plan zeilen;
  Plan spalten;
  const double* grobR;
  const double* grobI;
  const double* feinR;
  const double* feinI;
};

// Scratch memory of a transform, real and imaginary parts.
struct Hilfsfeld {
  double* re;
  double* im;
};

// What the post-filter keeps and updates for each bin.
struct NachfilterFelder {
  double* rausch;
  double* restAvg;
  const double* rho;
};
struct BandSummen {
  double SPe;
  double SPy;
  double SN;
};

// State of the microphone's pre-filter.
struct VorfilterZustand {
  double n0;
  double n1;
  double preD;
};

struct Kernsatz {
  const char* name;

  // --- FFT: forward; the inverse is the same with re and im exchanged. ---
  // Single transform in place; `hilf` holds plan.n values each.
  void (*fft)(const Plan& plan, double* re, double* im, Hilfsfeld hilf);
  // Long transform in place, natural order. `matrix` holds spalten.n rows of zeilen.n + 8 values,
  // `hilf` 2 * max(SPALTEN * spalten.n, zeilen.n) values each.
  void (*fftGross)(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix, Hilfsfeld hilf);
  // Natural order in, rows of columns out.
  void (*fftGrossHin)(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix,
                      Hilfsfeld hilf);
  // The order of fftGrossHin in, natural order out.
  void (*fftGrossHer)(const GrossPlan& plan, double* re, double* im, Hilfsfeld matrix,
                      Hilfsfeld hilf);

  // --- Two real signals through one complex transform of K points. ---
  // z = A + iB, for the way back. zr, zi: VOLL.
  void (*paarMischen)(Spektrum A, Spektrum B, double* zr, double* zi);
  // The two spectra out of their mixture; overwrites z[K].
  void (*paarTrennen)(double* zr, double* zi, Spektrum A, Spektrum B);

  // --- Sums and differences; n is a multiple of 8. ---
  double (*skalarprodukt)(const double* a, const double* b, std::size_t n);
  void (*differenz)(const double* a, const double* b, double* c, std::size_t n);
  // Sum of (a - b)^2.
  double (*abstand)(const double* a, const double* b, std::size_t n);
  void (*skalieren)(double* a, double faktor, std::size_t n);

  // --- The canceller. ---
  // Notch at 0 Hz and pre-emphasis of N samples.
  void (*vorfilter)(const double* mic, double* d, VorfilterZustand& zustand);
  // out[i] += 0.9 * previous output, N samples; `deM` is the memory.
  void (*deemphase)(double* out, double& deM);
  // Partition rows are 2 * ZEILE values: real parts, then imaginary parts.
  // W[j] += prop[j] * power1 * E * conj(X[j + 1]) for the one row w.
  void (*gradient)(double* w, const double* x, double prop, const double* power1, Spektrum E);
  // The same for all P rows, and both filters' echo spectra, Yf = sum F[j] X[j] and Yb = sum
  // W[j] X[j] with the updated W. x: pointers to the P + 1 rows of X, newest first. prop: P
  // values, or null to leave W alone.
  void (*filtern)(double* W, const double* F, const double* const* x, std::size_t P,
                  const double* prop, const double* power1, Spektrum E, Spektrum Yf, Spektrum Yb);
  // Smoothed spectra: power, Eh, Yh; Rf = |E|^2 and Yf = |Y|^2 are kept for the step sizes.
  // Adds up pe and py over all bins.
  void (*glaetten)(Spektrum E, Spektrum Y, const double* x0, double ss, double a, double* power,
                   double* Eh, double* Yh, double* Rf, double* Yf, double& pe, double& py);
  // power1 = (0.7 r + 0.3 RER e) / (e (power + 10)), e = Rf + 1, r = min(leak Yf, 0.5 e).
  void (*schrittweite)(const double* Rf, const double* Yf, const double* power, double leak,
                       double RER, double* power1);
  // power1 = rate / (power + 10).
  void (*anlaufschritt)(const double* power, double rate, double* power1);
  // a = fade a + (1 - fade) b, N values.
  void (*ueberblenden)(const double* fade, double* a, const double* b);

  // --- The post-filter. ---
  // z = [hist, neu] * fenster, then hist = neu. hist, neu: N; fenster, z: K.
  void (*rahmen)(double* hist, const double* neu, const double* fenster, double* z);
  // Noise floor, residual echo, r = restAvg, p = Py; band sums with the weights `band` (0 or 1).
  BandSummen (*rauschenUndRest)(Spektrum A, Spektrum B, double l, double c, double nachhall,
                                const double* band, NachfilterFelder felder, double* r, double* p);
  // rho += rate (q - rho) for bins whose echo power p is above the threshold.
  void (*rhoLernen)(Spektrum er, const double* p, const double* rausch, double schwelle,
                    double rate, double* rho);
  // New gain, and the spectrum times the gain; `deckel` is the highest gain allowed.
  void (*verstaerken)(Spektrum er, const double* r, double gmin, double deckel, double* gain,
                      Spektrum aus);
  // out = ola + z[0..N) fenster, ola = z[N..K) fenster.
  void (*ueberlappen)(const double* z, const double* fenster, double* ola, double* out);

  // --- The delay estimator. ---
  // Residue class r of the zero-padded transform: z[n] = w^(r n) * sum over j < teile of
  // x[j M + n] e^(-2 pi i r j / 8), n < M. x holds `laenge` values, a multiple of 8 between M and
  // 3 M; w holds M.
  void (*restklasse)(const double* x, std::size_t laenge, std::size_t r, const double* wr,
                     const double* wi, std::size_t M, double* zr, double* zi);
  // D = D conj(X), n bins; returns the largest |D|^2.
  double (*kreuzspektrum)(double* dr, double* di, const double* xr, const double* xi,
                          std::size_t n);
  // D = D / (|D| + eps), n bins.
  void (*phase)(double* dr, double* di, double eps, std::size_t n);
  // summe[n] += faktor * Re(w^(-r n) z[n]), n < anzahl (a multiple of 8).
  void (*lagSumme)(const double* zr, const double* zi, std::size_t r, const double* wr,
                   const double* wi, double faktor, std::size_t anzahl, double* summe);
};

// The variants; null if the compiler or the processor family does not have them.
const Kernsatz* kernAvx512();
const Kernsatz* kernAvx2();
const Kernsatz* kernBasis();

enum class Befehlssatz { basis, avx2, avx512 };

// The variant for an instruction set; null if it was not built or this processor lacks it.
[[nodiscard]] const Kernsatz* fuer(Befehlssatz befehlssatz);

// The variant that objects made from now on use: the widest that the processor has.
[[nodiscard]] const Kernsatz& bester();

// Fixes what bester() returns, for tests and benchmarks. Not while other threads make objects.
void beschraenken(const Kernsatz* kern);

}  // namespace hallkorb::kern
