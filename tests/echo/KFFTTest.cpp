#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "echo/DFeld.h"
#include "echo/KFFT.h"
#include "echo/PaarFFT.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/oracles/echo/Fft.h"

namespace hallkorb {
namespace {

using Werte = std::vector<double>;

Werte rauschen(std::size_t n, std::uint64_t saat) {
  std::mt19937_64 zufall(saat);
  std::normal_distribution<double> normal;
  Werte w(n);
  for (double& v : w)
    v = normal(zufall);
  return w;
}

double groessteAbweichung(const Werte& a, const Werte& b) {
  double groesste = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i)
    groesste = std::max(groesste, std::fabs(a[i] - b[i]));
  return groesste;
}

class KFFTJe : public JeBefehlssatz {};
HALLKORB_JE_BEFEHLSSATZ(KFFTJe);

TEST_P(KFFTJe, AgreesWithThePlainTransformAtEveryLength) {
  for (std::uint64_t log2n = 0; log2n <= 18; ++log2n) {
    SCOPED_TRACE(log2n);
    const std::size_t n = std::size_t{1} << log2n;
    KFFT fft(log2n);
    EXPECT_EQ(fft.n, static_cast<std::int64_t>(n));
    EXPECT_EQ(fft.log2n, log2n);
    referenz::Fft schlicht(static_cast<unsigned>(log2n));
    Werte re = rauschen(n, 2 * log2n);
    Werte im = rauschen(n, 2 * log2n + 1);
    Werte erwartetR = re;
    Werte erwartetI = im;
    fft.vor(re.data(), im.data());
    schlicht.vor(erwartetR.data(), erwartetI.data());
    const double genau = 1e-14 * std::sqrt(static_cast<double>(n));
    EXPECT_LT(groessteAbweichung(re, erwartetR), genau);
    EXPECT_LT(groessteAbweichung(im, erwartetI), genau);
  }
}

TEST_P(KFFTJe, ComesBackFromRealAndFromComplexInput) {
  for (const std::uint64_t log2n : {0U, 1U, 3U, 5U, 6U, 7U, 8U, 9U, 13U, 14U, 17U}) {
    SCOPED_TRACE(log2n);
    const std::size_t n = std::size_t{1} << log2n;
    for (const bool komplex : {false, true}) {
      const Werte anfangR = rauschen(n, log2n);
      const Werte anfangI = komplex ? rauschen(n, log2n + 100) : Werte(n, 0.0);
      KFFT fft(log2n);
      Werte re = anfangR;
      Werte im = anfangI;
      fft.vor(re.data(), im.data());
      fft.rueck(re.data(), im.data());
      EXPECT_LT(groessteAbweichung(re, anfangR), 1e-14);
      EXPECT_LT(groessteAbweichung(im, anfangI), 1e-14);
    }
  }
}

// e^(2 pi i 3 t / n) has all its energy in bin 3, not in bin n - 3.
TEST_P(KFFTJe, TurnsForwardWithANegativeExponentAndWithoutAFactor) {
  for (const std::uint64_t log2n : {4U, 9U, 17U}) {
    const std::size_t n = std::size_t{1} << log2n;
    Werte re(n);
    Werte im(n);
    for (std::size_t t = 0; t < n; ++t) {
      const double winkel =
          2.0 * std::numbers::pi * 3.0 * static_cast<double>(t) / static_cast<double>(n);
      re[t] = std::cos(winkel);
      im[t] = std::sin(winkel);
    }
    KFFT fft(log2n);
    fft.vor(re.data(), im.data());
    for (std::size_t k = 0; k < n; ++k) {
      ASSERT_NEAR(re[k], k == 3 ? static_cast<double>(n) : 0.0, 1e-9) << n << " " << k;
      ASSERT_NEAR(im[k], 0.0, 1e-9);
    }
  }
}

TEST_P(KFFTJe, MultipliesSpectraInItsOwnOrder) {
  for (const std::uint64_t log2n : {5U, 9U, 14U, 17U}) {
    SCOPED_TRACE(log2n);
    // A signal times the spectrum of a shifted impulse is the signal, shifted in a circle.
    const std::size_t n = std::size_t{1} << log2n;
    const Werte signal = rauschen(n, 7);
    Werte ar = signal;
    Werte ai(n, 0.0);
    Werte br(n, 0.0);
    Werte bi(n, 0.0);
    br[5] = 1.0;
    KFFT fft(log2n);
    fft.vorUngeordnet(ar.data(), ai.data());
    fft.vorUngeordnet(br.data(), bi.data());
    for (std::size_t k = 0; k < n; ++k) {
      const double re = ar[k] * br[k] - ai[k] * bi[k];
      ai[k] = ar[k] * bi[k] + ai[k] * br[k];
      ar[k] = re;
    }
    fft.rueckUngeordnet(ar.data(), ai.data());
    for (std::size_t t = 0; t < n; ++t) {
      ASSERT_NEAR(ar[(t + 5) % n] / static_cast<double>(n), signal[t], 1e-13) << t;
    }
  }
}

TEST_P(KFFTJe, TakesTwoRealSignalsAtOnceAndGivesThemBack) {
  constexpr std::size_t K = kern::K;
  const Werte a = rauschen(K, 1);
  const Werte b = rauschen(K, 2);
  PaarFFT paar;
  DFeld ar(kern::ZEILE), ai(kern::ZEILE), br(kern::ZEILE), bi(kern::ZEILE);
  std::copy(a.begin(), a.end(), paar.re);
  std::copy(b.begin(), b.end(), paar.im);
  paar.vor({ar.p, ai.p}, {br.p, bi.p});

  referenz::Fft schlicht(9);
  for (const auto& [signal, re, im] : {std::tuple{&a, &ar, &ai}, std::tuple{&b, &br, &bi}}) {
    Werte wr = *signal;
    Werte wi(K, 0.0);
    schlicht.vor(wr.data(), wi.data());
    for (std::size_t k = 0; k < kern::HALB; ++k) {
      ASSERT_NEAR((*re)[k], wr[k], 1e-12) << k;
      ASSERT_NEAR((*im)[k], wi[k], 1e-12) << k;
    }
    for (std::size_t k = kern::HALB; k < kern::ZEILE; ++k)
      EXPECT_EQ((*re)[k], 0.0);
  }
  paar.rueck({ar.p, ai.p}, {br.p, bi.p});
  for (std::size_t t = 0; t < K; ++t) {
    ASSERT_NEAR(paar.re[t], a[t], 1e-14);
    ASSERT_NEAR(paar.im[t], b[t], 1e-14);
  }
  paar.rueckEinzeln({br.p, bi.p});
  for (std::size_t t = 0; t < K; ++t)
    ASSERT_NEAR(paar.re[t], b[t], 1e-14);
}

TEST(KFFTDeathTest, StopsTheProgramAtALengthThatCannotBeSetUp) {
  EXPECT_DEATH(KFFT(64), "KFFT: unmoegliche Laenge");
  EXPECT_DEATH(KFFT(29), "KFFT: unmoegliche Laenge");
}

}  // namespace
}  // namespace hallkorb
