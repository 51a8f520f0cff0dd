// The microphone channel: the default input device, on the timeline "me".
#pragma once

#include <memory>
#include <utility>

#include "capture/AudioCapture.h"

namespace hallkorb {

class MicCapture final : public AudioCapture {
 public:
  MicCapture(double rate, Zeitachse& zeit, Weiter empfaenger, std::unique_ptr<AudioInput> input,
             AudioConverterFactory& konverter)
      : AudioCapture({"Mikrofon", "Mikrofon unterbrochen"}, rate, zeit, std::move(empfaenger),
                     std::move(input), konverter) {}
};

}  // namespace hallkorb
