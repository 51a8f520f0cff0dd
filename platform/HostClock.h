// The host clock: the one clock of all block times, of the recording's zero time and of the video.
//
// Both channels and the video belong together only if their times come from one clock that no one
// sets: the wall clock jumps, so it serves for a single reading at the start, for the host.
//
// Any thread.
#pragma once

#include <cstdint>

namespace hallkorb {

class HostClock {
 public:
  virtual ~HostClock() = default;
  // Seconds on a monotonic clock; its zero has no meaning.
  [[nodiscard]] virtual double sekunden() const = 0;
  // Wall-clock milliseconds since 1970, fractions cut off.
  [[nodiscard]] virtual std::int64_t unixMs() const = 0;
};

// Makes `uhr` the clock of hostSekunden(). Called once before any capture starts; `uhr` must
// outlive all readers.
void setzeHostClock(const HostClock& uhr);

// The current host time in seconds.
[[nodiscard]] double hostSekunden();

}  // namespace hallkorb
