// The host clock, run.
#include <chrono>
#include <thread>

#include "platform/macos/MacHostClock.h"
#include "tests/macos/calls/ErsatzTest.h"

namespace hallkorb {
namespace {

class MacHostClockTest : public ErsatzTest {};

// Ticks are no nanoseconds on newer machines: whoever forgets to convert them is off by far.
TEST_F(MacHostClockTest, SecondsAreThoseOfTheTickCounter) {
  using std::chrono::duration;
  using Uhr = std::chrono::steady_clock;
  const MacHostClock uhr;
  const double vorher = duration<double>(Uhr::now().time_since_epoch()).count();
  const double jetzt = uhr.sekunden();
  const double nachher = duration<double>(Uhr::now().time_since_epoch()).count();
  constexpr double TICK = 1.0 / 8e6;
  EXPECT_GE(jetzt, vorher - TICK);
  EXPECT_LE(jetzt, nachher + TICK);
  EXPECT_GE(uhr.sekunden(), jetzt);
}

TEST_F(MacHostClockTest, MillisecondsAreThoseOfTheCalendar) {
  using std::chrono::milliseconds;
  const auto kalender = [] {
    return std::chrono::floor<milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const MacHostClock uhr;
  const auto vorher = kalender();
  const auto jetzt = uhr.unixMs();
  EXPECT_GE(jetzt, vorher - 1);  // a double has lost the last digits
  EXPECT_LE(jetzt, kalender() + 1);
}

// On a thread of our own, which has no pool: the base class looks for what went into none.
TEST_F(MacHostClockTest, ItNeedsNoPool) {
  const MacHostClock uhr;
  std::thread([&] {
    EXPECT_GT(uhr.unixMs(), 0);
    EXPECT_GT(uhr.sekunden(), 0);
  }).join();
}

}  // namespace
}  // namespace hallkorb
