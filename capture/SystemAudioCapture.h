// The channel of the far end: what the computer plays, on the timeline "them".
//
// Until a receiver is set, samples are dropped.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "capture/AudioCapture.h"

namespace hallkorb {

class SystemAudioCapture final : public AudioCapture {
 public:
  SystemAudioCapture(double rate, Zeitachse& zeit, std::unique_ptr<AudioInput> input,
                     AudioConverterFactory& konverter)
      : AudioCapture(
            {"System-Audio", "SCStream gestoppt"}, rate, zeit, [](const std::vector<float>&) {},
            std::move(input), konverter) {}
};

}  // namespace hallkorb
