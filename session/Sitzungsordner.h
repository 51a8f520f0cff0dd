// A recorded folder: which of its files are the recorder's, by their names.
//
// Nothing is opened here, and no name leads out of the folder. A name of the recorder that is not a
// regular file (a link, a pipe) is listed apart and never touched.
//
// Plain value, any thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Dateien.h"
#include "session/Zeile.h"

namespace hallkorb {

inline constexpr char ROHDATEI[] = "mikro_roh.wav";
inline constexpr char VIDEODATEI[] = "video.mp4";

// The name of a chunk's file.
[[nodiscard]] std::string chunkName(Kanal kanal, std::int64_t nummer);

struct Sitzungsordner {
  std::string pfad;
  std::array<std::map<std::int64_t, std::string>, 2> chunks;  // number -> name, for each channel
  bool roh = false;
  bool video = false;
  bool zeilen = false;                  // the host's, EREIGNISSE
  std::vector<std::string> unfertig;    // names of files that were still being written, sorted
  std::vector<std::string> keineDatei;  // names of the recorder at which something else is, sorted
  // Names of files that an earlier recording has left (FruehereAufnahme.h).
  std::vector<std::string> frueher;
  // The highest number of a chunk among keineDatei and frueher, for each channel.
  std::array<std::int64_t, 2> hoechsteFremde{-1, -1};

  [[nodiscard]] const std::map<std::int64_t, std::string>& chunksVon(Kanal kanal) const {
    return chunks[static_cast<std::size_t>(kanal)];
  }
  [[nodiscard]] bool leer() const {
    return chunks[0].empty() && chunks[1].empty() && !roh && !video;
  }
  // The path of a file in it.
  [[nodiscard]] std::string zu(std::string_view name) const;
};

// nullopt if the folder cannot be read.
[[nodiscard]] std::optional<Sitzungsordner> liesSitzungsordner(const std::string& pfad,
                                                               Dateien& dateien = posixDateien());

// A name or a text as it may be shown: one line, no control characters, valid UTF-8.
[[nodiscard]] std::string zeigbar(std::string_view text);

}  // namespace hallkorb
