#include <gtest/gtest.h>

#include <chrono>

#include "platform/linux/LinuxHostClock.h"

namespace hallkorb {
namespace {

TEST(LinuxHostClock, ReadsTheMonotonicClockThatStampsTheAudio) {
  const LinuxHostClock uhr;
  const auto lies = [] {
    timespec zeit{};
    clock_gettime(CLOCK_MONOTONIC, &zeit);
    return static_cast<double>(zeit.tv_sec) + static_cast<double>(zeit.tv_nsec) * 1e-9;
  };
  const double vorher = lies();
  const double gelesen = uhr.sekunden();
  EXPECT_GE(gelesen, vorher);
  EXPECT_LE(gelesen, lies());
}

TEST(LinuxHostClock, ReadsTheWallClockInWholeMilliseconds) {
  using namespace std::chrono;
  const auto lies = [] {
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  };
  const auto vorher = lies();
  const auto gelesen = LinuxHostClock().unixMs();
  EXPECT_GE(gelesen, vorher);
  EXPECT_LE(gelesen, lies());
}

}  // namespace
}  // namespace hallkorb
