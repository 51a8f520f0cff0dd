// The program ffmpeg, for what needs its knowledge of video files
// (docs/decisions/ffmpeg-program.md).
//
// It is given one known format and local files only: a file that pretends to be a playlist must not
// make it read others, or the network. Its result appears under its name only when it is complete.
// One thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/Dateien.h"

namespace hallkorb {

enum class FfmpegEnde { gelungen, gescheitert, fehlt };

// How far a run is.
struct FfmpegStand {
  double sekunden = 0.0;    // of the result
  std::int64_t bilder = 0;  // in it
};

// The first `bytes` bytes of an MP4 as an input of ffmpeg.
[[nodiscard]] std::vector<std::string> ffmpegVideo(const std::string& pfad, std::int64_t bytes);
// Any other file as an input, in a given format.
[[nodiscard]] std::vector<std::string> ffmpegEingang(const std::string& format,
                                                     const std::string& pfad);

// Runs ffmpeg with these arguments, inputs and options, to make the MP4 file `ziel`. Waits for it,
// and reports at the start, about twice a second and at the end how far it is.
[[nodiscard]] FfmpegEnde fuehreFfmpegAus(
    const std::vector<std::string>& argumente, const std::string& ziel,
    const std::function<void(const FfmpegStand&)>& beiStand = nullptr,
    Dateien& dateien = posixDateien());

}  // namespace hallkorb
