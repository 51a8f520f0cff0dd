#include <gtest/gtest.h>

#include "meeting/Bildzeiten.h"

namespace hallkorb {
namespace {

using Eintraege = std::vector<Bildzeiten::Eintrag>;

TEST(BildzeitenTest, AddsUpBySourceAndTellsTheLongestFirst) {
  Bildzeiten zeiten;
  EXPECT_EQ(zeiten.laengsteZuerst(), Eintraege{});
  zeiten.buche("B", 12.5);
  zeiten.buche("A", 60.25);
  zeiten.buche("B", 0.25);
  zeiten.buche("A", 30.0);
  EXPECT_EQ(zeiten.laengsteZuerst(), (Eintraege{{"A", 90.25}, {"B", 12.75}}));
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
