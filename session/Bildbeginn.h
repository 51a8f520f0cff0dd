// Where on the recording's time axis its video begins.
//
// A line names the moment at which a window was found, but the file begins with the first picture
// that stayed in it. On Linux pictures are held back for half a second; if they are all taken back
// since the window was no meeting after all, the file begins with the next window, after a pause of
// any length. A video that has not failed ends with the recording, though, so its beginning is that
// end less its own duration. The end is only known as exactly as sound and lines reach, so of the
// windows' moments the nearest one counts, and small differences move nothing: neither those of the
// end, nor the moment that a window takes until it is painted. If none is near, the video ended
// early, and the first window's moment counts.
//
// On macOS no picture is taken back, and what the system makes the file's duration is not known:
// there the first window's moment counts.
//
// Times are seconds after time zero. Plain functions, any thread.
#pragma once

#include <optional>

#include "base/Dateien.h"
#include "session/Ereignisse.h"
#include "session/Mp4Befund.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {

// How far the raw file and the lines reach.
[[nodiscard]] double bekanntesEnde(const Sitzungsordner& ordner, const Ereignisse& ereignisse,
                                   Dateien& dateien = posixDateien());

// nullopt if no line names a window.
[[nodiscard]] std::optional<double> bildBeginn(const Mp4Befund& video, const Ereignisse& ereignisse,
                                               double ende);

}  // namespace hallkorb
