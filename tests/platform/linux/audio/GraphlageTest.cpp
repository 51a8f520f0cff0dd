#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "platform/linux/audio/Graphlage.h"

namespace hallkorb {
namespace {

TEST(Graphlage, GivesTheCyclesLengthWhileThereIsAPosition) {
  Graphlage lage;
  EXPECT_EQ(lage.zyklus(), std::nullopt);
  spa_io_position ort{};
  ort.clock.duration = 1024;
  lage.setze(&ort);
  EXPECT_EQ(lage.zyklus(), 1024U);
  lage.setze(nullptr);
  EXPECT_EQ(lage.zyklus(), std::nullopt);
}

// A position that was replaced is overwritten at once; the other thread must not see that. (Under
// the thread sanitizer it need not even happen.)
TEST(Graphlage, ReadsNothingThatWasReplaced) {
  constexpr std::uint64_t GUT = 1024;
  constexpr std::uint64_t WEG = 1;
  constexpr int WECHSEL = 50'000;
  Graphlage lage;
  std::atomic<bool> weiter{true};
  std::uint64_t falsch = 0;
  std::thread leser([&] {
    while (weiter) {
      const auto zyklus = lage.zyklus();
      if (zyklus && *zyklus != GUT) ++falsch;
    }
  });
  std::array<spa_io_position, 2> orte{};
  for (int i = 0; i < WECHSEL; ++i) {
    spa_io_position& neu = orte[static_cast<std::size_t>(i) % 2];
    neu.clock.duration = GUT;
    lage.setze(&neu);
    if (i % 3 == 0) lage.setze(nullptr);
    orte[static_cast<std::size_t>(i + 1) % 2].clock.duration = WEG;
  }
  lage.setze(nullptr);
  weiter = false;
  leser.join();
  EXPECT_EQ(falsch, 0U);
}

}  // namespace
}  // namespace hallkorb
