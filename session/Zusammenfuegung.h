// Puts a recording together for players and editors: sound, labels, chapters, and the video with
// both channels as its sound.
//
// The picture is delayed until the moment at which the video begins (Bildbeginn.h); lines say it to
// a tenth of a second.
//
// Results replace what has their names, links included, and are written to nothing else. What of
// the recording could not be read is reported, and is silence.
//
// One thread at a time.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "base/Dateien.h"
#include "base/Fehler.h"

namespace hallkorb {

struct Wuensche {
  std::string ziel;      // folder of the results; empty for the recording's own
  bool einzeln = false;  // one sound file for each channel instead of one in stereo
  bool ohneVideo = false;
};

struct Ergebnisdatei {
  bool gelungen = true;
  std::string datei;  // as it may be shown
  std::string text;   // what it is, or why it could not be made
};

// What was made. An error if nothing can be: the folder cannot be read, or has no sound.
[[nodiscard]] std::variant<std::vector<Ergebnisdatei>, Fehler> fuegeZusammen(
    const std::string& pfad, const Wuensche& wuensche,
    const std::function<void(double)>& fortschritt = nullptr, Dateien& dateien = posixDateien());

}  // namespace hallkorb
