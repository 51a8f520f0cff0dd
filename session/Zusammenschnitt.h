// The channels of a recording as one WAV file, or one each, on the recording's time axis.
//
// Samples are copied as they are, to where Zeitplan puts them; what was not kept is silence. Every
// file made from one plan has the same length, so that files of both channels lie in step in an
// editor. Silence is not written: it takes no space on a file system that knows holes, and memory
// does not depend on the length.
//
// One thread at a time.
#pragma once

#include <functional>
#include <set>
#include <span>
#include <string>

#include "base/Dateien.h"
#include "base/Fehler.h"
#include "session/Sitzungsordner.h"
#include "session/Zeitplan.h"

namespace hallkorb {

// Writes the channels side by side into the file `ziel`, which appears when it is complete. A link
// there is replaced, never followed. Fails if the recording is longer than a WAV file can be (18
// hours in stereo at 16 kHz). Files of which less could be read than the plan has are added to
// `unlesbar`: the rest of them is silence.
[[nodiscard]] Ergebnis schreibeTon(const Sitzungsordner& ordner, const Zeitplan& plan,
                                   std::span<const Kanal> kanaele, const std::string& ziel,
                                   std::set<std::string>& unlesbar,
                                   const std::function<void(double)>& fortschritt = nullptr,
                                   Dateien& dateien = posixDateien());

}  // namespace hallkorb
