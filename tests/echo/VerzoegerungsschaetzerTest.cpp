#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "echo/Verzoegerungsschaetzer.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/oracles/echo/Verzoegerungsschaetzer.h"

namespace hallkorb {
namespace {

constexpr std::int64_t BLOCK = 256;
using Werte = std::vector<double>;

Werte rauschen(std::int64_t n, double pegel, std::uint64_t saat = 1) {
  std::mt19937_64 zufall(saat);
  std::normal_distribution<double> normal(0.0, pegel);
  Werte w(static_cast<std::size_t>(n));
  for (double& v : w)
    v = normal(zufall);
  return w;
}

struct Bericht {
  std::int64_t block;  // counted from 1
  std::int64_t wert;
  friend bool operator==(const Bericht&, const Bericht&) = default;
};

// Feeds `bloecke` blocks of noise and its delayed copy; the delay of block b is verzoegerung(b).
template <class Schaetzer, class Verzoegerung>
std::vector<Bericht> berichte(Schaetzer& schaetzer, std::int64_t bloecke, Verzoegerung verzoegerung,
                              double pegel = 3000.0) {
  const Werte x = rauschen(bloecke * BLOCK, pegel);
  std::vector<Bericht> alle;
  Werte d(BLOCK);
  for (std::int64_t b = 0; b < bloecke; ++b) {
    for (std::int64_t i = 0; i < BLOCK; ++i) {
      const std::int64_t t = b * BLOCK + i - verzoegerung(b + 1);
      const bool da = t >= 0 && t < bloecke * BLOCK;
      d[static_cast<std::size_t>(i)] = da ? x[static_cast<std::size_t>(t)] : 0.0;
    }
    const auto bericht =
        schaetzer.fuettern({x.data() + b * BLOCK, static_cast<std::size_t>(BLOCK)}, d);
    if (bericht) alle.push_back({b + 1, *bericht});
  }
  return alle;
}

class Verzoegerung : public JeBefehlssatz {};
HALLKORB_JE_BEFEHLSSATZ(Verzoegerung);

TEST_P(Verzoegerung, IsReportedByTheThirdAnalysisAndOnlyOnce) {
  Verzoegerungsschaetzer schaetzer;
  EXPECT_EQ(schaetzer.wert(), std::nullopt);
  EXPECT_EQ(berichte(schaetzer, 500, [](std::int64_t) { return 4000; }),
            (std::vector<Bericht>{{239, 4000}}));
  EXPECT_EQ(schaetzer.wert(), 4000);
}

TEST_P(Verzoegerung, OfUpTo12800SamplesIsFoundAndNoMore) {
  for (const std::int64_t D : {0, 12800}) {
    Verzoegerungsschaetzer schaetzer;
    EXPECT_EQ(berichte(schaetzer, 300, [D](std::int64_t) { return D; }),
              (std::vector<Bericht>{{239, D}}));
  }
  for (const std::int64_t D : {12801, 14000, -1, -500}) {
    Verzoegerungsschaetzer schaetzer;
    EXPECT_TRUE(berichte(schaetzer, 500, [D](std::int64_t) { return D; }).empty()) << D;
  }
}

TEST_P(Verzoegerung, ThatMovesBy100SamplesIsNotReportedAgain) {
  Verzoegerungsschaetzer schaetzer;
  EXPECT_EQ(berichte(schaetzer, 900, [](std::int64_t b) { return b <= 239 ? 4000 : 4100; }),
            (std::vector<Bericht>{{239, 4000}}));
}

TEST_P(Verzoegerung, ThatMovesBy200SamplesIsReportedOnceTheMedianHasMoved) {
  const auto sprung = [](std::int64_t b) { return b <= 239 ? 4000 : 4200; };
  Verzoegerungsschaetzer schaetzer;
  const auto gefunden = berichte(schaetzer, 900, sprung);
  ASSERT_EQ(gefunden.size(), 2U);
  EXPECT_EQ(gefunden[0], (Bericht{239, 4000}));
  EXPECT_EQ(gefunden[1].wert, 4200);
  EXPECT_EQ((gefunden[1].block - 175) % 32, 0);
  referenz::Verzoegerungsschaetzer woertlich;
  EXPECT_EQ(gefunden, berichte(woertlich, 900, sprung));
}

TEST_P(Verzoegerung, OfSilenceIsNone) {
  Verzoegerungsschaetzer schaetzer;
  EXPECT_TRUE(berichte(schaetzer, 500, [](std::int64_t) { return 4000; }, 0.0).empty());
}

// The gate is at a mean square of 10737.41824, just below 103.62 squared.
TEST_P(Verzoegerung, NeedsAReferenceThatIsNotAlmostSilent) {
  Verzoegerungsschaetzer leise;
  EXPECT_TRUE(berichte(leise, 300, [](std::int64_t) { return 4000; }, 102.0).empty());
  Verzoegerungsschaetzer laut;
  EXPECT_EQ(berichte(
                laut, 300, [](std::int64_t) { return 4000; }, 105.0),
            (std::vector<Bericht>{{239, 4000}}));
}

TEST_P(Verzoegerung, OfADeadMicrophoneIsNone) {
  Verzoegerungsschaetzer schaetzer;
  const Werte x = rauschen(BLOCK, 3000.0);
  const Werte stille(BLOCK, 0.0);
  for (int b = 0; b < 400; ++b)
    EXPECT_EQ(schaetzer.fuettern(x, stille), std::nullopt);
}

TEST_P(Verzoegerung, SurvivesSamplesThatAreNoNumbers) {
  Verzoegerungsschaetzer schaetzer;
  Werte nichts(BLOCK, 0.0);
  nichts[17] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(schaetzer.fuettern(nichts, nichts), std::nullopt);
  // Once the damage has left the history (44800 samples) everything is as before.
  const auto gefunden = berichte(schaetzer, 400, [](std::int64_t) { return 4000; });
  ASSERT_EQ(gefunden.size(), 1U);
  EXPECT_EQ(gefunden[0].wert, 4000);
}

TEST_P(Verzoegerung, DoesNotDependOnTheLengthOfThePieces) {
  const Werte x = rauschen(100000, 3000.0);
  Werte d(3000, 0.0);
  d.insert(d.end(), x.begin(), x.end() - 3000);
  for (const std::size_t stueck : {std::size_t{1000}, std::size_t{8000}, std::size_t{100000}}) {
    SCOPED_TRACE(stueck);
    Verzoegerungsschaetzer schnell;
    referenz::Verzoegerungsschaetzer woertlich;
    for (std::size_t ab = 0; ab < x.size(); ab += stueck) {
      const std::size_t laenge = std::min(stueck, x.size() - ab);
      const std::span<const double> xs(x.data() + ab, laenge);
      const std::span<const double> ds(d.data() + ab, laenge);
      EXPECT_EQ(schnell.fuettern(xs, ds), woertlich.fuettern(xs, ds));
    }
    EXPECT_EQ(schnell.wert(), woertlich.wert);
  }
}

// A correlation with a peak at 1000 and a second one elsewhere.
std::optional<std::int64_t> mitZweiterSpitze(std::int64_t lag, double zweite) {
  Werte k(12801, 0.0);
  k[1000] = 1.0;
  k[static_cast<std::size_t>(lag)] = zweite;
  return Verzoegerungsschaetzer::spitze(k);
}

TEST(Korrelationsspitze, HidesASecondPeak48LagsBelowAnd47Above) {
  EXPECT_EQ(mitZweiterSpitze(951, 0.9), std::nullopt);
  EXPECT_EQ(mitZweiterSpitze(952, 0.9), 1000);
  EXPECT_EQ(mitZweiterSpitze(1047, 0.9), 1000);
  EXPECT_EQ(mitZweiterSpitze(1048, 0.9), std::nullopt);
  EXPECT_EQ(mitZweiterSpitze(0, 0.9), std::nullopt);
  EXPECT_EQ(mitZweiterSpitze(12800, 0.9), std::nullopt);
}

TEST(Korrelationsspitze, MustBeHalfAsHighAgainAsTheSecond) {
  EXPECT_EQ(mitZweiterSpitze(5000, 0.66), 1000);
  EXPECT_EQ(mitZweiterSpitze(5000, -0.66), 1000);
  EXPECT_EQ(mitZweiterSpitze(5000, 0.67), std::nullopt);
  EXPECT_EQ(mitZweiterSpitze(5000, -0.67), std::nullopt);
}

TEST(Korrelationsspitze, MustReachATwentieth) {
  Werte k(12801, 0.0);
  k[300] = -0.05;
  EXPECT_EQ(Verzoegerungsschaetzer::spitze(k), 300);
  k[300] = -0.0499;
  EXPECT_EQ(Verzoegerungsschaetzer::spitze(k), std::nullopt);
}

TEST(Korrelationsspitze, OfTwoEqualOnesIsTheSmallerLag) {
  Werte k(12801, 0.0);
  k[700] = -0.5;
  k[740] = 0.5;
  EXPECT_EQ(Verzoegerungsschaetzer::spitze(k), 700);
}

TEST(Korrelationsspitze, OfNothingIsNone) {
  EXPECT_EQ(Verzoegerungsschaetzer::spitze(Werte(12801, 0.0)), std::nullopt);
  EXPECT_EQ(Verzoegerungsschaetzer::spitze(Werte(12801, std::numeric_limits<double>::quiet_NaN())),
            std::nullopt);
}

TEST(Median, OfThreeIsReportedFirst) {
  Verzoegerungsschaetzer schaetzer;
  EXPECT_EQ(schaetzer.annehmen(4002), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(4000), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(4001), 4001);
}

TEST(Median, OfFourIsTheMeanOfTheMiddleTwoTruncated) {
  Verzoegerungsschaetzer schaetzer;
  for (const std::int64_t lag : {1000, 4001})
    EXPECT_EQ(schaetzer.annehmen(lag), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(4003), 4001);
  EXPECT_EQ(schaetzer.annehmen(9000), std::nullopt);  // 4002
  Verzoegerungsschaetzer anderer;
  for (const std::int64_t lag : {1000, 1001})
    EXPECT_EQ(anderer.annehmen(lag), std::nullopt);
  EXPECT_EQ(anderer.annehmen(4002), 1001);
  EXPECT_EQ(anderer.annehmen(4003), 2501);  // (1001 + 4002) / 2 = 2501.5
}

TEST(Median, IsOverTheLastFive) {
  Verzoegerungsschaetzer schaetzer;
  for (const std::int64_t lag : {100, 100})
    EXPECT_EQ(schaetzer.annehmen(lag), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(100), 100);
  EXPECT_EQ(schaetzer.annehmen(5000), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(5000), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(5000), 5000);  // the first 100 has left
}

TEST(Median, MustMoveByMoreThan128) {
  Verzoegerungsschaetzer schaetzer;
  for (const std::int64_t lag : {4000, 4000, 4000})
    schaetzer.annehmen(lag);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(schaetzer.annehmen(4128), std::nullopt);
  EXPECT_EQ(schaetzer.wert(), 4000);
  EXPECT_EQ(schaetzer.annehmen(4129), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(4129), std::nullopt);
  EXPECT_EQ(schaetzer.annehmen(4129), 4129);
}

}  // namespace
}  // namespace hallkorb
