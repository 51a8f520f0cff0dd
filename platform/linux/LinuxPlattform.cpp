#include "platform/linux/LinuxPlattform.h"

#include "platform/linux/PipewireInput.h"
#include "platform/linux/SwrKonverter.h"

namespace hallkorb {

std::unique_ptr<AudioInput> LinuxPlattform::mikrofon() {
  return std::make_unique<PipewireInput>(PipewireQuelle::MIKROFON);
}

std::unique_ptr<AudioInput> LinuxPlattform::systemAudio() {
  return std::make_unique<PipewireInput>(PipewireQuelle::SYSTEM_AUDIO);
}

std::unique_ptr<AudioConverter> LinuxPlattform::konverter(const PcmFormat& eingang, double rate) {
  return SwrKonverter::neu(eingang, rate);
}

}  // namespace hallkorb
