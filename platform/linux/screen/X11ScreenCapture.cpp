#include "platform/linux/screen/X11ScreenCapture.h"

#include <utility>

#include "platform/linux/screen/FensterInventar.h"
#include "platform/linux/screen/X11Fensterstrom.h"
#include "platform/linux/screen/X11Verbindung.h"

namespace hallkorb {

X11ScreenCapture::X11ScreenCapture(std::string display, Weg weg, std::chrono::milliseconds frist,
                                   const AnstrichFristen& fristen)
    : display_(std::move(display)), weg_(weg), frist_(frist), fristen_(fristen) {}

Ergebnis X11ScreenCapture::inventar(ScreenContent& content) {
  if (Ergebnis ergebnis = waechter_.bereit(); ergebnis.gescheitert()) return ergebnis;
  X11Verbindung verbindung(display_, frist_);
  const X11Frist frist(waechter_, verbindung, frist_);
  if (Ergebnis ergebnis = verbindung.oeffne(); ergebnis.gescheitert()) return ergebnis;
  return liesFenster(verbindung, content);
}

std::unique_ptr<WindowStream> X11ScreenCapture::stream(const StreamKonfiguration& konfiguration) {
  return std::make_unique<X11Fensterstrom>(display_, konfiguration, weg_ == Weg::SEGMENT,
                                           X11Fensterstrom::Frist{frist_}, fristen_);
}

}  // namespace hallkorb
