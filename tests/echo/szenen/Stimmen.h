// Spoken voices for the scenes, from the speech synthesiser espeak-ng.
//
// Always the same sentences with the same settings, so every run has the same conversation. They
// are made when needed; the source tree holds no recordings of people.
#pragma once

#include <optional>

#include "tests/echo/szenen/Szene.h"

namespace hallkorb::szenen {

struct Stimmen {
  Signal fern;  // a woman, fast
  Signal nah;   // a man
};

// Both at 16 kHz and -26 dB of full scale, without pauses at their ends. Nothing where espeak-ng is
// not installed.
[[nodiscard]] std::optional<Stimmen> stimmen();

}  // namespace hallkorb::szenen
