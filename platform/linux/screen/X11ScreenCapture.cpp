#include "platform/linux/screen/X11ScreenCapture.h"

#include <chrono>
#include <utility>

#include "platform/linux/screen/FensterInventar.h"
#include "platform/linux/screen/X11Fensterstrom.h"
#include "platform/linux/screen/X11Verbindung.h"

namespace hallkorb {
namespace {

constexpr std::chrono::milliseconds FRIST{2800};

}  // namespace

X11ScreenCapture::X11ScreenCapture(std::string display, Weg weg)
    : display_(std::move(display)), weg_(weg) {}

Ergebnis X11ScreenCapture::inventar(ScreenContent& content) {
  if (Ergebnis ergebnis = waechter_.bereit(); ergebnis.gescheitert()) return ergebnis;
  X11Verbindung verbindung(display_);
  const X11Frist frist(waechter_, verbindung, FRIST);
  if (Ergebnis ergebnis = verbindung.oeffne(); ergebnis.gescheitert()) return ergebnis;
  return liesFenster(verbindung, content);
}

std::unique_ptr<WindowStream> X11ScreenCapture::stream(const StreamKonfiguration& konfiguration) {
  return std::make_unique<X11Fensterstrom>(display_, konfiguration, weg_ == Weg::SEGMENT);
}

}  // namespace hallkorb
