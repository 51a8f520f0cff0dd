#include "platform/linux/LinuxHostClock.h"

#include <ctime>

namespace hallkorb {
namespace {

timespec lies(clockid_t uhr) {
  timespec zeit{};
  clock_gettime(uhr, &zeit);
  return zeit;
}

}  // namespace

double LinuxHostClock::sekunden() const {
  const timespec zeit = lies(CLOCK_MONOTONIC);
  return static_cast<double>(zeit.tv_sec) + static_cast<double>(zeit.tv_nsec) * 1e-9;
}

std::int64_t LinuxHostClock::unixMs() const {
  const timespec zeit = lies(CLOCK_REALTIME);
  return static_cast<std::int64_t>(zeit.tv_sec) * 1000 + zeit.tv_nsec / 1'000'000;
}

}  // namespace hallkorb
