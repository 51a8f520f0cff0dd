#include "platform/linux/LinuxPlattform.h"

#include <cstdlib>

#include "platform/linux/audio/PipewireInput.h"
#include "platform/linux/audio/SwrKonverter.h"
#include "platform/linux/screen/X11ScreenCapture.h"
#include "platform/linux/video/H264Schreiber.h"

namespace hallkorb {

LinuxPlattform::LinuxPlattform() {
  // PipeWire's library logs to standard error as its version and the user's configuration have it,
  // but each line there is to be ours. This wins over both; who looks for a fault of the library
  // has set it already. Here, because no other thread may read the environment meanwhile.
  ::setenv("PIPEWIRE_DEBUG", "0", 0);
}

std::unique_ptr<AudioInput> LinuxPlattform::mikrofon() {
  return std::make_unique<PipewireInput>(PipewireQuelle::MIKROFON);
}

std::unique_ptr<AudioInput> LinuxPlattform::systemAudio() {
  return std::make_unique<PipewireInput>(PipewireQuelle::SYSTEM_AUDIO);
}

std::unique_ptr<AudioConverter> LinuxPlattform::konverter(const PcmFormat& eingang, double rate) {
  return SwrKonverter::neu(eingang, rate);
}

std::unique_ptr<ScreenCapture> LinuxPlattform::screenCapture() {
  return std::make_unique<X11ScreenCapture>();
}

std::unique_ptr<VideoWriter> LinuxPlattform::videoWriter(const std::string& pfad,
                                                         const VideoEinstellungen& einstellungen,
                                                         Fehler& fehler) {
  if (auto grund = H264Schreiber::moeglich(einstellungen)) {
    fehler = *grund;
    return nullptr;
  }
  return std::make_unique<H264Schreiber>(pfad, einstellungen);
}

}  // namespace hallkorb
