// The host clock: the one clock of all block times, of the recording's zero time and of the video.
//
// Both channels and the video belong together only if their times come from one clock that nobody
// sets. The wall clock jumps, so it serves only for what people read: when the recording began, and
// how long each source was on the picture.
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

// The wall clock's time in seconds since 1970. It goes on while the computer sleeps, and may be
// set.
[[nodiscard]] double unixSekunden();

}  // namespace hallkorb
