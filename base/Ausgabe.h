// The program's two voices: JSON lines for the host, German diagnostics for people.
//
// Any thread, but not a real-time callback. How a line gets out is in FileHandleTextOutput.h.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/FileHandleTextOutput.h"

namespace hallkorb {

// Writes `text` and a line feed to standard error; the caller supplies the prefix "[hallkorb] ".
// Bytes that are not UTF-8 (in a file name) go out as U+FFFD.
void log(std::string_view text);

// The same, to standard output.
void emit(std::string_view text);

// Keeps the lines of emit() back until the report about the start, `zuerst`, has gone out: one
// capture already delivers while the other is still starting.
void halteZeilenZurueck();
void gibZeilenFrei(const std::vector<std::string>& zuerst);

// From now on no line makes its writer wait for the reader; see FileHandleTextOutput.h. Returns
// whether both streams have a thread for that.
bool starteAusgabeFaeden();

// From now on all that is still to be written has this many seconds.
void begrenzeAusgabe(double sekunden);

// Waits until both streams have written everything, or their time is up.
void leereAusgabe();

// Prints a result line of an offline mode through the C library's standard output and flushes it.
// Returns whether it arrived: a result that nobody received is a failure.
[[nodiscard]] bool druckeErgebnis(std::string_view text);

}  // namespace hallkorb
