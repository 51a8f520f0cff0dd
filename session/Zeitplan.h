// Where each chunk lies on the recording's time axis, to the sample.
//
// The lines give times to a hundredth of a second. A chunk that begins where the one before
// it ended follows it without a gap in the recorder, so here its first sample comes right after the
// last one of that chunk: nothing clicks, and nothing drifts. Only after something that was not
// kept the hundredth decides.
//
// Without lines the times are not known: silence that was not kept has left no trace. The chunks
// then follow one another.
//
// Positions are samples at `rate`. Plain values, any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/Ereignisse.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {

// Seconds by which a chunk's length may differ from its line, whose times are hundredths.
inline constexpr double RUNDUNG = 0.0101;

struct Stueck {
  std::int64_t nummer = 0;
  std::int64_t ab = 0;       // first sample
  std::int64_t laenge = 0;   // samples that the file has; 0 if it cannot be read
  std::int64_t soll = 0;     // samples that the line promises; `laenge` without lines
  std::int64_t datenAb = 0;  // position of the samples in the file
  std::string datei;

  [[nodiscard]] std::int64_t bis() const { return ab + laenge; }
};

struct Spur {
  std::vector<Stueck> stuecke;  // by their beginnings
  std::int64_t bis = 0;         // end of the last one, by its line
};

struct Zeitplan {
  std::int64_t rate = 0;    // 0 if there is no chunk that can be read
  bool geschaetzt = false;  // without lines
  bool unlesbar = false;    // a chunk is there and could not be read: its line alone places it
  Spur me;
  Spur them;
  std::vector<std::string> fremdeRate;  // files left out since their rate is another one

  [[nodiscard]] const Spur& von(Kanal kanal) const { return kanal == Kanal::me ? me : them; }
  [[nodiscard]] std::int64_t bis() const;
  [[nodiscard]] double sekunden(std::int64_t samples) const;
};

// `ereignisse` null without lines.
[[nodiscard]] Zeitplan planeZeit(const Sitzungsordner& ordner, const Ereignisse* ereignisse,
                                 Dateien& dateien = posixDateien());

}  // namespace hallkorb
