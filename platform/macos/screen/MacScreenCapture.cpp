#include "platform/macos/screen/MacScreenCapture.h"

#include <chrono>
#include <utility>

#include "platform/macos/screen/InhaltAbfrage.h"

namespace hallkorb {

MacScreenCapture::MacScreenCapture(std::shared_ptr<SckAufrufe> dienst)
    : dienst_(std::move(dienst)) {}

Ergebnis MacScreenCapture::inventar(ScreenContent& content) {
  std::shared_ptr<const Inhalt> inhalt;
  const auto frist = Wartestelle::Uhr::now() + std::chrono::seconds(3);
  if (Ergebnis ergebnis =
          frageInhalt(*dienst_, true, inhalt, std::make_shared<Wartestelle>(), frist);
      ergebnis.gescheitert()) {
    return ergebnis;
  }
  content = inhalt->fenster();
  letzter_->merke(std::move(inhalt));
  return {};
}

std::unique_ptr<WindowStream> MacScreenCapture::stream(const StreamKonfiguration& konfiguration) {
  return std::make_unique<FensterStrom>(*dienst_, letzter_, konfiguration);
}

}  // namespace hallkorb
