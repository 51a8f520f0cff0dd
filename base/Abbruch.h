// The end of the process when it cannot go on: one line that says why, then SIGABRT.
//
// Reserved for what no caller can handle: an impossible option, a lack of memory, a broken
// invariant. Failures of devices and files are values (base/Fehler.h).
//
// Any thread.
#pragma once

#include <string_view>

namespace hallkorb {

// Writes the line "[hallkorb] Abbruch: " + `grund` and aborts.
[[noreturn]] void abbruch(std::string_view grund);

// Makes unhandled exceptions and processor faults write such a line before they end the process.
// Called once at the start.
void meldeAbstuerze();

}  // namespace hallkorb
