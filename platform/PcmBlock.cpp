#include "platform/PcmBlock.h"

namespace hallkorb {

std::span<const float> PcmBlock::ersterKanal(std::vector<float>& platz) const {
  if (format.channels == 0) return {};
  if (format.channels == 1 || !format.interleaved) return samples.first(frames);
  platz.resize(frames);
  for (std::size_t i = 0; i < frames; ++i)
    platz[i] = samples[i * format.channels];
  return platz;
}

}  // namespace hallkorb
