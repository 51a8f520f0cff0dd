#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "meeting/Bildzeiten.h"

namespace hallkorb {
namespace {

using Eintraege = std::vector<Bildzeiten::Quellenzeit>;

TEST(BildzeitenTest, AddsUpBySourceAndListsTheLongestFirst) {
  Bildzeiten zeiten;
  EXPECT_EQ(zeiten.laengsteZuerst(), Eintraege{});
  zeiten.buche("B", 12.5);
  zeiten.buche("A", 60.25);
  zeiten.buche("B", 0.25);
  zeiten.buche("A", 30.0);
  EXPECT_EQ(zeiten.laengsteZuerst(), (Eintraege{{"A", 90.25}, {"B", 12.75}}));
}

TEST(BildzeitenTest, AClockInATitleIsASourceForEachOfItsSeconds) {
  constexpr int SEKUNDEN = 40'000;
  Bildzeiten zeiten;
  for (int i = 0; i < SEKUNDEN; ++i) {
    zeiten.buche("Meet " + std::to_string(i), 1.0);
    zeiten.buche("Meet " + std::to_string(i / 2), 0.5);
  }
  const Eintraege alle = zeiten.laengsteZuerst();
  ASSERT_EQ(alle.size(), std::size_t{SEKUNDEN});
  EXPECT_EQ(alle.front(), (Bildzeiten::Quellenzeit{"Meet 0", 2.0}));
  EXPECT_EQ(alle[SEKUNDEN / 2], (Bildzeiten::Quellenzeit{"Meet 20000", 1.0}));
}

TEST(BildzeitenTest, EqualTimesKeepTheOrderOfTheirFirstBooking) {
  Bildzeiten zeiten;
  for (const char* quelle : {"Z", "M", "A"})
    zeiten.buche(quelle, 0.0);
  EXPECT_EQ(zeiten.laengsteZuerst(), (Eintraege{{"Z", 0.0}, {"M", 0.0}, {"A", 0.0}}));
  zeiten.buche("A", 1.0);
  EXPECT_EQ(zeiten.laengsteZuerst(), (Eintraege{{"A", 1.0}, {"Z", 0.0}, {"M", 0.0}}));
}

}  // namespace
}  // namespace hallkorb
