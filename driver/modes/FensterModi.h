// The two modes that show the ranking of windows at work without a recording: on a saved list of
// windows, and on the screen as it is.
//
// They exist to answer one question: why a meeting was not found. Results go to standard output,
// one JSON object a line; diagnostics to standard error.
//
// Both return the process's exit status: 0, or 2 if the input could not be read, the screen could
// not be asked, or the result could not be written.
#pragma once

#include <string>

#include "platform/Plattform.h"

namespace hallkorb {

// Prints the choice among the windows of the JSON file `pfad`.
[[nodiscard]] int fensterWahl(const std::string& pfad);

// Prints the windows of the running screen that the rules look at, or with `alle` every one, the
// number of the others, and the choice. Runs the platform's run loop on the calling thread, the
// main thread, while a task does the work. Ends within 3 seconds, even if the screen does not
// answer; the pending query then runs on until the process ends.
[[nodiscard]] int fensterProbe(Plattform& plattform, bool alle);

}  // namespace hallkorb
