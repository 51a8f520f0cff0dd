#include "platform/macos/Objekte.h"

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include "base/Speichermangel.h"
#include "platform/macos/Fehlertexte.h"

namespace hallkorb {
namespace {

Fehler uebersetzt(NSError* _Nullable error) {
  if (error == nil)
    return Fehler::eigener(Fehlercode::ohneBeschreibung, "Fehler ohne Beschreibung");
  const bool screenCapture = [error.domain isEqualToString:SCStreamErrorDomain];
  return {screenCapture ? SCREEN_CAPTURE_DOMAIN : text(error.domain), error.code,
          text(error.localizedDescription)};
}

}  // namespace

std::string text(NSString* _Nullable text) {
  @autoreleasepool {
    const char* zeichen = text.UTF8String;
    return zeichen != nullptr ? std::string(zeichen) : std::string();
  }
}

Fehler fehlerAus(NSError* _Nullable error) {
  Fehler fehler = keinSpeicher();
  static_cast<void>(fangeMangel([&] { fehler = uebersetzt(error); }));
  return fehler;
}

Ergebnis ergebnisAus(NSError* _Nullable error) {
  if (error == nil) return {};
  return fehlerAus(error);
}

}  // namespace hallkorb
