#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "echo/Echokompensation.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/echo/Einblick.h"
#include "tests/oracles/echo/Fft.h"

namespace hallkorb {
namespace {

constexpr std::size_t N = kern::N;
constexpr std::size_t K = kern::K;
using Werte = std::vector<double>;

Werte rauschen(std::size_t n, double pegel, std::uint64_t saat) {
  std::mt19937_64 zufall(saat);
  std::normal_distribution<double> normal(0.0, pegel);
  Werte w(n);
  for (double& v : w)
    v = normal(zufall);
  return w;
}

// Frame b of a reference signal: its block b and the one before.
std::span<const double> rahmen(const Werte& referenz, std::size_t b) {
  return {referenz.data() + b * N, K};
}

// The impulse response of a half spectrum.
Werte impulsantwort(kern::Spektrum s) {
  Werte re(K);
  Werte im(K);
  for (std::size_t k = 0; k < kern::HALB; ++k) {
    re[k] = s.re[k];
    im[k] = s.im[k];
    if (k > 0 && k < N) {
      re[K - k] = s.re[k];
      im[K - k] = -s.im[k];
    }
  }
  referenz::Fft(9).rueck(re.data(), im.data());
  return re;
}

void setze(kern::Spektrum s, double wert) {
  std::fill_n(s.re, kern::HALB, wert);
  std::fill_n(s.im, kern::HALB, 0.0);
}

double mittleresQuadrat(std::span<const double> w) {
  return std::inner_product(w.begin(), w.end(), w.begin(), 0.0) / static_cast<double>(w.size());
}

class Kompensation : public JeBefehlssatz {};
HALLKORB_JE_BEFEHLSSATZ(Kompensation);

TEST_P(Kompensation, NeverAdaptsToASilentReference) {
  // Just below the threshold of 1000 per sample for learning.
  const Werte referenz(300 * N, 31.6);
  Echokompensation ec(20);
  ec.nachfilterAn(false);
  const EchokompensationEinblick innen{ec};
  const Werte mic = rauschen(200 * N, 1000.0, 1);
  double n0 = 0.0;
  double n1 = 0.0;
  double preD = 0.0;
  double deM = 0.0;
  for (std::size_t b = 0; b < 200; ++b) {
    const auto out = ec.block({mic.data() + b * N, N}, rahmen(referenz, b));
    for (std::size_t i = 0; i < N; ++i) {
      // The notch and the pre-emphasis, undone again by the de-emphasis.
      const double x = mic[b * N + i];
      const double v = x + n0;
      const double r = 0.982 * v;
      n0 = n1 + 2.0 * (r - x);
      n1 = x - 0.9645508 * v;
      deM = r - 0.9 * preD + 0.9 * deM;
      preD = r;
      ASSERT_NEAR(out[i], deM, 1e-7) << b << " " << i;
    }
    for (std::size_t k = 0; k < kern::HALB; ++k)
      ASSERT_EQ(innen.power1()[k], 0.0);
  }
  for (std::size_t j = 0; j < 20; ++j) {
    for (std::size_t k = 0; k < kern::HALB; ++k)
      ASSERT_EQ(innen.W(j).re[k], 0.0);
  }
  EXPECT_FALSE(innen.adapted());
  EXPECT_EQ(innen.sumAdapt(), 0.0);
  EXPECT_EQ(ec.bloecke(), 200);
}

TEST_P(Kompensation, TakesAnEchoOutAndBecomesAdapted) {
  const std::size_t bloecke = 600;
  const Werte referenz = rauschen((bloecke + 1) * N, 3000.0, 2);
  Werte mic(bloecke * N);
  for (std::size_t i = 0; i < mic.size(); ++i) {
    // Two reflections. Pre-emphasised noise is as good as any reference.
    const std::size_t t = i + N;
    mic[i] = 0.5 * referenz[t - 100] + (t >= 1500 ? 0.2 * referenz[t - 1500] : 0.0);
  }
  Echokompensation ec(8);
  ec.nachfilterAn(false);
  double vorher = 0.0;
  double nachher = 0.0;
  for (std::size_t b = 0; b < bloecke; ++b) {
    const std::span<const double> m(mic.data() + b * N, N);
    const auto out = ec.block(m, rahmen(referenz, b));
    EXPECT_TRUE(ec.letzteSprache());
    if (b >= bloecke - 50) {
      vorher += mittleresQuadrat(m);
      nachher += mittleresQuadrat(out);
    }
  }
  EXPECT_TRUE(EchokompensationEinblick{ec}.adapted());
  EXPECT_GT(10.0 * std::log10(vorher / nachher), 30.0);
  EXPECT_GT(ec.vgKopien(), 0);
  EXPECT_EQ(ec.resets(), 0);
}

TEST_P(Kompensation, SharesTheStepOutTo99Hundredths) {
  for (const std::int64_t P : {1, 2, 7, 20}) {
    Echokompensation ec(P);
    const Werte referenz = rauschen(40 * N, 3000.0, 3);
    for (std::size_t b = 0; b < 38; ++b) {
      ec.block({referenz.data() + b * N, N}, rahmen(referenz, b));
      const DFeld& prop = EchokompensationEinblick{ec}.prop();
      ASSERT_NEAR(std::accumulate(prop.p, prop.p + P, 0.0), 0.99, 1e-14);
      for (std::int64_t j = 0; j < P; ++j)
        ASSERT_GT(prop[static_cast<std::size_t>(j)], 0.0);
    }
  }
}

// The partitions whose filters one block cuts to their first N taps.
std::vector<bool> beschraenkte(std::int64_t P, int bloecke) {
  Echokompensation ec(P);
  const EchokompensationEinblick innen{ec};
  const Werte stille(K, 0.0);
  for (int b = 1; b < bloecke; ++b)
    ec.block({stille.data(), N}, stille);
  for (std::size_t j = 0; j < static_cast<std::size_t>(P); ++j) {
    const Werte r = rauschen(2 * kern::ZEILE, 1.0, j + 1);
    std::copy_n(r.data(), kern::HALB, innen.W(j).re);
    std::copy_n(r.data() + kern::ZEILE, kern::HALB, innen.W(j).im);
    innen.W(j).im[0] = innen.W(j).im[N] = 0.0;
  }
  ec.block({stille.data(), N}, stille);
  std::vector<bool> ja;
  for (std::size_t j = 0; j < static_cast<std::size_t>(P); ++j) {
    const Werte h = impulsantwort(innen.W(j));
    const auto klein = [](double w) { return std::fabs(w) < 1e-14; };
    ja.push_back(std::all_of(h.begin() + N, h.end(), klein));
    EXPECT_FALSE(std::all_of(h.begin(), h.begin() + N, klein));
  }
  return ja;
}

TEST_P(Kompensation, ConstrainsPartition0AlwaysAndTheOthersInTurn) {
  using Ja = std::vector<bool>;
  for (const int b : {1, 2, 3}) {
    EXPECT_EQ(beschraenkte(1, b), (Ja{true}));
    EXPECT_EQ(beschraenkte(2, b), (Ja{true, true}));
  }
  EXPECT_EQ(beschraenkte(3, 1), (Ja{true, false, true}));
  EXPECT_EQ(beschraenkte(3, 2), (Ja{true, true, false}));
  EXPECT_EQ(beschraenkte(4, 1), (Ja{true, false, true, false}));
  EXPECT_EQ(beschraenkte(4, 2), (Ja{true, false, false, true}));
  EXPECT_EQ(beschraenkte(4, 3), (Ja{true, true, false, false}));
}

TEST_P(Kompensation, LeavesTheForegroundAloneWhereBothFiltersAgree) {
  Echokompensation ec(2);
  const EchokompensationEinblick innen{ec};
  for (const std::size_t j : {0U, 1U}) {
    setze(innen.W(j), 0.1);
    setze(innen.F(j), 0.1);
  }
  const Werte signal = rauschen(3 * N, 100.0, 4);
  for (const std::size_t b : {0U, 1U})
    ec.block({signal.data(), N}, rahmen(signal, b));
  EXPECT_EQ(ec.vgKopien(), 0);
  EXPECT_EQ(ec.hgReset(), 0);
}

// Two filters that agree still have the variance of a difference of 10.
TEST_P(Kompensation, TakesFiltersThatAgreeForALittleDifferent) {
  const Werte signal = rauschen(3 * N, 100.0, 4);
  for (const double w : {0.0, 0.1}) {
    Echokompensation ec(2);
    const EchokompensationEinblick innen{ec};
    for (const std::size_t j : {0U, 1U}) {
      setze(innen.W(j), w);
      setze(innen.F(j), w);
    }
    innen.Dvar1() = 5e6;
    innen.Dvar2() = 7e6;
    ec.block({signal.data(), N}, rahmen(signal, 0));
    ASSERT_EQ(ec.vgKopien() + ec.hgReset(), 0);
    const double Sff = std::inner_product(innen.ef().p, innen.ef().p + N, innen.ef().p, 0.0);
    EXPECT_GT(Sff, 1e5);
    EXPECT_NEAR(innen.Dvar1(), 0.36 * 5e6 + 0.16 * Sff * 10.0, 1e-6 * Sff);
    EXPECT_NEAR(innen.Dvar2(), 0.7225 * 7e6 + 0.0225 * Sff * 10.0, 1e-6 * Sff);
  }
}

// The foreground is empty, the background perfect: the echo is all there at the block's beginning
// and gone at its end.
TEST_P(Kompensation, FadesOverToABetterBackground) {
  Echokompensation ec(1);
  ec.nachfilterAn(false);
  const EchokompensationEinblick innen{ec};
  setze(innen.W(0), 1.0);  // an impulse at 0
  const Werte referenz = rauschen(2 * N, 1000.0, 5);
  // The microphone that the pre-filter turns into the reference's newest block.
  Werte mic(N);
  double n0 = 0.0;
  double n1 = 0.0;
  double preD = 0.0;
  for (std::size_t i = 0; i < N; ++i) {
    const double r = referenz[N + i] + 0.9 * preD;
    preD = r;
    const double v = r / 0.982;
    mic[i] = v - n0;
    n0 = n1 + 2.0 * (r - mic[i]);
    n1 = mic[i] - 0.9645508 * v;
  }
  const auto out = ec.block(mic, referenz);
  EXPECT_EQ(ec.vgKopien(), 1);
  double deM = 0.0;
  for (std::size_t i = 0; i < N; ++i) {
    const double fade = 0.5 - 0.5 * std::cos(2.0 * M_PI * (256.0 + static_cast<double>(i)) / 511.0);
    deM = referenz[N + i] * fade + 0.9 * deM;
    ASSERT_NEAR(out[i], deM, 1e-6) << i;
  }
  for (std::size_t k = 0; k < kern::HALB; ++k)
    EXPECT_EQ(innen.F(0).re[k], innen.W(0).re[k]);
}

TEST_P(Kompensation, ThrowsADivergedBackgroundBack) {
  Echokompensation ec(1);
  const EchokompensationEinblick innen{ec};
  setze(innen.W(0), 50.0);
  const Werte signal = rauschen(2 * N, 1000.0, 6);
  ec.block({signal.data() + N, N}, signal);
  EXPECT_EQ(ec.hgReset(), 1);
  for (std::size_t k = 0; k < kern::HALB; ++k)
    EXPECT_EQ(innen.W(0).re[k], 0.0);
}

TEST_P(Kompensation, ResetsAtOnceWhenTheEchoIsNoNumber) {
  Echokompensation ec(4);
  const Werte mic = rauschen(N, 1000.0, 7);
  Werte ref(K, 100.0);
  ref[300] = std::numeric_limits<double>::quiet_NaN();
  ec.block(mic, ref);
  EXPECT_EQ(ec.resets(), 1);
  EXPECT_EQ(ec.screwed(), 0);
}

TEST_P(Kompensation, ResetsAfter50BlocksThatFail) {
  Echokompensation ec(4);
  const Werte nichts(N, std::numeric_limits<double>::quiet_NaN());
  const Werte ref(K, 100.0);
  for (int b = 1; b < 50; ++b) {
    ec.block(nichts, ref);
    ASSERT_EQ(ec.screwed(), b);
    ASSERT_EQ(ec.resets(), 0);
  }
  ec.block(nichts, ref);
  EXPECT_EQ(ec.screwed(), 0);
  EXPECT_EQ(ec.resets(), 1);
}

// A block fails if the foreground's error exceeds the microphone's energy plus 10000 per sample.
TEST_P(Kompensation, CountsBlocksThatItMakesLouder) {
  const Werte stille(N, 0.0);
  Werte ref(K, 0.0);
  ref[N] = 1600.0;  // one sample: its energy is 256 x 10000
  for (const auto& [verstaerkung, schlecht] : {std::pair{0.999, false}, std::pair{1.001, true}}) {
    Echokompensation ec(1);
    const EchokompensationEinblick innen{ec};
    setze(innen.W(0), verstaerkung);
    setze(innen.F(0), verstaerkung);
    ec.block(stille, ref);
    EXPECT_EQ(ec.screwed(), schlecht ? 1 : 0);
    if (!schlecht) continue;
    // The next good block is forgiven.
    ec.block(stille, Werte(K, 0.0));
    EXPECT_EQ(ec.screwed(), 0);
  }
}

// Frames that show their index in bin 0.
void zaehler(std::int64_t j, std::span<double> f) {
  std::fill(f.begin(), f.end(), 0.0);
  f[0] = static_cast<double>(j + 1);
}

// Filters whose partition j holds j + 1 everywhere.
void nummeriere(const EchokompensationEinblick& innen) {
  for (std::size_t j = 0; j < 8; ++j) {
    setze(innen.W(j), static_cast<double>(j + 1));
    setze(innen.F(j), static_cast<double>(j + 1) * 10.0);
  }
}

Werte nummern(const EchokompensationEinblick& innen) {
  Werte w;
  for (std::size_t j = 0; j < 8; ++j) {
    EXPECT_EQ(innen.F(j).re[3], innen.W(j).re[3] * 10.0);
    EXPECT_EQ(innen.W(j).re[0], innen.W(j).re[256]);
    w.push_back(innen.W(j).re[0]);
  }
  return w;
}

TEST_P(Kompensation, MovesItsFiltersWithTheAlignment) {
  const auto danach = [](std::int64_t s) {
    Echokompensation ec(8);
    const EchokompensationEinblick innen{ec};
    nummeriere(innen);
    innen.Er()[5] = innen.Ei()[6] = 1.0;
    ec.versetzen(s, zaehler);
    for (std::size_t j = 0; j <= 8; ++j) {
      EXPECT_EQ(innen.X(j).re[100], static_cast<double>(j + 1));
      EXPECT_EQ(innen.X(j).im[100], 0.0);
    }
    EXPECT_EQ(innen.Er()[5], 0.0);
    EXPECT_EQ(innen.Ei()[6], 0.0);
    return nummern(innen);
  };
  EXPECT_EQ(danach(0), (Werte{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(danach(2), (Werte{3, 4, 5, 6, 7, 8, 0, 0}));
  EXPECT_EQ(danach(-3), (Werte{0, 0, 0, 1, 2, 3, 4, 5}));
  for (const std::int64_t s : {8, 9, 100, -8, -9, -100})
    EXPECT_EQ(danach(s), Werte(8, 0.0));
}

TEST_P(Kompensation, MovesItsFiltersAlsoWhereTheRingHasTurned) {
  Echokompensation ec(8);
  const EchokompensationEinblick innen{ec};
  const Werte stille(K, 0.0);
  for (int b = 0; b < 5; ++b)
    ec.block({stille.data(), N}, stille);
  nummeriere(innen);
  ec.versetzen(2, zaehler);
  EXPECT_EQ(nummern(innen), (Werte{3, 4, 5, 6, 7, 8, 0, 0}));
  for (std::size_t j = 0; j <= 8; ++j)
    EXPECT_EQ(innen.X(j).re[7], static_cast<double>(j + 1));
}

TEST_P(Kompensation, ForgetsFiltersButNotThePastWhenReset) {
  Echokompensation ec(3);
  const EchokompensationEinblick innen{ec};
  const Werte signal = rauschen(60 * N, 3000.0, 8);
  for (std::size_t b = 0; b < 58; ++b)
    ec.block({signal.data() + b * N, N}, rahmen(signal, b));
  const double vorher = innen.X(0).re[9];
  const double notch = innen.n0();
  ec.resetFilter();
  EXPECT_EQ(ec.resets(), 1);
  EXPECT_EQ(innen.sumAdapt(), 0.0);
  EXPECT_FALSE(innen.adapted());
  for (std::size_t j = 0; j < 3; ++j) {
    EXPECT_EQ(innen.W(j).re[9], 0.0);
    EXPECT_EQ(innen.F(j).re[9], 0.0);
  }
  EXPECT_EQ(innen.power1()[9], 0.0);
  EXPECT_EQ(innen.X(0).re[9], vorher);
  EXPECT_EQ(innen.n0(), notch);
  EXPECT_EQ(ec.bloecke(), 58);
}

TEST_P(Kompensation, IsLateBy17BlocksOnlyWithThePostFilter) {
  Echokompensation ec(2);
  EXPECT_EQ(ec.verzoegerungBloecke(), 17);
  ec.nachfilterAn(false);
  EXPECT_EQ(ec.verzoegerungBloecke(), 0);
}

}  // namespace
}  // namespace hallkorb
