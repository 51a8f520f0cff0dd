// Stand-in for the audio service's object properties: the default devices and their names.
#import <CoreAudio/CoreAudio.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <utility>

#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/System.h"

namespace {

using hallkorb::ersatz::textAus;

constexpr OSStatus UNBEKANNT = 'who?';
constexpr AudioObjectID EINGANG = 41;
constexpr AudioObjectID AUSGANG = 42;

struct Stand {
  std::mutex lock;
  std::condition_variable geaendert;
  long antworten = 0;
  std::optional<std::string> eingang = "MacBook Pro-Mikrofon";
  std::optional<std::string> ausgang = "MacBook Pro-Lautsprecher";
  OSStatus geraetefehler = noErr;
  OSStatus namensfehler = noErr;
  bool stumm = false;
};
Stand& stand() {
  static auto& einer = *new Stand;
  return einer;
}

template <class Wert>
OSStatus gib(Wert wert, UInt32* bytes, void* ziel) {
  if (*bytes < sizeof wert) return UNBEKANNT;
  std::memcpy(ziel, &wert, sizeof wert);
  *bytes = sizeof wert;
  return noErr;
}

}  // namespace

OSStatus AudioObjectGetPropertyData(AudioObjectID objekt, const AudioObjectPropertyAddress* adresse,
                                    UInt32, const void*, UInt32* bytes, void* ziel) {
  @autoreleasepool {
    std::unique_lock halter(stand().lock);
    stand().geaendert.wait(halter, [] { return !stand().stumm; });
    ++stand().antworten;
    stand().geaendert.notify_all();
    const AudioObjectPropertySelector was = adresse->mSelector;
    if (adresse->mScope != kAudioObjectPropertyScopeGlobal) return UNBEKANNT;
    if (objekt == kAudioObjectSystemObject && stand().geraetefehler != noErr)
      return stand().geraetefehler;
    if (objekt == kAudioObjectSystemObject && was == kAudioHardwarePropertyDefaultInputDevice)
      return gib(stand().eingang ? EINGANG : AudioObjectID{kAudioObjectUnknown}, bytes, ziel);
    if (objekt == kAudioObjectSystemObject && was == kAudioHardwarePropertyDefaultOutputDevice)
      return gib(stand().ausgang ? AUSGANG : AudioObjectID{kAudioObjectUnknown}, bytes, ziel);
    const auto& name = objekt == EINGANG ? stand().eingang : stand().ausgang;
    if (stand().namensfehler != noErr) return stand().namensfehler;
    if (was != kAudioObjectPropertyName || !name) return UNBEKANNT;
    // Retained for the caller.
    return gib((__bridge_retained CFStringRef)textAus(*name), bytes, ziel);
  }
}

namespace hallkorb::ersatz {

void geraetenamen(std::optional<std::string> eingang, std::optional<std::string> ausgang) {
  const std::lock_guard halter(stand().lock);
  stand().eingang = std::move(eingang);
  stand().ausgang = std::move(ausgang);
}

void tondienstFehler(std::int32_t geraet, std::int32_t name) {
  const std::lock_guard halter(stand().lock);
  stand().geraetefehler = geraet;
  stand().namensfehler = name;
}

void stummerTondienst(bool ja) {
  const std::lock_guard halter(stand().lock);
  stand().stumm = ja;
  stand().geaendert.notify_all();
}

void warteAufTondienst(long antworten) {
  std::unique_lock halter(stand().lock);
  stand().geaendert.wait(halter, [&] { return stand().antworten >= antworten; });
}

void setzeTondienstZurueck() {
  geraetenamen("MacBook Pro-Mikrofon", "MacBook Pro-Lautsprecher");
  tondienstFehler(noErr, noErr);
  stummerTondienst(false);
  const std::lock_guard halter(stand().lock);
  stand().antworten = 0;
}

}  // namespace hallkorb::ersatz
