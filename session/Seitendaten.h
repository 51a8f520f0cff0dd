// What the page about a recording shows: its times, chunks, pictures, figures, findings and the
// levels of its waveforms.
//
// All of it comes from the folder and is taken for what it is: texts are shortened and made
// harmless, and lists bounded. Samples are read piece by piece; memory does not depend on the
// length of the recording (Pegel.h).
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "session/Ereignisse.h"
#include "session/Pegel.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {

struct Seitendaten {
  std::string json;  // everything but the levels
  Pegel me;
  Pegel them;
  Pegel roh;           // the raw microphone; without levels if there is none
  double dauer = 0.0;  // seconds
  std::size_t auffaellig = 0;
};

// `ereignisse` null without lines.
[[nodiscard]] Seitendaten sammleSeitendaten(
    const Sitzungsordner& ordner, const Ereignisse* ereignisse,
    const std::function<void(double)>& fortschritt = nullptr);

}  // namespace hallkorb
