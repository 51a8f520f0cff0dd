// Spoken voices for the scenes: always the same sentences, so every run hears the same
// conversation.
#pragma once

#include "tests/echo/scenes/Szene.h"

namespace hallkorb::szenen {

struct Stimmen {
  Signal fern;  // a woman, fast
  Signal nah;   // a man
};

// Both at -26 dB of full scale, without pauses at their ends.
[[nodiscard]] Stimmen stimmen();

}  // namespace hallkorb::szenen
