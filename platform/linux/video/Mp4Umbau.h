// Turns a recorded, fragmented MP4 into an ordinary one: one index, seekable in every player.
//
// The samples are copied as they are, without encoding again; that takes as long as copying the
// file: half a second for an hour (620 MB), three to four for three hours, when the file is still
// in memory (bench/VideoBench.cpp). The new file grows beside the old one and takes its place only
// when it is complete, so a failure costs nothing.
//
// Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "base/Fehler.h"

namespace hallkorb {

// The name that the new file of `pfad` has until it is complete.
[[nodiscard]] std::string umbauPfad(const std::string& pfad);

// The last sample lasts until `ende` (ticks of the file's time base, from the first sample).
[[nodiscard]] Ergebnis baueUm(const std::string& pfad, std::int64_t ende);

}  // namespace hallkorb
