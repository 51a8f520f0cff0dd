// The echo canceller on two recorded files.
//
// A recording cannot be repeated, so the canceller is tuned and compared on files: the microphone's
// is cleaned against the system audio's by the echo path of a live recording and, on request, cut
// into chunks like the live channel. Both files are mono at 16000 Hz, whatever "--rate" says; of
// several channels the first is used.
//
// The files are streamed: a recording of any length needs the memory of a short one. Inputs must be
// regular files, since anything else may never end. If chunks are wanted, both are first read to
// their ends: chunk lines go out on the way, and none may come before an error that can be known.
// All work is done on the calling thread.
#pragma once

#include "base/Dateien.h"
#include "driver/Config.h"

namespace hallkorb {

// Runs the mode for config.echoDatei (microphone, reference, output). Returns the process's exit
// status: 0 after the statistics line, 2 if an input cannot be read or if the output or the
// statistics line cannot be written. The output file appears only when it is complete, and may be
// one of the inputs.
[[nodiscard]] int echoDatei(const Config& config, Dateien& dateien = posixDateien());

}  // namespace hallkorb
