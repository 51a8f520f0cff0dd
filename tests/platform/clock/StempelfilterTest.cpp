#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "platform/clock/Stempelfilter.h"

namespace hallkorb {
namespace {

constexpr double DAUER = 0.02;

// A filter that is fed with deviations, block by block, all of 20 ms.
struct Strom {
  explicit Strom(bool eingeschwungen = true) {
    if (!eingeschwungen) return;
    for (int i = 0; i < 9; ++i)
      gib(0.0);
    orte.clear();
  }
  // What came out by then.
  std::size_t gib(std::optional<double> abweichung) {
    return gibStempel(abweichung ? std::optional(jetzt() + *abweichung) : std::nullopt);
  }
  // The true stamp of the next block.
  [[nodiscard]] double jetzt() const { return 100.0 + DAUER * bloecke; }
  std::size_t gibStempel(std::optional<double> stempel) {
    ++bloecke;
    filter.nimm(stempel, DAUER);
    while (const auto heraus = filter.naechster(false))
      orte.push_back(*heraus);
    return orte.size();
  }
  void ende() {
    while (const auto heraus = filter.naechster(true))
      orte.push_back(*heraus);
  }
  // The deviation in ms of the i-th block that came out.
  [[nodiscard]] double ms(std::size_t i) const {
    const std::size_t vorher = static_cast<std::size_t>(bloecke) - orte.size() - filter.wartend();
    return 1000 * (orte.at(i).zeit.value_or(0) - 100.0 - DAUER * static_cast<double>(vorher + i));
  }

  Stempelfilter filter;
  int bloecke = 0;
  std::vector<Stempelfilter::Ort> orte;
};

TEST(Stempelfilter, BeginsAtTheSmallestDeviationOfTheFirstBlocks) {
  Strom strom(false);
  for (const double a : {0.021, 0.002, 0.0013, 0.021, 0.001, 0.002, 0.002, 0.002}) {
    EXPECT_EQ(strom.gib(a), 0U);
  }
  strom.gib(0.002);  // 160 ms follow the first
  ASSERT_EQ(strom.orte.size(), 9U);
  EXPECT_NEAR(strom.ms(0), 1.0, 1e-6);
  EXPECT_FALSE(strom.orte[0].gemessen);
  EXPECT_TRUE(strom.orte[1].gemessen);
  for (const auto& ort : strom.orte)
    EXPECT_EQ(ort.sprung, 0.0);
}

TEST(Stempelfilter, GivesABlockInPlaceOnAtOnce) {
  Strom strom;
  EXPECT_EQ(strom.gib(0.0029), 1U);
  EXPECT_EQ(strom.gib(-0.0028), 2U);
  EXPECT_TRUE(strom.orte[1].gemessen);
  EXPECT_NEAR(strom.ms(1), -2.8, 1e-6);
}

TEST(Stempelfilter, FollowsADrift) {
  Strom strom;
  for (int i = 0; i < 2000; ++i)
    strom.gib(i * 10e-6);
  ASSERT_EQ(strom.orte.size(), 2000U);
  for (const auto& ort : strom.orte)
    ASSERT_TRUE(ort.gemessen);
}

TEST(Stempelfilter, TakesALateBlockForFalseOnceOneIsInPlaceAgain) {
  Strom strom;
  EXPECT_EQ(strom.gib(0.02), 0U);
  EXPECT_EQ(strom.gib(0.02), 0U);
  EXPECT_EQ(strom.gib(0.0), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(strom.ms(i), 0.0, 1e-6);
    EXPECT_EQ(strom.orte[i].sprung, 0.0);
    EXPECT_EQ(strom.orte[i].gemessen, i == 2);
  }
}

TEST(Stempelfilter, TakesALateBlockForTheFirstAfterALossIfItStaysSo) {
  Strom strom;
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(strom.gib(0.042), 0U) << i;
  EXPECT_EQ(strom.gib(0.042), 9U);
  EXPECT_NEAR(strom.orte[0].sprung, 0.042, 1e-9);
  EXPECT_NEAR(strom.ms(0), 42.0, 1e-6);
  EXPECT_EQ(strom.orte[1].sprung, 0.0);
  EXPECT_TRUE(strom.orte[1].gemessen);
}

TEST(Stempelfilter, WaitsForThreeBlocksHoweverLongTheyAre) {
  Stempelfilter filter;
  for (int i = 0; i < 6; ++i) {
    filter.nimm(10.0 + i, 1.0);
    while (filter.naechster(false)) {
    }
  }
  for (int i = 0; i < 3; ++i) {
    filter.nimm(16.1 + i, 1.0);
    EXPECT_FALSE(filter.naechster(false).has_value());
  }
  filter.nimm(19.1, 1.0);
  EXPECT_NEAR(filter.naechster(false).value_or(Stempelfilter::Ort{}).sprung, 0.1, 1e-9);
}

TEST(Stempelfilter, FindsALossBehindFalseStamps) {
  // The first blocks after the loss bear false stamps as well.
  Strom strom;
  for (const double a : {0.062, 0.062, 0.042, 0.042, 0.042, 0.042, 0.042, 0.042, 0.042})
    strom.gib(a);
  ASSERT_EQ(strom.orte.size(), 9U);
  EXPECT_NEAR(strom.orte[0].sprung, 0.042, 1e-9);
  for (std::size_t i = 0; i < 9; ++i)
    EXPECT_NEAR(strom.ms(i), 42.0, 1e-6) << i;
}

TEST(Stempelfilter, SeparatesAFalseStampFromTheLossRightAfterIt) {
  Strom strom;
  for (const double a : {0.02, 0.042, 0.042, 0.042, 0.042, 0.042, 0.042, 0.042, 0.042, 0.042})
    strom.gib(a);
  ASSERT_EQ(strom.orte.size(), 10U);
  EXPECT_NEAR(strom.ms(0), 0.0, 1e-6);
  EXPECT_NEAR(strom.orte[1].sprung, 0.042, 1e-9);
  EXPECT_NEAR(strom.ms(1), 42.0, 1e-6);
}

TEST(Stempelfilter, SeparatesTwoLosses) {
  Strom strom;
  for (const double a : {0.05, 0.05, 0.05, 0.05, 0.1})
    strom.gib(a);
  for (int i = 0; i < 9; ++i)
    strom.gib(0.1);
  ASSERT_EQ(strom.orte.size(), 14U);
  EXPECT_NEAR(strom.orte[0].sprung, 0.05, 1e-9);
  EXPECT_NEAR(strom.orte[4].sprung, 0.05, 1e-9);
}

TEST(Stempelfilter, AcceptsAnEarlyBlockAtOnce) {
  Strom strom;
  EXPECT_EQ(strom.gib(-0.03), 1U);
  EXPECT_NEAR(strom.orte[0].sprung, -0.03, 1e-9);
  EXPECT_NEAR(strom.ms(0), -30.0, 1e-6);
  EXPECT_EQ(strom.gib(-0.03), 2U);
  EXPECT_TRUE(strom.orte[1].gemessen);
}

TEST(Stempelfilter, BeginsAtTheFirstOfStampsThatStandStill) {
  Strom strom(false);
  const double erster = strom.jetzt();
  for (int i = 0; i < 9; ++i)
    strom.gibStempel(erster);
  for (int i = 0; i < 20; ++i)
    strom.gib(0.0);
  ASSERT_EQ(strom.orte.size(), 29U);
  for (std::size_t i = 0; i < 29; ++i) {
    EXPECT_NEAR(strom.ms(i), 0.0, 1e-6) << i;
    EXPECT_EQ(strom.orte[i].sprung, 0.0) << i;
  }
}

TEST(Stempelfilter, FindsALossThoughTheClockThenStandsStill) {
  Strom strom;
  const double erster = strom.jetzt() + 0.05;
  for (int i = 0; i < 9; ++i)
    strom.gibStempel(erster);
  for (int i = 0; i < 9; ++i)
    strom.gib(0.05);
  ASSERT_EQ(strom.orte.size(), 18U);
  EXPECT_NEAR(strom.orte[0].sprung, 0.05, 1e-9);
  for (std::size_t i = 0; i < 18; ++i) {
    EXPECT_NEAR(strom.ms(i), 50.0, 1e-6) << i;
    EXPECT_EQ(strom.orte[i].sprung != 0.0, i == 0) << i;
  }
}

// What is taken off the clock's reading wavers by a frame, and some blocks have no stamp at all.
TEST(Stempelfilter, KnowsAStampThatIsRepeatedNotQuiteExactlyOrAfterAPause) {
  for (const bool amAnfang : {true, false}) {
    Strom strom(!amAnfang);
    const double erster = strom.jetzt();
    for (int i = 0; i < 40; ++i)
      strom.gibStempel(i % 5 == 3 ? std::nullopt : std::optional(erster - i % 3 * 0.00002));
    for (int i = 0; i < 9; ++i)
      strom.gib(0.0);
    ASSERT_EQ(strom.orte.size(), 49U);
    for (std::size_t i = 0; i < 49; ++i) {
      EXPECT_NEAR(strom.ms(i), 0.0, 0.05) << i;
      EXPECT_EQ(strom.orte[i].sprung, 0.0) << i;
    }
    EXPECT_TRUE(strom.orte.back().gemessen);
  }
}

TEST(Stempelfilter, BelievesTheStampsOfBlocksOfASingleFrame) {
  constexpr double FRAME = 1.0 / 48000;
  Stempelfilter filter;
  int gemessene = 0;
  for (int i = 0; i < 10000; ++i) {
    filter.nimm(100.0 + i * FRAME, FRAME);
    while (const auto ort = filter.naechster(filter.wartend() == Stempelfilter::HOECHSTENS))
      gemessene += ort->gemessen ? 1 : 0;
  }
  EXPECT_EQ(gemessene, 10000);
}

TEST(Stempelfilter, TakesALongLatenessForALoss) {
  Strom strom;
  for (int i = 0; i < 9; ++i)
    strom.gib(5.0);
  ASSERT_EQ(strom.orte.size(), 9U);
  EXPECT_NEAR(strom.orte[0].sprung, 5.0, 1e-9);
}

TEST(Stempelfilter, TakesASingleBlockForFalseHoweverLateItIs) {
  for (const double spaet : {0.2, 5.0}) {
    Strom strom;
    EXPECT_EQ(strom.gib(spaet), 0U);
    EXPECT_EQ(strom.gib(0.0), 2U);
    ASSERT_EQ(strom.orte.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
      EXPECT_NEAR(strom.ms(i), 0.0, 1e-6);
      EXPECT_EQ(strom.orte[i].sprung, 0.0);
    }
  }
}

TEST(Stempelfilter, DecidesByWhatIsThereAtTheEnd) {
  Strom falsch;
  falsch.gib(0.02);
  falsch.ende();
  ASSERT_EQ(falsch.orte.size(), 1U);
  EXPECT_NEAR(falsch.orte[0].sprung, 0.02, 1e-9);  // nothing speaks against it

  Strom kurz(false);
  kurz.gib(0.02);
  kurz.gib(0.0);
  kurz.ende();
  ASSERT_EQ(kurz.orte.size(), 2U);
  EXPECT_NEAR(kurz.ms(0), 0.0, 1e-6);
}

TEST(Stempelfilter, PlacesABlockWithoutATimeAfterTheOneBefore) {
  Strom strom;
  EXPECT_EQ(strom.gib(std::nullopt), 1U);
  EXPECT_NEAR(strom.ms(0), 0.0, 1e-6);
  EXPECT_FALSE(strom.orte[0].gemessen);
  Strom ohne(false);
  EXPECT_EQ(ohne.gib(std::nullopt), 1U);
  EXPECT_FALSE(ohne.orte[0].zeit.has_value());
}

}  // namespace
}  // namespace hallkorb
