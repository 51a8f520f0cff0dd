// The host clock on Linux.
//
// CLOCK_MONOTONIC, because the audio graph stamps its cycles with it: block times and the
// recording's zero time then need no conversion. It is slewed by NTP but never set, and stands
// still while the computer sleeps, as the audio does.
//
// Any thread.
#pragma once

#include <cstdint>

#include "platform/HostClock.h"

namespace hallkorb {

class LinuxHostClock final : public HostClock {
 public:
  [[nodiscard]] double sekunden() const override;
  [[nodiscard]] std::int64_t unixMs() const override;
};

}  // namespace hallkorb
