// The settings of the two kinds of capture streams, as data.
//
// What is absent keeps the system's default.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/ScreenCapture.h"

namespace hallkorb {

// The numbers of SCStreamOutputType.
enum class StromAusgang : std::int64_t { bild = 0, ton = 1 };

// The properties of SCStreamConfiguration, in the order in which they are set.
struct StromEinstellungen {
  // A fraction of a second, as CMTime has it.
  struct Abstand {
    std::int64_t zaehler = 0;
    std::int32_t nenner = 1;
    friend bool operator==(const Abstand&, const Abstand&) = default;
  };

  bool capturesAudio = false;
  std::optional<bool> excludesCurrentProcessAudio;
  std::optional<std::int64_t> sampleRate;  // Hz
  std::optional<std::int64_t> channelCount;
  std::size_t width = 0;  // pixels
  std::size_t height = 0;
  Abstand minimumFrameInterval;
  std::optional<std::uint32_t> pixelFormat;  // a four-character code
  std::optional<bool> showsCursor;
  std::optional<std::int64_t> queueDepth;
  std::optional<bool> scalesToFit;
  std::optional<bool>
      preservesAspectRatio;  // from macOS 14 on; before, the system has no such setting
};

// The sound of the whole computer but our own, at 48 kHz in stereo. A stream always has a picture:
// the smallest and slowest there is, so that the service spends next to nothing on it.
[[nodiscard]] StromEinstellungen tonEinstellungen();

// The picture of one window.
[[nodiscard]] StromEinstellungen fensterEinstellungen(const StreamKonfiguration& konfiguration);

}  // namespace hallkorb
