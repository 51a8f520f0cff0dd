#include "base/Text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace hallkorb {

std::size_t utf8Laenge(std::string_view text) {
  if (text.empty()) return 0;
  const auto folgt = [&](std::size_t i, std::uint8_t von = 0x80, std::uint8_t bis = 0xBF) {
    const auto byte = i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{0};
    return byte >= von && byte <= bis;
  };
  const auto erstes = static_cast<std::uint8_t>(text[0]);
  if (erstes < 0x80) return 1;
  if (erstes >= 0xC2 && erstes <= 0xDF) return folgt(1) ? 2 : 0;
  if (erstes >= 0xE0 && erstes <= 0xEF) {
    const std::uint8_t von = erstes == 0xE0 ? 0xA0 : 0x80;  // lower ones are overlong
    const std::uint8_t bis = erstes == 0xED ? 0x9F : 0xBF;  // higher ones are surrogates
    return folgt(1, von, bis) && folgt(2) ? 3 : 0;
  }
  if (erstes >= 0xF0 && erstes <= 0xF4) {
    const std::uint8_t von = erstes == 0xF0 ? 0x90 : 0x80;  // lower ones are overlong
    const std::uint8_t bis = erstes == 0xF4 ? 0x8F : 0xBF;  // higher ones exceed U+10FFFF
    return folgt(1, von, bis) && folgt(2) && folgt(3) ? 4 : 0;
  }
  return 0;
}

bool istUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t laenge = utf8Laenge(text);
    if (laenge == 0) return false;
    text.remove_prefix(laenge);
  }
  return true;
}

std::string alsUtf8(std::string_view text) {
  std::string ganz;
  ganz.reserve(text.size());
  while (!text.empty()) {
    const std::size_t laenge = utf8Laenge(text);
    ganz.append(laenge > 0 ? text.substr(0, laenge) : UTF8_ERSATZ);
    text.remove_prefix(std::max<std::size_t>(laenge, 1));
  }
  return ganz;
}

std::string jsonEscape(std::string_view text) {
  std::string sicher;
  sicher.reserve(text.size());
  for (const char zeichen : text) {
    switch (zeichen) {
      case '\\':
      case '"':
        sicher.push_back('\\');
        sicher.push_back(zeichen);
        break;
      case '\t':
      case '\n':
      case '\r':
        sicher.push_back(' ');
        break;
      default:
        sicher.push_back(zeichen);
    }
  }
  return sicher;
}

std::string formatiert(const char* format, ...) {
  va_list werte;
  va_start(werte, format);
  va_list nochmal;
  va_copy(nochmal, werte);
  const int laenge = std::vsnprintf(nullptr, 0, format, werte);
  va_end(werte);
  std::string text(laenge > 0 ? static_cast<std::size_t>(laenge) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, nochmal);
  va_end(nochmal);
  return text;
}

}  // namespace hallkorb
