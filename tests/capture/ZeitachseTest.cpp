#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "capture/Zeitachse.h"
#include "tests/support/AusgabeFaenger.h"

namespace hallkorb {
namespace {

constexpr double NULLZEIT = 1000.0;

// n samples, none of them zero.
std::vector<float> ton(std::size_t n, float wert = 0.5F) {
  return std::vector<float>(n, wert);
}

class ZeitachseTest : public testing::Test {
 protected:
  // A block of `n` samples at 16 kHz that begins `sekunden` after time zero.
  std::vector<float> block(std::size_t n, double sekunden) {
    return zeit.einordnen(ton(n), NULLZEIT + sekunden, static_cast<double>(n) / 16000.0);
  }

  AusgabeFaenger faenger;
  Zeitachse zeit{"me", 16000.0, NULLZEIT};
};

TEST_F(ZeitachseTest, TheStreamIsPaddedFromTimeZeroToTheFirstBlock) {
  const auto out = block(160, 0.5);
  ASSERT_EQ(out.size(), 8160U);
  EXPECT_EQ(out[7999], 0.0F);
  EXPECT_EQ(out[8000], 0.5F);
  EXPECT_EQ(zeit.luecken, 0);
  EXPECT_EQ(zeit.lueckenSamples, 0);
  EXPECT_EQ(zeit.geschrieben, 8160);
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(ZeitachseTest, WhatLiesBeforeTimeZeroIsDropped) {
  EXPECT_EQ(block(480, -0.010).size(), 320U);
  EXPECT_EQ(zeit.verworfen, 160);
  EXPECT_EQ(zeit.ueberlappungen, 0);
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(ZeitachseTest, AFirstBlockWhollyBeforeTimeZeroOwesTheRestToTheNext) {
  EXPECT_TRUE(block(160, -0.015).empty());
  EXPECT_EQ(block(160, -0.005).size(), 80U);
  EXPECT_EQ(zeit.verworfen, 240);
  EXPECT_EQ(zeit.ueberlappungen, 0);
}

TEST_F(ZeitachseTest, ASingleSampleIsPaddedOrDroppedToo) {
  EXPECT_EQ(block(160, 1.0 / 16000.0).size(), 161U);
  Zeitachse frueher("me", 16000.0, NULLZEIT);
  EXPECT_EQ(frueher.einordnen(ton(160), NULLZEIT - 1.0 / 16000.0, 0.01).size(), 159U);
  EXPECT_EQ(frueher.verworfen, 1);
}

TEST_F(ZeitachseTest, AGapIsFilledToTheLastSampleBeyondWhatIsOwed) {
  EXPECT_EQ(block(160, 0.0).size(), 160U);
  EXPECT_TRUE(block(20, 60.0 / 16000.0).empty());  // 100 samples early: 80 stay owed
  // 81 samples late: 80 of them cancel what is owed, one is silence.
  EXPECT_EQ(block(160, (80.0 + 81.0) / 16000.0).size(), 161U);
  EXPECT_EQ(zeit.lueckenSamples, 1);
}

TEST_F(ZeitachseTest, JitterWithinTheToleranceMovesNothing) {
  EXPECT_EQ(block(1600, 0.0).size(), 1600U);
  EXPECT_EQ(block(1600, 0.104).size(), 1600U);
  // Expected is still 0.2 s, not 0.204 s: 4 ms early is within the tolerance too.
  EXPECT_EQ(block(1600, 0.196).size(), 1600U);
  EXPECT_EQ(zeit.luecken + zeit.ueberlappungen, 0);
}

TEST_F(ZeitachseTest, TheToleranceItselfIsWithinIt) {
  // At 1024 samples per second and powers of two nothing rounds: the tolerance is 5.12 samples.
  Zeitachse genau("x", 1024.0, 0.5);
  (void)genau.einordnen(ton(1024), 1.5, 1.0);
  (void)genau.einordnen(ton(1024), 2.5 + 5.0 / 1024, 1.0);
  EXPECT_EQ(genau.luecken, 0);
  (void)genau.einordnen(ton(1024), 3.5 + 6.0 / 1024, 1.0);
  EXPECT_EQ(genau.luecken, 1);
  EXPECT_EQ(genau.lueckenSamples, 6);
  // Exactly the tolerance, both ways: 80 samples at 16 kHz.
  Zeitachse grenze("x", 16000.0, 0.0);
  (void)grenze.einordnen(ton(16000), 1.0, 1.0);
  (void)grenze.einordnen(ton(16000), 2.0 + 80.0 / 16000, 1.0);
  (void)grenze.einordnen(ton(16000), 3.0 - 80.0 / 16000, 1.0);
  EXPECT_EQ(grenze.toleranz, 80.0);
  EXPECT_EQ(grenze.luecken + grenze.ueberlappungen, 0);
}

TEST_F(ZeitachseTest, ALateBlockIsPrecededBySilence) {
  (void)block(1600, 0.0);
  const auto out = block(1600, 0.2);
  ASSERT_EQ(out.size(), 3200U);
  EXPECT_EQ(out[1599], 0.0F);
  EXPECT_EQ(out[1600], 0.5F);
  EXPECT_EQ(zeit.luecken, 1);
  EXPECT_EQ(zeit.lueckenSamples, 1600);
  EXPECT_EQ(faenger.fehler(), "[hallkorb] Zeitachse me: Luecke 100.0 ms bei 0.10 s aufgefuellt\n");
}

TEST_F(ZeitachseTest, AnEarlyBlockIsDroppedAndTheRestStaysOwed) {
  (void)block(3200, 0.0);
  EXPECT_TRUE(block(800, 0.1).empty());
  EXPECT_EQ(zeit.verworfen, 800);
  EXPECT_EQ(zeit.ueberlappungen, 1);
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] Zeitachse me: 100.0 ms Ueberlappung bei 0.20 s verworfen\n");
  EXPECT_EQ(block(1000, 0.15).size(), 200U);
  EXPECT_EQ(zeit.verworfen, 1600);
  EXPECT_EQ(zeit.ueberlappungen, 1);
}

TEST_F(ZeitachseTest, WhatIsOwedCancelsAgainstAGapFirst) {
  (void)block(3200, 0.0);
  (void)block(160, 0.1);  // 1600 owed, 160 dropped at once
  const auto out = block(1600, 0.1 + 0.01 + 0.2);
  EXPECT_EQ(zeit.luecken, 1);
  EXPECT_EQ(zeit.lueckenSamples, 3200 - 1440);
  EXPECT_EQ(out.size(), 1600U + 1760U);
  EXPECT_EQ(zeit.geschrieben, 3200 + 1760 + 1600);
}

TEST_F(ZeitachseTest, AGapSmallerThanWhatIsOwedInsertsNothingButCounts) {
  (void)block(3200, 0.0);
  (void)block(160, 0.1);  // 1440 still owed
  EXPECT_EQ(block(1600, 0.11 + 0.01).size(), 1600U - (1440U - 160U));
  EXPECT_EQ(zeit.luecken, 1);
  EXPECT_EQ(zeit.lueckenSamples, 0);
  EXPECT_NE(faenger.fehler().find("Luecke 10.0 ms bei 0.20 s aufgefuellt"), std::string::npos);
}

TEST_F(ZeitachseTest, OnlyTheFirstTwentyOfEachKindAreLogged) {
  double t = 0;
  for (int i = 0; i < 25; ++i) {
    (void)block(160, t);
    t += 0.01 + 0.02;
  }
  EXPECT_EQ(zeit.luecken, 24);
  EXPECT_EQ(zeit.lueckenSamples, 24 * 320);
  t -= 0.02;  // the stream's position
  for (int i = 0; i < 22; ++i) {
    t -= 0.02;
    (void)block(160, t);
    t += 0.01;
  }
  const std::string text = faenger.fehler();
  std::size_t luecken = 0;
  std::size_t ueberlappungen = 0;
  for (std::size_t p = 0; (p = text.find("Luecke", p)) != std::string::npos; ++p)
    ++luecken;
  for (std::size_t p = 0; (p = text.find("Ueberlappung", p)) != std::string::npos; ++p) {
    ++ueberlappungen;
  }
  EXPECT_EQ(luecken, 20U);
  EXPECT_EQ(ueberlappungen, 20U);
  EXPECT_EQ(zeit.ueberlappungen, 22);
}

TEST_F(ZeitachseTest, AnUnusableTimeIsAMissingOne) {
  const double unendlich = std::numeric_limits<double>::infinity();
  const std::vector<std::optional<double>> unbrauchbar{
      std::nullopt, 0.0, -5.0, unendlich, -unendlich, std::numeric_limits<double>::quiet_NaN()};
  // Before the first usable time the blocks pass and anchor nothing.
  for (const auto& t : unbrauchbar)
    EXPECT_EQ(zeit.einordnen(ton(100), t, 0.1).size(), 100U);
  EXPECT_EQ(block(1600, 0.0).size(), 1600U);
  // Afterwards they move the expectation on by their captured duration.
  for (const auto& t : unbrauchbar)
    EXPECT_EQ(zeit.einordnen(ton(1600), t, 0.1).size(), 1600U);
  EXPECT_EQ(block(1600, 0.7).size(), 1600U);
  EXPECT_EQ(zeit.luecken + zeit.ueberlappungen, 0);
  EXPECT_EQ(zeit.geschrieben, 600 + 8 * 1600);
}

TEST_F(ZeitachseTest, ADriftOfTheDeviceClockIsFollowed) {
  // 200 ppm slow: its blocks come 0.2 ms later each second; 5 ms are made up for after 25 s.
  for (int i = 0; i < 600; ++i)
    (void)block(1600, 0.1 * i * 1.0002);
  EXPECT_EQ(zeit.luecken, 2);
  EXPECT_EQ(zeit.ueberlappungen, 0);
  EXPECT_NEAR(static_cast<double>(zeit.geschrieben), 60 * 1.0002 * 16000, 81);
}

TEST_F(ZeitachseTest, AReportOfNothingIsAllZeros) {
  EXPECT_EQ(zeit.bericht(),
            R"("me":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0})");
}

TEST_F(ZeitachseTest, TheReportGivesWholeMilliseconds) {
  zeit.luecken = 3;
  zeit.lueckenSamples = 1608;  // 100.5 ms, rounded to even
  zeit.ueberlappungen = 2;
  zeit.verworfen = 24;  // 1.5 ms
  EXPECT_EQ(zeit.bericht(),
            R"("me":{"luecken":3,"luecken_ms":100,"ueberlappungen":2,"verworfen_ms":2})");
}

TEST_F(ZeitachseTest, ARateOfZeroHoldsNothingAndReportsNumbers) {
  Zeitachse leer("them", 0.0, NULLZEIT);
  EXPECT_TRUE(leer.einordnen({}, NULLZEIT + 1, 0.1).empty());
  EXPECT_EQ(leer.bericht(),
            R"("them":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0})");
}

TEST(ZeitachseDeathTest, APositionThatNoCounterHoldsStopsTheProcess) {
  EXPECT_EXIT(
      {
        Zeitachse zeit("me", 16000.0, 0.0);
        (void)zeit.einordnen(ton(1), 1e300, 0.1);
      },
      testing::KilledBySignal(SIGABRT), "Zeitachse: Zeitpunkt nicht darstellbar");
}

// Whatever the blocks' sizes, jitter and losses: sample i was heard at null + i / rate, within the
// tolerance plus the error of the time stamp that last aligned the stream, and the counters account
// for every sample that was delivered, dropped or inserted.
TEST(ZeitachsePropertyTest, EverySampleKeepsItsPlaceOnTheClock) {
  for (std::uint64_t saat = 1; saat <= 200; ++saat) {
    const AusgabeFaenger faenger;
    std::mt19937_64 zufall(saat);
    std::uniform_int_distribution<int> laenge(1, 4000);
    std::uniform_real_distribution<double> jitter(-0.0024, 0.0024);
    std::bernoulli_distribution verlust(0.05);
    Zeitachse zeit("them", 16000.0, NULLZEIT);
    std::vector<float> strom;
    std::int64_t pos = std::uniform_int_distribution<int>(-3000, 20000)(zufall);
    std::int64_t hinein = 0;
    std::int64_t polster = pos;
    bool erster = true;
    for (int b = 0; b < 200; ++b) {
      const int n = laenge(zufall);
      if (!verlust(zufall)) {
        std::vector<float> samples(static_cast<std::size_t>(n));
        std::iota(samples.begin(), samples.end(), static_cast<float>(pos));
        const double echt = NULLZEIT + static_cast<double>(pos) / 16000.0;
        const double t = erster ? echt : echt + jitter(zufall);
        if (erster) polster = pos;
        erster = false;
        hinein += n;
        const auto out = zeit.einordnen(std::move(samples), t, n / 16000.0);
        strom.insert(strom.end(), out.begin(), out.end());
      }
      pos += n;
    }
    ASSERT_EQ(zeit.geschrieben, static_cast<std::int64_t>(strom.size()));
    ASSERT_EQ(hinein + zeit.lueckenSamples - zeit.verworfen + std::max<std::int64_t>(polster, 0),
              zeit.geschrieben)
        << saat;
    for (std::size_t i = 0; i < strom.size(); ++i) {
      if (strom[i] <= 0) continue;  // silence, or the one sample that is counted zero
      ASSERT_NEAR(strom[i], static_cast<double>(i), zeit.toleranz + 0.0024 * 16000 + 2)
          << "seed " << saat;
    }
  }
}

}  // namespace
}  // namespace hallkorb
