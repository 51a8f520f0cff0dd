#include "session/Seitentext.h"

#include <algorithm>
#include <cstddef>

#include "base/Text.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {
namespace {

constexpr std::string_view ZEICHEN =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool bleibt(char zeichen) {
  return (zeichen >= 'a' && zeichen <= 'z') || (zeichen >= 'A' && zeichen <= 'Z') ||
         (zeichen >= '0' && zeichen <= '9') || zeichen == '_' || zeichen == '-' || zeichen == '.';
}

}  // namespace

std::string fuerSkript(std::string_view json) {
  std::string ergebnis;
  ergebnis.reserve(json.size());
  std::string_view rest = json;
  while (!rest.empty()) {
    const char zeichen = rest.front();
    if (zeichen == '<' || zeichen == '>' || zeichen == '&') {
      ergebnis += formatiert("\\u%04x", static_cast<unsigned>(zeichen));
    } else if (rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9")) {
      ergebnis += rest[2] == '\xA8' ? "\\u2028" : "\\u2029";
      rest.remove_prefix(2);
    } else {
      ergebnis += zeichen;
    }
    rest.remove_prefix(1);
  }
  return ergebnis;
}

std::string alsBase64(std::span<const std::int8_t> bytes) {
  std::string ergebnis;
  ergebnis.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t n = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t wert = 0;
    for (std::size_t j = 0; j < 3; ++j)
      wert = wert << 8U | (j < n ? static_cast<std::uint8_t>(bytes[i + j]) : 0U);
    for (std::size_t j = 0; j < 4; ++j)
      ergebnis += j <= n ? ZEICHEN[wert >> (18 - 6 * j) & 63U] : '=';
  }
  return ergebnis;
}

std::string alsAdresse(std::string_view name) {
  std::string ergebnis;
  for (const char zeichen : name) {
    if (bleibt(zeichen)) {
      ergebnis += zeichen;
    } else {
      ergebnis += formatiert("%%%02X", static_cast<unsigned>(static_cast<unsigned char>(zeichen)));
    }
  }
  return ergebnis;
}

std::string kurz(std::string_view text, std::size_t bytes) {
  const bool ganz = text.size() <= bytes;
  std::string_view anfang = text.substr(0, bytes);
  // Not in the middle of a character.
  while (!ganz && !anfang.empty() &&
         (static_cast<unsigned char>(text[anfang.size()]) & 0xC0U) == 0x80U)
    anfang.remove_suffix(1);
  return zeigbar(anfang) + (ganz ? "" : "\xE2\x80\xA6");
}

}  // namespace hallkorb
