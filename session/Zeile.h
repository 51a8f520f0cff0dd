// One line of the recorder as the host kept it, read back.
//
// The recorder puts its lines together by hand (docs/protocol.md): control characters stay as they
// are in texts, and a chunk's path is not escaped, so a line need not be JSON in the strict sense.
// And a kept file may come from anywhere. So what the recorder can write is read, everything else
// is refused, and nothing in a line is trusted beyond its own form: a path in it leads nowhere, a
// time is a number within bounds.
//
// Times are seconds after time zero. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace hallkorb {

enum class Kanal { me, them };

[[nodiscard]] std::string_view kanalName(Kanal kanal);

// Longer lines are refused unread.
inline constexpr std::size_t MAX_ZEILE = std::size_t{1} << 20;
// No recording takes longer: a week.
inline constexpr double MAX_SEKUNDEN = 7 * 24 * 3600.0;
inline constexpr std::int64_t MAX_NUMMER = 999'999'999;

struct StartZeile {
  bool mic = false;
  bool system = false;
  bool video = false;
  bool echo = false;
  std::int64_t nullUnixMs = 0;
};

struct ChunkZeile {
  std::int64_t nummer = 0;
  Kanal kanal = Kanal::me;
  std::string pfad;
  double t0 = 0.0;
  double t1 = 0.0;
  std::optional<std::int64_t> spracheMs;
  bool ausRoh = false;  // added by a repair, from the raw file
};

// The picture shows another window from here on, or none.
struct BildZeile {
  bool pause = false;
  std::string quelle;
  double zeit = 0.0;
};

struct VideoZeile {
  std::int64_t bilder = 0;
  std::string quelle;
};

// "degraded", "error", "video_none".
struct MeldungZeile {
  std::string name;
  std::string text;
  std::optional<Kanal> kanal;  // that is missing
};

// What the echo path reports at the stop (docs/protocol.md); one block is 16 ms.
struct EchoZeile {
  double verzoegerungMs = 0.0;
  double leck = 0.0;  // the three are shares, from 0 to 1
  double torAnteil = 0.0;
  double nahAnteil = 0.0;
  std::int64_t versatzWechsel = 0;
  std::int64_t resets = 0;
  std::int64_t ohneReferenz = 0;
  std::int64_t ausfaelle = 0;
  std::int64_t bloecke = 0;
  std::int64_t chunksOhneSprache = 0;
};

// What the timeline of a channel had to correct.
struct Korrektur {
  std::int64_t luecken = 0;
  double lueckenMs = 0.0;
  std::int64_t ueberlappungen = 0;
  double verworfenMs = 0.0;
};

struct ZeitachseZeile {
  Korrektur me;
  Korrektur them;
};

struct FertigZeile {};

// Any other object: an event of a later version, or what a host has added.
struct AndereZeile {
  std::string ereignis;  // its name; empty if the object names none
};

using Zeile = std::variant<StartZeile, ChunkZeile, BildZeile, VideoZeile, MeldungZeile, EchoZeile,
                           ZeitachseZeile, FertigZeile, AndereZeile>;

// nullopt if the text is no line of the recorder, and no JSON object either.
[[nodiscard]] std::optional<Zeile> liesZeile(std::string_view text);

}  // namespace hallkorb
