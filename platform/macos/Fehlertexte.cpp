#include "platform/macos/Fehlertexte.h"

#include <array>
#include <utility>

namespace hallkorb {
namespace {

// Numbers of SCStreamErrorCode.
constexpr std::int64_t USER_DECLINED = -3801;
constexpr std::int64_t MISSING_ENTITLEMENTS = -3803;
constexpr std::int64_t USER_STOPPED = -3817;
constexpr std::int64_t SYSTEM_STOPPED_STREAM = -3821;

struct Text {
  std::int64_t code;
  const char* text;
};

// The pane was renamed in macOS 15.
constexpr std::array SCREEN_CAPTURE_TEXTE{
    Text{USER_DECLINED,
         "Aufnahme von Bildschirm und Systemton nicht erlaubt; in den Systemeinstellungen unter "
         "Datenschutz & Sicherheit > Bildschirm- & Systemaudioaufnahme (bis macOS 14: "
         "Bildschirmaufnahme) die App einschalten, die die Aufnahme startet, und sie dann neu "
         "starten"},
    Text{MISSING_ENTITLEMENTS,
         "die App, die die Aufnahme startet, ist nicht fuer Bildschirmaufnahmen signiert"},
    Text{USER_STOPPED, "die Aufnahme wurde in der Menueleiste beendet"},
    Text{SYSTEM_STOPPED_STREAM, "macOS hat die Aufnahme beendet"},
};

}  // namespace

Fehler mikrofonNichtErlaubt(Erlaubnis erlaubnis) {
  const auto fehler = [&](const char* text) {
    return Fehler{MIKROFON_DOMAIN, static_cast<std::int64_t>(erlaubnis), text};
  };
  switch (erlaubnis) {
    case Erlaubnis::nichtGefragt:
      return fehler(
          "die Frage von macOS nach dem Mikrofon ist noch nicht beantwortet; bitte erlauben "
          "(spaeter "
          "in den Systemeinstellungen unter Datenschutz & Sicherheit > Mikrofon) und die Aufnahme "
          "neu beginnen");
    case Erlaubnis::eingeschraenkt:
      return fehler(
          "das Mikrofon ist auf diesem Mac durch Bildschirmzeit oder ein Verwaltungsprofil "
          "gesperrt");
    default:
      return fehler(
          "Zugriff auf das Mikrofon verweigert; in den Systemeinstellungen unter Datenschutz & "
          "Sicherheit > Mikrofon die App einschalten, die die Aufnahme startet");
  }
}

Fehler keinDisplay() {
  return Fehler::eigener(Fehlercode::keinDisplay, "kein Display gefunden");
}

Fehler fensterVerschwunden() {
  return Fehler::eigener(Fehlercode::fensterWeg, "Fenster verschwunden");
}

Fehler erklaert(Fehler fehler) {
  if (fehler.domain != SCREEN_CAPTURE_DOMAIN) return fehler;
  for (const Text& text : SCREEN_CAPTURE_TEXTE) {
    if (text.code == fehler.code) fehler.description = text.text;
  }
  return fehler;
}

bool istEntscheidungDesNutzers(const Fehler& fehler) {
  if (fehler.domain == MIKROFON_DOMAIN) return true;
  return fehler.domain == SCREEN_CAPTURE_DOMAIN &&
         (fehler.code == USER_DECLINED || fehler.code == USER_STOPPED);
}

}  // namespace hallkorb
