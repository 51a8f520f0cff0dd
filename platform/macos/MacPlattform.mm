#include "platform/macos/MacPlattform.h"

#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>

#include <cerrno>
#include <chrono>

#include "base/Fremdprogramm.h"
#include "platform/Befristet.h"
#include "platform/macos/audio/MacInput.h"
#include "platform/macos/audio/MikrofonGeraet.h"
#include "platform/macos/audio/SystemTonGeraet.h"
#include "platform/macos/MacAufrufe.h"
#include "platform/macos/screen/MacScreenCapture.h"
#include "platform/macos/video/AssetSchreiber.h"

#if !__has_feature(objc_arc)
#error "compile with -fobjc-arc: without it every object here leaks"
#endif

namespace hallkorb {
namespace {

constexpr double NAMEN_FRIST = 3.0;  // seconds

}  // namespace

// The system suspends a process without windows that seems idle, and lets the computer sleep; both
// would tear holes in the recording.
class MacPlattform::Wachhaltung {
 public:
  // On the main thread, which has no pool before its run loop begins.
  Wachhaltung() {
    @autoreleasepool {
      aktivitaet_ =
          [[NSProcessInfo processInfo] beginActivityWithOptions:NSActivityUserInitiated
                                                         reason:@"Aufnahme einer Besprechung"];
    }
  }
  ~Wachhaltung() {
    @autoreleasepool {
      [[NSProcessInfo processInfo] endActivity:aktivitaet_];
    }
  }
  Wachhaltung(const Wachhaltung&) = delete;
  Wachhaltung& operator=(const Wachhaltung&) = delete;

 private:
  id<NSObject> aktivitaet_ = nil;
};

MacPlattform::MacPlattform() : sck_(screenCaptureKit()) {
  // Connects the process with the window server. Without that the filter of a single window, made
  // later on another thread, ends the process with an assertion.
  CGMainDisplayID();
}

MacPlattform::~MacPlattform() = default;

std::unique_ptr<AudioInput> MacPlattform::mikrofon() {
  if (wach_ == nullptr) wach_ = std::make_unique<Wachhaltung>();
  MacInput::Zeiten zeiten;
  // The engine delivers silence, but it delivers, ten times a second at most. Not every change of
  // the device is announced.
  zeiten.stille = std::chrono::seconds(5);
  return std::make_unique<MacInput>("mikrofon", std::make_unique<MikrofonGeraet>(avEngine()),
                                    zeiten);
}

std::unique_ptr<AudioInput> MacPlattform::systemAudio() {
  if (wach_ == nullptr) wach_ = std::make_unique<Wachhaltung>();
  return std::make_unique<MacInput>("system-audio", std::make_unique<SystemTonGeraet>(sck_),
                                    MacInput::Zeiten{});
}

std::unique_ptr<AudioConverter> MacPlattform::konverter(const PcmFormat& quellformat, double rate) {
  auto aufrufe = avAudioConverter(quellformat.rate, rate);
  if (aufrufe == nullptr) return nullptr;
  return std::make_unique<AvKonverter>(quellformat, std::move(aufrufe));
}

std::unique_ptr<ScreenCapture> MacPlattform::screenCapture() {
  return std::make_unique<MacScreenCapture>(sck_);
}

std::unique_ptr<VideoWriter> MacPlattform::videoWriter(const std::string& pfad,
                                                       const VideoEinstellungen& einstellungen,
                                                       Fehler& fehler) {
  return AssetSchreiber::neu(avAssetWriter(), pfad, einstellungen, fehler);
}

// The captures follow the default devices without ever learning their names. The question for those
// waits for as long as the audio service hangs.
std::variant<Geraetenamen, Fehler> MacPlattform::geraetenamen() {
  const auto namen = std::make_shared<Geraetenamen>();
  const bool geantwortet = laufeBefristet(executor_, NAMEN_FRIST, [namen] {
    namen->mikrofon = standardgeraet(Richtung::aufnahme);
    namen->lautsprecher = standardgeraet(Richtung::wiedergabe);
  });
  if (!geantwortet) return Fehler{"posix", ETIMEDOUT, "der Audiodienst antwortet nicht"};
  return *namen;
}

std::vector<Genehmigung> MacPlattform::genehmigungen() {
  using Stand = Genehmigung::Stand;
  const auto mikrofon = [] {
    switch (avEngine()->erlaubnis()) {
      case Erlaubnis::erteilt:
        return Stand::erteilt;
      case Erlaubnis::nichtGefragt:
        return Stand::ungefragt;
      case Erlaubnis::eingeschraenkt:
        return Stand::gesperrt;
      case Erlaubnis::verweigert:
        break;
    }
    return Stand::fehlt;  // also for what a later system may add
  };
  // Does not ask the user.
  const Stand bildschirm = CGPreflightScreenCaptureAccess() ? Stand::erteilt : Stand::fehlt;
  return {{"Mikrofon", mikrofon(), Mangel::mikrofon},
          {"Bildschirm und Systemton", bildschirm, Mangel::bildschirm}};
}

Ergebnis MacPlattform::spieleVor(const std::string& wav) {
  const Programmende ende = fuehreProgrammAus({"/usr/bin/afplay", wav});
  if (ende.fehlt()) return Fehler::eigener(Fehlercode::programmFehlt, "das Programm afplay fehlt");
  if (!ende.gelungen())
    return Fehler::eigener(Fehlercode::programmGescheitert, "afplay ist gescheitert");
  return {};
}

std::string MacPlattform::abhilfe(Mangel mangel) const {
  switch (mangel) {
    case Mangel::tondienst:
      return "den Rechner neu starten";
    case Mangel::mikrofon:
    case Mangel::stummesMikrofon:
      return "in den Systemeinstellungen unter Datenschutz & Sicherheit > Mikrofon das Programm "
             "erlauben, das hallkorb startet (auch das Terminal), und unter Ton > Eingabe ein "
             "Mikrofon waehlen";
    case Mangel::systemAudio:
    case Mangel::bildschirm:
      return "in den Systemeinstellungen unter Datenschutz & Sicherheit > Bildschirm- & "
             "Systemaudioaufnahme (bis macOS 14: Bildschirmaufnahme) das Programm erlauben, das "
             "hallkorb startet (auch das Terminal), und es neu starten";
    case Mangel::vorrang:
      return "andere Programme beenden, die den Rechner auslasten";
    case Mangel::encoder:
      break;
  }
  return "das System auf den neuesten Stand bringen";
}

}  // namespace hallkorb
