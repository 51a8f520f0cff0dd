// The timeline's self-test: four synthetic recordings through resampler and timeline.
//
// It shows on the user's own machine, with the platform's own resampler, that gaps are filled,
// overlaps dropped, clock drift absorbed and the signal delivered in step. Its figures say whether
// two channels still belong together after an hour.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "platform/AudioConverter.h"

namespace hallkorb {

struct Testfall {
  std::string name;
  std::int64_t frames = 0;             // per input block
  std::uint32_t kanaele = 1;           // channels of the input, all carrying the same tone
  std::int64_t puffer = 0;             // input blocks
  std::set<std::int64_t> auslassen{};  // indices of blocks that are lost
  double drift = 0.0;                  // relative error of the input's clock
};

// Runs one case and returns its JSON line. Stops the process if the chain delivers fewer than 5600
// samples.
[[nodiscard]] std::string fall(const Testfall& testfall, AudioConverterFactory& konverter);

// Prints the lines of the four cases to standard output. Returns the process's exit status: 2 if
// they could not be written.
[[nodiscard]] int zeitachseTest(AudioConverterFactory& konverter);

}  // namespace hallkorb
