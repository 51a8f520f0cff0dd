// What the host has kept of the recorder's lines: `ereignisse.jsonl` in the recorded folder.
//
// A file that several recordings have been appended to describes the last one: each recording
// writes over the files of the one before it.
//
// A line that cannot be read costs that line only. Plain values, any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Dateien.h"
#include "session/Zeile.h"

namespace hallkorb {

inline constexpr char EREIGNISSE[] = "ereignisse.jsonl";
// So much of it is read: a week of chunks of two seconds has less. A file from elsewhere may be as
// long as its file system allows and take no room there.
inline constexpr std::int64_t MAX_ZEILEN_BYTES = std::int64_t{128} << 20;

struct Ereignisse {
  std::optional<StartZeile> start;
  std::vector<ChunkZeile> chunks;  // in the order of their lines
  std::vector<BildZeile> bilder;
  std::optional<VideoZeile> video;
  std::vector<MeldungZeile> meldungen;
  std::optional<EchoZeile> echo;
  std::optional<ZeitachseZeile> zeitachse;
  bool fertig = false;                // "done"
  std::size_t aufnahmen = 0;          // how many have begun in this file
  std::vector<std::size_t> unlesbar;  // numbers of lines, from 1; the first hundred
  std::size_t unlesbare = 0;          // how many there are
  bool offen = false;                 // the last line has no line feed
  std::size_t degradedOffen = 0;      // how many of the last `meldungen` are "degraded" and belong
                                      // to a recording that has not started yet
  bool ganz = true;                   // the file was read to its end

  // Chunks of one channel by their beginnings, each number once (the last line of it counts).
  [[nodiscard]] std::vector<ChunkZeile> chunksVon(Kanal kanal) const;
  // Whether a channel was missing from the beginning, and no line says why.
  [[nodiscard]] bool fehltOhneGrund(Kanal kanal) const;
  // Takes the next line in; `nummer` counts from 1. An empty one is none.
  void nimm(std::string_view text, std::size_t nummer);
};

// How far a file of lines was read.
enum class Lesbarkeit { ganz, teilweise, garNicht };

// Hands over each line of a file without its line feed, cut after MAX_ZEILE bytes and one more, and
// whether it had a line feed. garNicht if there is no regular file at the path; teilweise after an
// error, or behind MAX_ZEILEN_BYTES, where a line that is not complete is dropped.
[[nodiscard]] Lesbarkeit liesZeilen(const std::string& pfad,
                                    const std::function<void(std::string&&, bool)>& nimm,
                                    Dateien& dateien = posixDateien());

// nullopt if there is no regular file at the path.
[[nodiscard]] std::optional<Ereignisse> liesEreignisse(const std::string& pfad,
                                                       Dateien& dateien = posixDateien());

}  // namespace hallkorb
