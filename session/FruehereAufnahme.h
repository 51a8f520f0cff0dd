// What an earlier recording has left in a folder that was recorded into again.
//
// The lines and the files of the last one are what a folder shows. But a recorder leaves alone what
// it does not write itself: the raw file if it keeps none, the video if it films nothing, the
// chunks with numbers that it does not reach. Taken for the last recording's, the raw file would
// put the sound of another meeting under it, and a repair would cut a chunk of it.
//
// Such a file was last changed before time zero of the last recording. That is believed only if the
// kept lines were written after it: if the times of files mean nothing (a package, a clock that was
// wrong), or nobody has kept lines, everything counts as the last recording's.
//
// Any thread; only reads.
#pragma once

#include "base/Dateien.h"
#include "session/Ereignisse.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {

// The folder with the earlier files apart: their names in `frueher` alone. Chunks that have a line
// are never among them. `ereignisse` null without lines.
[[nodiscard]] Sitzungsordner ohneFruehere(Sitzungsordner ordner, const Ereignisse* ereignisse,
                                          Dateien& dateien = posixDateien());

}  // namespace hallkorb
