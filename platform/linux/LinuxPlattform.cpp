#include "platform/linux/LinuxPlattform.h"

#include <cstdlib>

#include "platform/linux/audio/PipewireInput.h"
#include "platform/linux/audio/SwrKonverter.h"
#include "platform/linux/screen/X11ScreenCapture.h"
#include "platform/linux/video/H264Schreiber.h"

namespace hallkorb {

LinuxPlattform::LinuxPlattform() {
  // PipeWire's library logs to standard error, whose lines must all be ours. So its log is off
  // unless the user asks for it in the environment. Both level and file are set, since from 1.4 on
  // a level in the user's configuration overrides the environment's. It is done here because no
  // other thread may read the environment meanwhile.
  if (std::getenv("PIPEWIRE_DEBUG") != nullptr) return;
  ::setenv("PIPEWIRE_DEBUG", "0", 0);
  ::setenv("PIPEWIRE_LOG", "/dev/null", 0);
}

std::unique_ptr<AudioInput> LinuxPlattform::mikrofon() {
  return std::make_unique<PipewireInput>(PipewireQuelle::MIKROFON);
}

std::unique_ptr<AudioInput> LinuxPlattform::systemAudio() {
  return std::make_unique<PipewireInput>(PipewireQuelle::SYSTEM_AUDIO);
}

std::unique_ptr<AudioConverter> LinuxPlattform::konverter(const PcmFormat& quellformat,
                                                          double rate) {
  return SwrKonverter::neu(quellformat, rate);
}

std::unique_ptr<ScreenCapture> LinuxPlattform::screenCapture() {
  return std::make_unique<X11ScreenCapture>();
}

std::unique_ptr<VideoWriter> LinuxPlattform::videoWriter(const std::string& pfad,
                                                         const VideoEinstellungen& einstellungen,
                                                         Fehler& fehler) {
  if (Ergebnis ergebnis = H264Schreiber::moeglich(einstellungen); ergebnis.gescheitert()) {
    fehler = ergebnis.fehler();
    return nullptr;
  }
  return std::make_unique<H264Schreiber>(pfad, einstellungen);
}

}  // namespace hallkorb
