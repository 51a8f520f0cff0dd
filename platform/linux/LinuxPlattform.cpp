#include "platform/linux/LinuxPlattform.h"

#include <cstdlib>

#include "base/Fremdprogramm.h"
#include "platform/linux/audio/PipewireGeraete.h"
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

std::variant<Geraetenamen, Fehler> LinuxPlattform::geraetenamen() {
  return pipewireGeraete();
}

Ergebnis LinuxPlattform::spieleVor(const std::string& wav) {
  const Programmende ende = fuehreProgrammAus({"pw-play", wav});
  if (ende.fehlt())
    return Fehler::eigener(Fehlercode::programmFehlt, "das Programm pw-play von PipeWire fehlt");
  if (!ende.gelungen())
    return Fehler::eigener(Fehlercode::programmGescheitert, "pw-play ist gescheitert");
  return {};
}

std::string LinuxPlattform::abhilfe(Mangel mangel) const {
  switch (mangel) {
    case Mangel::tondienst:
      return "PipeWire und WirePlumber einrichten und starten: systemctl --user start pipewire "
             "wireplumber";
    case Mangel::mikrofon:
      return "ein Mikrofon anschliessen und in den Klangeinstellungen als Standard waehlen";
    case Mangel::stummesMikrofon:
      return "das Mikrofon einschalten: in den Klangeinstellungen, am Geraet, oder mit wpctl "
             "set-mute @DEFAULT_AUDIO_SOURCE@ 0";
    case Mangel::systemAudio:
      return "in den Klangeinstellungen ein Ausgabegeraet als Standard waehlen";
    case Mangel::vorrang:
      return "rtkit einrichten, oder dem Benutzer in /etc/security/limits.d rtprio erlauben";
    case Mangel::bildschirm:
      return "in einer Sitzung mit X11 oder XWayland starten, in der DISPLAY gesetzt ist";
    case Mangel::encoder:
      return "libavcodec und libavformat mit einem Encoder fuer H.264 einrichten";
  }
  return {};
}

}  // namespace hallkorb
