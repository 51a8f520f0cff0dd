// What happened when, for players and editors: labels for Audacity, WebVTT cues, chapters.
//
// Labels and cues name the chunks, so that one sees who speaks and finds the file; chapters are
// what the picture shows. Titles come from other programs and are made harmless for each format.
//
// Pure functions, any thread.
#pragma once

#include <string>

#include "session/Ereignisse.h"
#include "session/Zeitplan.h"

namespace hallkorb {

// `ereignisse` null without lines: then there are no pictures to name.
[[nodiscard]] std::string audacityMarken(const Zeitplan& plan, const Ereignisse* ereignisse);
[[nodiscard]] std::string webVtt(const Zeitplan& plan);
// In the form that ffmpeg reads (FFMETADATA).
[[nodiscard]] std::string kapitel(const Zeitplan& plan, const Ereignisse* ereignisse);

}  // namespace hallkorb
