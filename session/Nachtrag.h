// What a recording that ended without "done" still holds beside its kept lines.
//
// A host that dies, or cannot keep its lines any more, leaves chunks that were written and that
// nobody knows the times of. They are known again if the chunks behind a channel's last line fill
// what is left up to the end of the raw file: then none was dropped as silent between them, and
// each follows the one before it. Otherwise they stay without a line. What then of "me" still has
// no chunk is in the raw file alone.
//
// The check and the repair ask the same question here, so that the one promises what the other
// does. Only reads. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/Dateien.h"
#include "session/Ereignisse.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {

struct Nachtrag {
  std::vector<ChunkZeile> chunks;  // lines that are missing, by channel and number
  // The sample of the raw file from which on "me" has no chunk; nullopt if none can be cut.
  std::optional<std::int64_t> restAb;
  bool unlesbar = false;  // a sound file could not be read: nothing is known
};

[[nodiscard]] Nachtrag findeNachtrag(const Sitzungsordner& ordner, const Ereignisse& ereignisse,
                                     Dateien& dateien = posixDateien());

// The number for a new chunk of "me"; above MAX_NUMMER if there is none left.
[[nodiscard]] std::int64_t naechsteNummer(const Sitzungsordner& ordner,
                                          const Ereignisse& ereignisse);

}  // namespace hallkorb
