// The default devices of the audio graph, by name.
//
// Makes a connection of its own for the one question.
#pragma once

#include <variant>

#include "platform/Auskunft.h"

namespace hallkorb {

// An error if the daemon cannot be reached or does not answer. Blocks for at most 3 seconds.
[[nodiscard]] std::variant<Geraetenamen, Fehler> pipewireGeraete();

}  // namespace hallkorb
