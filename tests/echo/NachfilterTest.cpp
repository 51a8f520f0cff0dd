#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "echo/Nachfilter.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/echo/Einblick.h"

namespace hallkorb {
namespace {

constexpr std::size_t N = kern::N;
using Werte = std::vector<double>;

constexpr double MINUS_12_DB = 0.251188643150958;
constexpr double MINUS_25_DB = 0.0562341325190349;
constexpr double MINUS_35_DB = 0.01778279410038923;

class NachfilterJe : public JeBefehlssatz {
 protected:
  void block(const Werte& residuum, const Werte& echo, double leak = 0.03) {
    nachfilter.block(residuum.data(), echo.data(), leak, ausgabe.data());
  }
  Werte rauschen(double pegel) {
    std::normal_distribution<double> normal(0.0, pegel);
    Werte w(N);
    for (double& v : w)
      v = normal(zufall);
    return w;
  }
  PaarFFT fft;
  Nachfilter nachfilter{fft};
  Werte ausgabe = Werte(N);
  std::mt19937_64 zufall{1};
};
HALLKORB_JE_BEFEHLSSATZ(NachfilterJe);

TEST_P(NachfilterJe, PutsOutExactZerosAndNoSpeechForThe16BlocksOfLookAhead) {
  for (int b = 0; b < 16; ++b) {
    block(rauschen(10000.0), rauschen(1.0));
    EXPECT_EQ(ausgabe, Werte(N, 0.0));
    EXPECT_FALSE(nachfilter.letzteSprache());
  }
  block(rauschen(10000.0), rauschen(1.0));
  EXPECT_NE(ausgabe, Werte(N, 0.0));
  EXPECT_EQ(nachfilter.verzoegerungBloecke, 17);
}

// Near-end speech that is much louder than everything else passes unchanged, 17 blocks late.
TEST_P(NachfilterJe, GivesLoudSpeechBackUnchanged17BlocksLate) {
  const Werte stille(N, 0.0);
  std::vector<Werte> hinein;
  for (std::size_t b = 0; b < 40; ++b) {
    hinein.push_back(rauschen(5000.0));
    block(hinein.back(), stille);
    if (b < 18) continue;
    for (std::size_t i = 0; i < N; ++i) {
      ASSERT_NEAR(ausgabe[i], hinein[b - 17][i], 0.01 * 5000.0) << b << " " << i;
    }
  }
}

TEST_P(NachfilterJe, LeavesNoiseAloneButForTheOpenFloor) {
  for (int b = 0; b < 400; ++b) {
    block(rauschen(100.0), rauschen(1.0));
    EXPECT_FALSE(nachfilter.letzteSprache());
    EXPECT_FALSE(nachfilter.tor());
  }
  EXPECT_EQ(nachfilter.torBloecke(), 0);
  EXPECT_EQ(nachfilter.nahBloecke(), 0);
  const DFeld& gain = NachfilterEinblick::gain(nachfilter);
  for (std::size_t k = 0; k < kern::HALB; ++k) {
    EXPECT_GE(gain[k], MINUS_12_DB * 0.999999);
    EXPECT_LE(gain[k], 1.0);
  }
  // Residual echo of 2 x 10^-1.5 x Py is far below noise of 40 dB more: the gain is almost one.
  EXPECT_GT(gain[60], 0.99);
}

TEST_P(NachfilterJe, ClosesTheGateWhereNeverAnybodySpoke) {
  for (int b = 0; b < 60; ++b) {
    block(rauschen(10.0), rauschen(1000.0));
    EXPECT_EQ(nachfilter.tor(), b >= 16) << b;
    EXPECT_EQ(nachfilter.nahHalt(), 0);
  }
  EXPECT_EQ(nachfilter.torBloecke(), 44);
  const DFeld& gain = NachfilterEinblick::gain(nachfilter);
  for (std::size_t k = 0; k < kern::HALB; ++k) {
    EXPECT_LE(gain[k], MINUS_25_DB * 1.000001) << k;
    EXPECT_GE(gain[k], MINUS_35_DB * 0.999999) << k;
  }
}

// One frame of speech among echo: a click at the end of a block stands in the middle of the next
// block's frame only, where the window is highest.
TEST_P(NachfilterJe, HoldsTheGateOpen16BlocksBeforeSpeechAnd20After) {
  constexpr int t = 100;
  int offen = 0;
  for (int b = 0; b < 200; ++b) {
    Werte residuum = rauschen(10.0);
    if (b == t - 1) residuum[N - 1] = 300000.0;
    block(residuum, rauschen(1000.0));
    const int heraus = b - 16;
    if (heraus < 0) continue;
    const bool gehalten = heraus >= t - 16 && heraus <= t + 20;
    EXPECT_EQ(nachfilter.tor(), !gehalten) << heraus;
    EXPECT_EQ(nachfilter.nahHalt(), gehalten ? 1 : 0) << heraus;
    EXPECT_EQ(nachfilter.letzteSprache(), heraus == t) << heraus;
    offen += gehalten ? 1 : 0;
  }
  EXPECT_EQ(offen, 37);
  EXPECT_EQ(nachfilter.nahBloecke(), 37);
  EXPECT_EQ(nachfilter.torBloecke(), 200 - 16 - 37);
}

TEST_P(NachfilterJe, LearnsTheResidualOnlyBehindTheGate) {
  const DFeld& rho = NachfilterEinblick::rho(nachfilter);
  // Loud speech over a little echo keeps the gate open.
  block(Werte(N, 0.0), Werte(N, 0.0));
  for (int b = 0; b < 100; ++b)
    block(rauschen(5000.0), rauschen(500.0));
  for (std::size_t k = 0; k < kern::HALB; ++k)
    ASSERT_EQ(rho[k], 0.0);
  // The filter leaves a hundredth of the echo's power, and there is no noise.
  for (int b = 0; b < 400; ++b) {
    const Werte echo = rauschen(10000.0);
    Werte rest = echo;
    for (double& v : rest)
      v *= 0.1;
    block(rest, echo);
  }
  EXPECT_GT(nachfilter.torBloecke(), 200);
  for (std::size_t k = 20; k < 240; ++k) {
    EXPECT_GT(rho[k], 0.0) << k;
    EXPECT_LE(rho[k], 4.0) << k;
  }
}

TEST_P(NachfilterJe, LetsTheNoiseFloorCreepUnderALoudSignalAndFollowAQuietOne) {
  const DFeld& rausch = NachfilterEinblick::rausch(nachfilter);
  block(rauschen(10.0), Werte(N, 0.0));
  const double anfang = rausch[50];
  Werte laut(N, 0.0);
  for (int b = 0; b < 10; ++b) {
    laut = rauschen(100000.0);
    block(laut, Werte(N, 0.0));
  }
  EXPECT_NEAR(rausch[50], anfang * std::pow(1.01, 10), anfang * 1e-9);
  const double hoch = rausch[50];
  block(Werte(N, 0.0), Werte(N, 0.0));  // its frame still holds half of the loud block
  block(Werte(N, 0.0), Werte(N, 0.0));
  EXPECT_NEAR(rausch[50], 0.95 * hoch * 1.01 + 0.05, anfang * 1e-6);
}

}  // namespace
}  // namespace hallkorb
