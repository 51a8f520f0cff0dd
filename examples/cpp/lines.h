// The lines of hallkorb as types, and the only place that knows how they are written.
//
// The fields are those of docs/protocol.schema.json. A line that this version does not know becomes
// Unknown, and fields that it does not know are left out: later versions add both.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace host {

struct Started {
  bool mic;
  bool system;
  bool video;
  bool echo;
  std::int64_t null_unix_ms;
};

struct Chunk {
  std::int64_t chunk;
  std::string channel;
  std::string path;
  double t0;
  double t1;
  std::optional<std::int64_t> sprache_ms;
};

struct Degraded {
  std::string channel;
  std::string message;
};

struct Error {
  std::string message;
};

struct VideoStart {
  std::string quelle;
  std::string art;
  std::int64_t rang;
  std::string grund;
  double t_s;
};

struct VideoWechsel {
  std::string quelle;
  std::string art;
  std::int64_t rang;
  std::string grund;
  double t_s;
};

struct VideoNone {
  std::string message;
};

struct VideoPause {
  std::string message;
  double t_s;
};

struct Video {
  std::string path;
  std::int64_t frames;
  std::string quelle;
};

struct Echo {
  double verzoegerung_ms;
  std::int64_t versatz_bloecke;
  std::int64_t versatz_wechsel;
  double leck;
  double tor_anteil;
  double nah_anteil;
  std::int64_t vg_kopien;
  std::int64_t hg_reset;
  std::int64_t resets;
  std::int64_t ohne_referenz;
  std::int64_t ausfaelle;
  std::int64_t bloecke;
  std::int64_t chunks_ohne_sprache;
};

struct Timeline {
  std::int64_t luecken;
  std::int64_t luecken_ms;
  std::int64_t ueberlappungen;
  std::int64_t verworfen_ms;
};

struct Zeitachse {
  Timeline them;
  Timeline me;
};

struct Done {};

struct Unknown {
  std::string text;
};

using Line = std::variant<Started, Chunk, Degraded, Error, VideoStart, VideoWechsel, VideoNone,
                          VideoPause, Video, Echo, Zeitachse, Done, Unknown>;

// Throws std::exception if the line is not what the protocol promises.
[[nodiscard]] Line parse(std::string_view line);

}  // namespace host
