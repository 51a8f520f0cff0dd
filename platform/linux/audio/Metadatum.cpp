#include "platform/linux/audio/Metadatum.h"

#include <spa/utils/json.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>

namespace hallkorb {
namespace {

// The next value as text; nullopt at the end, or if it is none.
std::optional<std::string> naechster(spa_json& json) {
  const char* roh = nullptr;
  const int laenge = spa_json_next(&json, &roh);
  if (laenge <= 0) return std::nullopt;
  std::string text(static_cast<std::size_t>(laenge) + 1, '\0');
  if (spa_json_parse_stringn(roh, laenge, text.data(), static_cast<int>(text.size())) <= 0) {
    return std::nullopt;
  }
  text.resize(std::strlen(text.c_str()));
  return text;
}

}  // namespace

std::string nameAusJson(const char* text) {
  std::array<spa_json, 2> json{};
  spa_json_init(&json[0], text, std::strlen(text));
  if (spa_json_enter_object(&json[0], &json[1]) <= 0) return "";
  while (const auto schluessel = naechster(json[1])) {
    const auto wert = naechster(json[1]);
    if (!wert) break;
    if (*schluessel == "name") return *wert;
  }
  return "";
}

}  // namespace hallkorb
