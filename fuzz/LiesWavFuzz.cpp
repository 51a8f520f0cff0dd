// Arbitrary bytes as a WAV file: no access beyond their end, never more samples than they can hold.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "audiofiles/Wav.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  const auto samples = hallkorb::dekodiereWav(std::span(bytes, anzahl));
  if (!samples) return 0;
  if (anzahl < 45 || samples->size() > (anzahl - 20) / 2) std::abort();
  for (const float x : *samples) {
    if (!(x >= -1.0F && x < 1.0F)) std::abort();
  }
  return 0;
}
