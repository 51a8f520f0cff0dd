#import <CoreAudio/CoreAudio.h>
#import <Foundation/Foundation.h>

#include "platform/macos/MacAufrufe.h"
#include "platform/macos/Objekte.h"

namespace hallkorb {
namespace {

// A property of an object of the audio service; zero if it has none.
template <class Wert>
Wert lies(AudioObjectID objekt, AudioObjectPropertySelector eigenschaft) {
  const AudioObjectPropertyAddress adresse{eigenschaft, kAudioObjectPropertyScopeGlobal,
                                           kAudioObjectPropertyElementMain};
  Wert wert{};
  UInt32 bytes = sizeof(Wert);  // NOLINT(bugprone-sizeof-expression): Wert may be a pointer
  auto* ziel = static_cast<void*>(&wert);
  if (AudioObjectGetPropertyData(objekt, &adresse, 0, nullptr, &bytes, ziel) != noErr) return {};
  return wert;
}

}  // namespace

std::optional<std::string> standardgeraet(Richtung richtung) {
  @autoreleasepool {
    const auto geraet = lies<AudioObjectID>(kAudioObjectSystemObject,
                                            richtung == Richtung::aufnahme
                                                ? kAudioHardwarePropertyDefaultInputDevice
                                                : kAudioHardwarePropertyDefaultOutputDevice);
    if (geraet == kAudioObjectUnknown) return std::nullopt;
    // The caller owns it.
    std::string name =
        text((__bridge_transfer NSString*)lies<CFStringRef>(geraet, kAudioObjectPropertyName));
    if (name.empty()) return std::nullopt;
    return name;
  }
}

}  // namespace hallkorb
