// Two signals through one transform must come out as if each had one of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "echo/PaarFFT.h"
#include "tests/echo/Befehlssaetze.h"

namespace hallkorb {
namespace {

using kern::HALB;
using kern::K;

class PaarFFTJe : public JeBefehlssatz {
 protected:
  // A spectrum with arrays of its own.
  struct Halb {
    DFeld re{static_cast<std::int64_t>(kern::ZEILE)};
    DFeld im{static_cast<std::int64_t>(kern::ZEILE)};
    [[nodiscard]] kern::Spektrum spektrum() const { return {re.p, im.p}; }
  };

  std::vector<double> rauschen(double pegel) {
    std::normal_distribution<double> normal(0.0, pegel);
    std::vector<double> werte(K);
    for (double& wert : werte)
      wert = pegel == 0.0 ? 0.0 : normal(zufall);
    return werte;
  }
  static double groesster(const double* werte, std::size_t n) {
    double m = 0.0;
    for (std::size_t i = 0; i < n; ++i)
      m = std::max(m, std::fabs(werte[i]));
    return m;
  }

  PaarFFT fft;
  std::mt19937_64 zufall{5};
};
HALLKORB_JE_BEFEHLSSATZ(PaarFFTJe);

TEST_P(PaarFFTJe, AnyDifferenceOfLevelsLeavesTheFainterSignalExact) {
  for (const double leise : {1e3, 1.0, 1e-3, 1e-8, 1e-30}) {
    for (const bool leiserZuerst : {true, false}) {
      SCOPED_TRACE(leise);
      const auto a = rauschen(leiserZuerst ? leise : 1e3);
      const auto b = rauschen(leiserZuerst ? 1e3 : leise);
      Halb A, B, einzelnA, einzelnB;
      std::copy(a.begin(), a.end(), fft.re);
      fft.vorEinzeln(einzelnA.spektrum());
      std::copy(b.begin(), b.end(), fft.re);
      fft.vorEinzeln(einzelnB.spektrum());
      std::copy(a.begin(), a.end(), fft.re);
      std::copy(b.begin(), b.end(), fft.im);
      fft.vor(A.spektrum(), B.spektrum());
      for (std::size_t k = 0; k < HALB; ++k) {
        ASSERT_NEAR(A.re[k], einzelnA.re[k], 1e-11 * groesster(einzelnA.re.p, HALB));
        ASSERT_NEAR(A.im[k], einzelnA.im[k], 1e-11 * groesster(einzelnA.re.p, HALB));
        ASSERT_NEAR(B.re[k], einzelnB.re[k], 1e-11 * groesster(einzelnB.re.p, HALB));
        ASSERT_NEAR(B.im[k], einzelnB.im[k], 1e-11 * groesster(einzelnB.re.p, HALB));
      }
      fft.rueck(A.spektrum(), B.spektrum());
      for (std::size_t t = 0; t < K; ++t) {
        ASSERT_NEAR(fft.re[t], a[t], 1e-11 * groesster(a.data(), K));
        ASSERT_NEAR(fft.im[t], b[t], 1e-11 * groesster(b.data(), K));
      }
    }
  }
}

TEST_P(PaarFFTJe, AZeroSignalHasASpectrumAndAnInverseOfExactZeros) {
  for (const bool ersteNull : {true, false}) {
    const auto laut = rauschen(1e4);
    Halb A, B;
    const Halb& leer = ersteNull ? A : B;
    // Remains of earlier blocks must not survive.
    std::fill_n(leer.re.p, HALB, 7.0);
    std::fill_n(leer.im.p, HALB, 7.0);
    std::fill_n(fft.re, K, 0.0);
    std::fill_n(fft.im, K, 0.0);
    std::copy(laut.begin(), laut.end(), ersteNull ? fft.im : fft.re);
    fft.vor(A.spektrum(), B.spektrum());
    EXPECT_EQ(groesster(leer.re.p, HALB), 0.0);
    EXPECT_EQ(groesster(leer.im.p, HALB), 0.0);
    fft.rueck(A.spektrum(), B.spektrum());
    EXPECT_EQ(groesster(ersteNull ? fft.re : fft.im, K), 0.0);
    EXPECT_GT(groesster(ersteNull ? fft.im : fft.re, K), 1e3);
  }
}

TEST_P(PaarFFTJe, ASignalThatIsNotFiniteSpoilsNoOther) {
  for (const double kaputt :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    auto a = rauschen(100.0);
    const auto b = rauschen(100.0);
    a[17] = kaputt;
    Halb A, B;
    std::copy(a.begin(), a.end(), fft.re);
    std::copy(b.begin(), b.end(), fft.im);
    fft.vor(A.spektrum(), B.spektrum());
    EXPECT_FALSE(std::isfinite(A.re[3]));
    EXPECT_TRUE(std::all_of(B.re.p, B.re.p + HALB, [](double w) { return std::isfinite(w); }));
    fft.rueck(A.spektrum(), B.spektrum());
    for (std::size_t t = 0; t < K; ++t)
      ASSERT_NEAR(fft.im[t], b[t], 1e-9);
  }
}

}  // namespace
}  // namespace hallkorb
