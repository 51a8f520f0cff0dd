#include "lines.h"

#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace host {
namespace {

using Json = nlohmann::json;

constexpr double LATEST = 1e8;  // seconds, three years

// A field of that type; the library itself would turn a number into another kind of number without
// a word.
template <typename T>
T checked(const Json& line, const char* name, bool (Json::*fits)() const noexcept) {
  const auto found = line.find(name);
  if (found == line.end() || !(*found.*fits)())
    throw std::invalid_argument(std::string(name) + " is missing or of another type");
  return found->get<T>();
}

bool flag(const Json& line, const char* name) {
  return checked<bool>(line, name, &Json::is_boolean);
}

std::int64_t integer(const Json& line, const char* name) {
  return checked<std::int64_t>(line, name, &Json::is_number_integer);
}

double number(const Json& line, const char* name) {
  return checked<double>(line, name, &Json::is_number);
}

std::string text(const Json& line, const char* name) {
  return checked<std::string>(line, name, &Json::is_string);
}

Timeline timeline(const Json& line, const char* name) {
  const Json& t = line.at(name);  // in what is no object nothing is found
  return {integer(t, "luecken"), integer(t, "luecken_ms"), integer(t, "ueberlappungen"),
          integer(t, "verworfen_ms")};
}

template <typename Picture>
Line picture(const Json& j) {
  return Picture{text(j, "quelle"), text(j, "art"), integer(j, "rang"), text(j, "grund"),
                 number(j, "t_s")};
}

Line chunk(const Json& j) {
  const bool marked = j.contains("sprache_ms");
  const Chunk line{
      integer(j, "chunk"), text(j, "channel"),
      text(j, "path"),     number(j, "t0"),
      number(j, "t1"),     marked ? std::optional(integer(j, "sprache_ms")) : std::nullopt};
  if (!(0.0 <= line.t0 && line.t0 <= line.t1 && line.t1 <= LATEST))
    throw std::invalid_argument("t0 and t1 are no span of time");
  return line;
}

Line echo(const Json& j) {
  return Echo{number(j, "verzoegerung_ms"),
              integer(j, "versatz_bloecke"),
              integer(j, "versatz_wechsel"),
              number(j, "leck"),
              number(j, "tor_anteil"),
              number(j, "nah_anteil"),
              integer(j, "vg_kopien"),
              integer(j, "hg_reset"),
              integer(j, "resets"),
              integer(j, "ohne_referenz"),
              integer(j, "ausfaelle"),
              integer(j, "bloecke"),
              integer(j, "chunks_ohne_sprache")};
}

// By the value of "event".
const std::map<std::string, Line (*)(const Json&), std::less<>> EVENTS{
    {"started",
     [](const Json& j) -> Line {
       return Started{flag(j, "mic"), flag(j, "system"), flag(j, "video"), flag(j, "echo"),
                      integer(j, "null_unix_ms")};
     }},
    {"degraded",
     [](const Json& j) -> Line { return Degraded{text(j, "channel"), text(j, "message")}; }},
    {"error", [](const Json& j) -> Line { return Error{text(j, "message")}; }},
    {"video_start", picture<VideoStart>},
    {"video_wechsel", picture<VideoWechsel>},
    {"video_none", [](const Json& j) -> Line { return VideoNone{text(j, "message")}; }},
    {"video_pause",
     [](const Json& j) -> Line { return VideoPause{text(j, "message"), number(j, "t_s")}; }},
    {"video",
     [](const Json& j) -> Line {
       return Video{text(j, "path"), integer(j, "frames"), text(j, "quelle")};
     }},
    {"echo", echo},
    {"zeitachse",
     [](const Json& j) -> Line { return Zeitachse{timeline(j, "them"), timeline(j, "me")}; }},
    {"done", [](const Json&) -> Line { return Done{}; }}};

}  // namespace

Line parse(std::string_view line) {
  // The recorder leaves control characters in texts as they are, which JSON does not allow.
  std::string clean(line);
  for (char& c : clean)
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  const Json json = Json::parse(clean);
  if (!json.is_object()) throw std::invalid_argument("not an object");
  const auto event = json.find("event");
  if (event == json.end()) return json.contains("chunk") ? chunk(json) : Unknown{std::string(line)};
  if (!event->is_string()) throw std::invalid_argument("event is no string");
  const auto known = EVENTS.find(event->get<std::string>());
  return known == EVENTS.end() ? Unknown{std::string(line)} : known->second(json);
}

}  // namespace host
