// The road of one captured block, the same for both channels: resampled, placed on the channel's
// timeline, handed on.
//
// Used by one capture's thread; no lock.
#pragma once

#include <functional>
#include <vector>

#include "capture/MonoResampler.h"
#include "capture/Zeitachse.h"
#include "platform/AudioConverter.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

// Receives the samples of one block, mono at the recording's rate, already on the timeline; called
// once for each block, on the capture's thread, also when nothing is left of the block.
using Weiter = std::function<void(std::vector<float> samples)>;

class BlockWeg {
 public:
  // `zeit` is the channel's timeline; it and `konverter` must outlive this object.
  BlockWeg(double rate, Zeitachse& zeit, Weiter weiter, AudioConverterFactory& konverter);

  // A block that cannot be converted ends here: its hole is filled when the next one comes.
  void nimm(const PcmBlock& block);

 private:
  MonoResampler resampler_;
  Zeitachse* zeit_;
  Weiter weiter_;
};

}  // namespace hallkorb
