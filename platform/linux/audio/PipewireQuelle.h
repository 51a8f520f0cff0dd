// The two things that are recorded, as the audio graph sees them.
#pragma once

#include <string_view>

namespace hallkorb {

enum class PipewireQuelle { MIKROFON, SYSTEM_AUDIO };

// The metadata key under which the session manager keeps the default device.
constexpr const char* standardSchluessel(PipewireQuelle quelle) {
  return quelle == PipewireQuelle::MIKROFON ? "default.audio.source" : "default.audio.sink";
}

// Whether a device of this media class can be recorded as `quelle`.
constexpr bool geeignet(PipewireQuelle quelle, std::string_view mediaClass) {
  const std::string_view anfang =
      quelle == PipewireQuelle::MIKROFON ? "Audio/Source" : "Audio/Sink";
  return mediaClass.starts_with(anfang) || mediaClass == "Audio/Duplex";
}

}  // namespace hallkorb
