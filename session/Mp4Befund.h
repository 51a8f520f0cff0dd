// What an MP4 file is: an ordinary one, one in fragments, or one that is cut off.
//
// The recorder writes its video in fragments and makes an ordinary file of it at the stop
// (docs/protocol.md). A killed one leaves the fragments, perhaps with half of one at the end, or,
// while it was finishing, with the new index still hidden in a free box behind them; readers see
// the fragments then, and so does this.
//
// Only boxes and indexes are read, no samples, and of the indexes no more than 256 MB in all, some
// 300 bytes for each second of a week. Every length in the file is taken for what it is: somebody's
// claim. Pure function, any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "session/Lesedatei.h"

namespace hallkorb {

struct Mp4Befund {
  bool istMp4 = false;         // begins with a file type
  bool verzeichnis = false;    // has a movie header
  bool inFragmenten = false;   // it is written in fragments, or was
  bool abgeschnitten = false;  // the last box reaches past the end of the file, or is none
  std::int64_t fragmente = 0;  // whole ones
  std::int64_t bilder = 0;     // pictures in the index, or in the whole fragments
  std::int64_t ganzBis = 0;    // where the last whole box ends

  std::int64_t spielbarBis = 0;  // where the last box ends that can be played

  // Seconds from the zero of its own times to the end of its last picture; nullopt if it does not
  // say so.
  std::optional<double> dauer;
  // The track bears the name that libavformat gives it, which a repair keeps: of a recorder's files
  // the one made on Linux.
  bool ausLibav = false;

  // An ordinary, whole file with pictures.
  [[nodiscard]] bool heil() const {
    return istMp4 && verzeichnis && !inFragmenten && !abgeschnitten && bilder > 0;
  }
  // Something can be seen in it.
  [[nodiscard]] bool spielt() const { return istMp4 && verzeichnis && bilder > 0; }
};

[[nodiscard]] Mp4Befund liesMp4Befund(const Lesedatei& datei);

}  // namespace hallkorb
