// Makes the objects that call into the system's frameworks, behind the interfaces *Aufrufe.
//
// The only header between the two halves of the backend. Everything behind it is Objective-C++ and
// compiled with automatic reference counting; nothing before it knows an Objective-C type.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/macos/audio/AvKonverter.h"
#include "platform/macos/audio/EngineAufrufe.h"
#include "platform/macos/screen/SckAufrufe.h"
#include "platform/macos/video/SchreiberAufrufe.h"

namespace hallkorb {

// AVAudioEngine and the microphone's permission.
[[nodiscard]] std::unique_ptr<EngineAufrufe> avEngine();
// ScreenCaptureKit.
[[nodiscard]] std::shared_ptr<SckAufrufe> screenCaptureKit();
// AVAssetWriter.
[[nodiscard]] std::unique_ptr<SchreiberAufrufe> avAssetWriter();
// AVAudioConverter, from mono at `von` to mono at `nach` Hz; null if the system has none.
[[nodiscard]] std::unique_ptr<KonverterAufrufe> avAudioConverter(double von, double nach);

// The name of the device that the system records from, or plays on, by default; nullopt if there is
// none, or if it has no name. Waits for the audio service.
enum class Richtung { aufnahme, wiedergabe };
[[nodiscard]] std::optional<std::string> standardgeraet(Richtung richtung);

}  // namespace hallkorb
