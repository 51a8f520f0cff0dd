// The echo of the speakers in the microphone, measured by correlation.
//
// A noise is played; the recording of what the computer played is compared with the recording of
// the microphone at each delay that a room and its devices can have. Noise looks like itself at one
// delay only, so the largest correlation is the direct way from the speakers to the microphone, and
// its size against what chance gives says whether there is one at all.
//
// Both recordings begin at the same moment and have the same rate. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace hallkorb {

struct Echobefund {
  double verzoegerungMs = 0.0;
  double pegelDb = 0.0;  // of the direct way, against what was played
};

// nullopt if no echo stands out from chance.
[[nodiscard]] std::optional<Echobefund> misseEcho(std::span<const float> gespielt,
                                                  std::span<const float> mikrofon, double rate);

// The test sound: one second of faded noise at -32 dBFS, the same each time.
[[nodiscard]] std::vector<float> pruefton(double rate);

}  // namespace hallkorb
