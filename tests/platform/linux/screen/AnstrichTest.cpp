#include <gtest/gtest.h>

#include <chrono>

#include "platform/linux/screen/Anstrich.h"

namespace hallkorb {
namespace {

using std::chrono::milliseconds;

class AnstrichTest : public testing::Test {
 protected:
  static Anstrich::Uhr::time_point um(int ms) {
    return Anstrich::Uhr::time_point(std::chrono::hours(1)) + milliseconds(ms);
  }

  Anstrich anstrich_{{milliseconds(250), milliseconds(100), milliseconds(500), milliseconds(1000)}};
};

TEST_F(AnstrichTest, WhatNobodyPaintsIsShownAfterAWhile) {
  EXPECT_FALSE(anstrich_.offen());
  anstrich_.beginne(um(0));
  EXPECT_TRUE(anstrich_.offen());
  EXPECT_EQ(anstrich_.fertigAb(), um(250));
}

TEST_F(AnstrichTest, ADrawingIsTheLastOneOnceNoOtherFollows) {
  anstrich_.beginne(um(0));
  anstrich_.gemalt(um(40));
  EXPECT_EQ(anstrich_.fertigAb(), um(140));
  anstrich_.gemalt(um(139));
  EXPECT_EQ(anstrich_.fertigAb(), um(239));
}

TEST_F(AnstrichTest, AMovingWindowIsNotWaitedForAnyLonger) {
  anstrich_.beginne(um(0));
  for (int ms = 30; ms < 600; ms += 30)
    anstrich_.gemalt(um(ms));
  EXPECT_EQ(anstrich_.fertigAb(), um(530));
}

TEST_F(AnstrichTest, EachNewSurfaceIsToBePaintedAnew) {
  anstrich_.beginne(um(0));
  anstrich_.gemalt(um(20));
  anstrich_.beginne(um(30));
  EXPECT_EQ(anstrich_.fertigAb(), um(280));
  anstrich_.gemalt(um(50));
  EXPECT_EQ(anstrich_.fertigAb(), um(150));
}

TEST_F(AnstrichTest, APictureOfAnotherSurfaceIsDroppedOnlyWithinTheTimeInAll) {
  anstrich_.beginne(um(0));
  anstrich_.gemalt(um(10));
  anstrich_.beende();
  EXPECT_FALSE(anstrich_.wartetWeiter(um(150)));
  anstrich_.beende();  // the next picture, of a surface that was seen
  anstrich_.beginne(um(300));
  EXPECT_TRUE(anstrich_.wartetWeiter(um(310)));
  for (int ms = 550; ms < 1300; ms += 255) {
    EXPECT_LE(anstrich_.fertigAb(), um(ms));
    anstrich_.beende();
    anstrich_.beginne(um(ms + 5));
    EXPECT_TRUE(anstrich_.wartetWeiter(um(ms + 10))) << ms;
  }
  EXPECT_EQ(anstrich_.fertigAb(), um(1300));
  anstrich_.beende();
  anstrich_.beginne(um(1305));
  EXPECT_FALSE(anstrich_.wartetWeiter(um(1310)));
  EXPECT_EQ(anstrich_.fertigAb(), um(1555));
}

TEST_F(AnstrichTest, ASizeThatChangesAllTheTimeIsNotWaitedForForEver) {
  for (int ms = 0; ms < 3000; ms += 20) {
    anstrich_.beginne(um(ms));
    EXPECT_LE(anstrich_.fertigAb(), um(1000));
    anstrich_.gemalt(um(ms + 10));
    EXPECT_LE(anstrich_.fertigAb(), um(1000));
  }
}

TEST_F(AnstrichTest, OnceSeenItsDrawingsAreNotWaitedFor) {
  anstrich_.beginne(um(0));
  anstrich_.gemalt(um(10));
  anstrich_.beende();
  EXPECT_FALSE(anstrich_.offen());
  anstrich_.gemalt(um(500));
  EXPECT_EQ(anstrich_.fertigAb(), um(110));
  anstrich_.beginne(um(5000));
  EXPECT_EQ(anstrich_.fertigAb(), um(5250));
}

}  // namespace
}  // namespace hallkorb
