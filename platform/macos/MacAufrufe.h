// Makes the objects that call into the system's frameworks, behind the interfaces *Aufrufe.
//
// The only header between the two halves of the backend. Everything behind it is Objective-C++ and
// compiled with automatic reference counting; nothing before it knows an Objective-C type.
#pragma once

#include <memory>

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

}  // namespace hallkorb
