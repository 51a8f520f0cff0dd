// What a recorded folder plays back to a host: the recorder's lines, each with the moment at which
// it is due.
//
// The kept lines do not say when they arrived, so the moment follows from what a line says itself:
// a chunk's line is due at its end, a picture's at its time, and from the first line of the stop on
// ("video", "echo", "zeitachse", "done") at the end of the recording. Lines keep their order:
// whatever would be due before the line in front of it is due together with it. The recorder itself
// reports a chunk a little later: it has to hear the pause and to look ahead in the echo path.
//
// A later recorder may write events that are not known here: they are played as they are, with the
// line in front of them, since hosts must skip what they do not know. Only between "started" and
// "done", where alone they may come; other objects of the host are left out. Of several recordings
// in one file the last one is played, as its files are those in the folder; an "error" counts only
// if there is none, since another attempt in the same folder was refused otherwise.
//
// Times are seconds after time zero. Plain values, any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "session/Sitzungsordner.h"
#include "session/Zeile.h"

namespace hallkorb {

struct Spielschritt {
  double zeit = 0.0;
  std::string text;  // the line as it was kept
  Zeile inhalt;
};

struct Spielplan {
  std::vector<Spielschritt> schritte;
  std::size_t stoppAb = 0;  // number of the first step of the stop; how many there are without one
  double ende = 0.0;        // of the recording
};

// nullopt if there are no lines of a recording.
[[nodiscard]] std::optional<Spielplan> planeSpiel(const Sitzungsordner& ordner);

// The line of a step for a recording whose files are in `ziel`: paths as the recorder writes them,
// the rest as it was kept.
[[nodiscard]] std::string spielText(const Spielschritt& schritt, const std::string& ziel);

// The line of a chunk whose file is at `pfad`, as the recorder writes it.
[[nodiscard]] std::string chunkText(const ChunkZeile& chunk, const std::string& pfad);

}  // namespace hallkorb
