// The repair of a recorded folder after a crash, a kill or a full disk.
//
// - A WAV header that does not declare what the file holds is brought up to date.
// - Files that were still being written, and those in which nothing was written yet, are moved to
//   the originals.
// - What of "me" had not been cut when the recording ended is taken from the raw file and becomes
//   its last chunk, with its line. The raw file is before echo removal: in it the far end can be
//   heard again.
// - A video in fragments becomes an ordinary one; no picture is encoded anew.
//
// What an earlier recording has left in the folder (FruehereAufnahme.h) stays as it is.
//
// Nothing is changed before the original is kept (Sicherung.h), and each new content appears under
// its name only when it is complete; so a repair that is killed, or that a full disk ends, can be
// started again: it goes on where the first one came to an end. A second one finds nothing to do. A
// file that cannot be read is reported and left as it is.
//
// One thread at a time. The folder is locked meanwhile, as by a recording.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "base/Dateien.h"
#include "base/Fehler.h"

namespace hallkorb {

struct Tat {
  bool gelungen = true;
  std::string datei;  // as it may be shown
  std::string text;   // what was done, or why it could not be
};

// How much of the work is done, from 0 to 1.
using Fortschritt = std::function<void(double)>;

// What was done; empty if there was nothing to do. An error if the folder cannot be read, or if a
// recording is writing into it.
[[nodiscard]] std::variant<std::vector<Tat>, Fehler> repariereSitzung(
    const std::string& pfad, const Fortschritt& fortschritt = nullptr,
    Dateien& dateien = posixDateien());

}  // namespace hallkorb
