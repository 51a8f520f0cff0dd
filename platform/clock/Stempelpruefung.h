// Whether a block's time stamp can be true at all.
//
// A driver whose clock is broken stamps blocks minutes or hours away from now. Believed, such a
// stamp fills the channel with as much silence, and the way back drops as much sound. A block
// arrives within milliseconds of its capture; only a process that was halted gets older ones, and
// after more than two minutes it loses nothing if they are not believed. So what is not close to
// now is no time: the block then follows the one before it.
//
// Seconds on the clock of hostSekunden(). Any thread.
#pragma once

#include <optional>

namespace hallkorb {

constexpr double STEMPEL_VORAUS = 10.0;    // a stamp may be this much later than now
constexpr double STEMPEL_ZURUECK = 120.0;  // and this much earlier

[[nodiscard]] inline std::optional<double> glaubhafterStempel(std::optional<double> stempel,
                                                              double jetzt) {
  const bool gut =
      stempel && *stempel <= jetzt + STEMPEL_VORAUS && *stempel >= jetzt - STEMPEL_ZURUECK;
  return gut ? stempel : std::nullopt;
}

}  // namespace hallkorb
