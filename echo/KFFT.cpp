#include "echo/KFFT.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

#include "base/Abbruch.h"
#include "echo/DFeld.h"
#include "echo/kernels/Kernsatz.h"

namespace hallkorb {

namespace {

using kern::Durchgang;
using kern::GrossPlan;
using kern::Hilfsfeld;
using kern::Plan;
using kern::SPALTEN;

// Lengths as powers of two. Below KLEIN the first pass would not fill a vector. From GROSS on a
// transform and its scratch memory exceed the caches, and the four steps are faster.
constexpr std::uint64_t KLEIN = 6;
constexpr std::uint64_t GROSS = 14;
constexpr std::uint64_t ZEILEN_LOG2 = 9;
static_assert(std::size_t{1} << ZEILEN_LOG2 == kern::GROSSE_ZEILE);
static_assert(std::size_t{1} << (GROSS - ZEILEN_LOG2) == kern::KLEINSTE_SPALTE);

// e^(-2 pi i k / n). The angle is split into quarter turns, which are exact, and a rest of at most
// an eighth of a turn either way, where cos and sin are exact to half a unit in the last place.
std::pair<double, double> einheitswurzel(std::size_t k, std::size_t n) {
  k %= n;
  const std::size_t viertel = (8 * k / n + 1) / 2;
  const auto rest = static_cast<std::int64_t>(4 * k) - static_cast<std::int64_t>(viertel * n);
  const double winkel =
      2.0 * std::numbers::pi * static_cast<double>(rest) / static_cast<double>(n) / 4.0;
  const double c = std::cos(winkel);
  const double s = std::sin(winkel);
  switch (viertel % 4) {
    case 0:
      return {c, -s};
    case 1:
      return {-s, -c};
    case 2:
      return {-c, s};
    default:
      return {s, c};
  }
}

// The passes of a transform with their twiddle factors.
class Passplan {
 public:
  // `nebeneinander`: transforms side by side, 1 or SPALTEN.
  Passplan(std::uint64_t log2n, std::size_t nebeneinander) : n_(std::size_t{1} << log2n) {
    std::size_t s = nebeneinander;
    std::size_t rest = n_;
    while (rest > 1) {
      const std::size_t radix = std::min<std::size_t>(rest, 8);
      const std::size_t m = rest / radix;
      durchgaenge_.push_back({radix, s, m, nullptr, nullptr});
      for (std::size_t i = 0; i < (radix - 1) * m; ++i) {
        // In a single transform's first pass vectors run along p, in all others along q.
        const std::size_t p = s == 1 ? i % m : i / (radix - 1);
        const std::size_t k = (s == 1 ? i / m : i % (radix - 1)) + 1;
        const auto [re, im] = einheitswurzel(p * k, rest);
        wr_.push_back(re);
        wi_.push_back(im);
      }
      s *= radix;
      rest = m;
    }
    std::size_t anfang = 0;
    for (Durchgang& d : durchgaenge_) {
      d.wr = wr_.data() + anfang;
      d.wi = wi_.data() + anfang;
      anfang += (d.radix - 1) * d.m;
    }
  }

  [[nodiscard]] Plan plan() const { return {n_, durchgaenge_.size(), durchgaenge_.data()}; }

 private:
  std::size_t n_;
  std::vector<Durchgang> durchgaenge_;
  std::vector<double> wr_;
  std::vector<double> wi_;
};

// The twiddle factors between columns and rows.
struct Zwischenfaktoren {
  Zwischenfaktoren(std::size_t zeilen, std::size_t n)
      : grobR(static_cast<std::int64_t>(n / SPALTEN)),
        grobI(static_cast<std::int64_t>(n / SPALTEN)),
        feinR(static_cast<std::int64_t>(zeilen * SPALTEN)),
        feinI(static_cast<std::int64_t>(zeilen * SPALTEN)) {
    for (std::size_t i = 0; i < n / SPALTEN; ++i) {
      const auto [re, im] = einheitswurzel(i / zeilen * SPALTEN * (i % zeilen), n);
      grobR[i] = re;
      grobI[i] = im;
    }
    for (std::size_t i = 0; i < zeilen * SPALTEN; ++i) {
      const auto [re, im] = einheitswurzel(i / SPALTEN * (i % SPALTEN), n);
      feinR[i] = re;
      feinI[i] = im;
    }
  }

  DFeld grobR;
  DFeld grobI;
  DFeld feinR;
  DFeld feinI;
};

// For a handful of points: the definition.
void kleineFft(std::size_t n, double* re, double* im, Hilfsfeld hilf) {
  for (std::size_t k = 0; k < n; ++k) {
    hilf.re[k] = 0.0;
    hilf.im[k] = 0.0;
    for (std::size_t t = 0; t < n; ++t) {
      const auto [wr, wi] = einheitswurzel(k * t, n);
      hilf.re[k] += re[t] * wr - im[t] * wi;
      hilf.im[k] += re[t] * wi + im[t] * wr;
    }
  }
  std::copy_n(hilf.re, n, re);
  std::copy_n(hilf.im, n, im);
}

}  // namespace

struct KFFT::Setup {
  explicit Setup(std::uint64_t log2n)
      : n(std::size_t{1} << log2n),
        gross(log2n >= GROSS),
        zeilen(gross ? ZEILEN_LOG2 : log2n, 1),
        spalten(gross ? log2n - ZEILEN_LOG2 : 0, SPALTEN),
        faktoren(spalten.plan().n, gross ? n : SPALTEN),
        hilfR(hilfslaenge()),
        hilfI(hilfslaenge()),
        matrixR(matrixlaenge()),
        matrixI(matrixlaenge()) {}

  [[nodiscard]] std::int64_t hilfslaenge() const {
    const std::size_t laenge = std::max(2 * SPALTEN * spalten.plan().n, zeilen.plan().n);
    return static_cast<std::int64_t>(laenge);
  }
  [[nodiscard]] std::int64_t matrixlaenge() const {
    return gross ? static_cast<std::int64_t>(spalten.plan().n * (zeilen.plan().n + 8)) : 0;
  }
  [[nodiscard]] GrossPlan plan() const {
    return {zeilen.plan(),    spalten.plan(),   faktoren.grobR.p,
            faktoren.grobI.p, faktoren.feinR.p, faktoren.feinI.p};
  }
  [[nodiscard]] Hilfsfeld hilf() const { return {hilfR.p, hilfI.p}; }
  [[nodiscard]] Hilfsfeld matrix() const { return {matrixR.p, matrixI.p}; }

  void vor(double* re, double* im) const {
    if (gross) {
      kern.fftGross(plan(), re, im, matrix(), hilf());
    } else if (n < (std::size_t{1} << KLEIN)) {
      kleineFft(n, re, im, hilf());
    } else {
      kern.fft(zeilen.plan(), re, im, hilf());
    }
  }

  const kern::Kernsatz& kern = kern::bester();
  std::size_t n;
  bool gross;
  Passplan zeilen;
  Passplan spalten;
  Zwischenfaktoren faktoren;
  DFeld hilfR;
  DFeld hilfI;
  DFeld matrixR;
  DFeld matrixI;
};

KFFT::KFFT(std::uint64_t laengeLog2)
    : n(laengeLog2 <= GROESSTES_LOG2 ? std::int64_t{1} << laengeLog2 : 0), log2n(laengeLog2) {
  if (n == 0) abbruch("KFFT: unmoegliche Laenge");
  setup = std::make_unique<Setup>(log2n);
}

KFFT::~KFFT() = default;

void KFFT::vor(double* re, double* im) {
  setup->vor(re, im);
}

// The inverse is the forward transform with real and imaginary parts exchanged.
void KFFT::rueck(double* re, double* im) {
  setup->vor(im, re);
  const double faktor = 1.0 / static_cast<double>(n);
  if (n % 8 == 0) {
    setup->kern.skalieren(re, faktor, setup->n);
    setup->kern.skalieren(im, faktor, setup->n);
  } else {
    for (std::size_t t = 0; t < setup->n; ++t) {
      re[t] *= faktor;
      im[t] *= faktor;
    }
  }
}

void KFFT::vorUngeordnet(double* re, double* im) {
  if (setup->gross) {
    setup->kern.fftGrossHin(setup->plan(), re, im, setup->matrix(), setup->hilf());
  } else {
    setup->vor(re, im);
  }
}

void KFFT::rueckUngeordnet(double* re, double* im) {
  if (setup->gross) {
    setup->kern.fftGrossHer(setup->plan(), im, re, setup->matrix(), setup->hilf());
  } else {
    setup->vor(im, re);
  }
}

}  // namespace hallkorb
