// Cuts a mono WAV file of 16 kHz at its pauses, as a recording cuts a channel; lines on standard
// output.
//
//   testchunker CHANNEL MAX-SECONDS FOLDER WAV
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "audiofiles/ChannelChunker.h"
#include "audiofiles/Wav.h"

int main(int argc, char** argv) {
  const auto samples = argc == 5 ? hallkorb::liesWav(argv[4]) : std::nullopt;
  if (!samples) {
    std::fputs("usage: testchunker CHANNEL MAX-SECONDS FOLDER WAV\n", stderr);
    return 2;
  }
  hallkorb::ChannelChunker chunker({.channel = argv[1],
                                    .outDir = argv[3],
                                    .rate = 16000,
                                    .chunkSeconds = 25,
                                    .turnMode = true,
                                    .minSeconds = 1.2,
                                    .maxSeconds = std::strtod(argv[2], nullptr),
                                    .silenceSeconds = 0.6,
                                    .silenceRms = 0.006F});
  // In blocks of 20 ms: of what comes at once, the greatest length is looked at before the pauses.
  constexpr std::size_t BLOCK = 320;
  const std::span<const float> alle(*samples);
  for (std::size_t von = 0; von < alle.size(); von += BLOCK)
    chunker.append(alle.subspan(von, std::min(BLOCK, alle.size() - von)));
  chunker.finalizeRemainder();
  return 0;
}
