#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

#include "base/Vorrat.h"

namespace hallkorb {
namespace {

std::vector<int> inhalt(const Vorrat<int>& vorrat) {
  return {vorrat.werte().begin(), vorrat.werte().end()};
}

TEST(VorratTest, HoldsWhatADoubleEndedQueueHolds) {
  std::mt19937 zufall(7);
  Vorrat<int> vorrat;
  std::deque<int> soll;
  int zaehler = 0;
  for (int schritt = 0; schritt < 5000; ++schritt) {
    const std::size_t n = zufall() % 50;
    std::vector<int> neu(n);
    for (int& wert : neu)
      wert = ++zaehler;
    switch (zufall() % 4) {
      case 0:
        vorrat.anhaengen(neu);
        soll.insert(soll.end(), neu.begin(), neu.end());
        break;
      case 1:
        std::copy(neu.begin(), neu.end(), vorrat.erweitern(n).begin());
        soll.insert(soll.end(), neu.begin(), neu.end());
        break;
      case 2:
        vorrat.auffuellen(n, -1);
        soll.insert(soll.end(), n, -1);
        break;
      default:
        vorrat.verwerfen(2 * n);
        soll.erase(soll.begin(),
                   soll.begin() + static_cast<std::ptrdiff_t>(std::min(2 * n, soll.size())));
    }
    ASSERT_EQ(vorrat.size(), soll.size());
    ASSERT_EQ(inhalt(vorrat), std::vector<int>(soll.begin(), soll.end()));
  }
}

TEST(VorratTest, ASteadyStreamNeedsNoNewStorage) {
  Vorrat<int> vorrat;
  const std::vector<int> block(256, 1);
  vorrat.reservieren(4 * block.size());
  const auto platz = [&] {
    vorrat.verwerfen(vorrat.size());
    vorrat.anhaengen(block);
    return vorrat.werte().data();
  };
  const int* anfang = platz();
  for (int k = 0; k < 100; ++k) {
    vorrat.anhaengen(block);
    vorrat.verwerfen(block.size());
  }
  EXPECT_EQ(platz(), anfang);
}

TEST(VorratTest, DropsNoMoreThanThereIs) {
  Vorrat<int> vorrat;
  vorrat.auffuellen(3, 5);
  vorrat.verwerfen(10);
  EXPECT_EQ(vorrat.size(), 0U);
  vorrat.auffuellen(2, 6);
  EXPECT_EQ(inhalt(vorrat), (std::vector<int>{6, 6}));
}

}  // namespace
}  // namespace hallkorb
