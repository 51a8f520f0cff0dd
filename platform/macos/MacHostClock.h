// The host clock on macOS.
//
// The system's tick counter, by the audio framework's own conversion: the microphone's and the
// capture service's time stamps are on it. It stands still while the computer sleeps, as the audio
// does.
//
// Any thread.
#pragma once

#include <cstdint>

#include "platform/HostClock.h"

namespace hallkorb {

class MacHostClock final : public HostClock {
 public:
  [[nodiscard]] double sekunden() const override;
  [[nodiscard]] std::int64_t unixMs() const override;
};

}  // namespace hallkorb
