#include "meeting/Faltung.h"

#include <utf8proc.h>

#include <array>
#include <cstddef>

namespace hallkorb {
namespace {

constexpr utf8proc_int32_t ERSATZ = 0xFFFD;
constexpr auto FALTUNG =
    static_cast<utf8proc_option_t>(UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK);

struct CodePoint {
  utf8proc_int32_t wert = ERSATZ;
  std::size_t laenge = 1;  // in bytes
};

// The code point at the beginning of `text`, which is not empty.
CodePoint erster(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text.front());
  if (byte < 0x80) return {byte, 1};
  CodePoint c;
  const auto laenge = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &c.wert);
  if (laenge <= 0) return {};
  c.laenge = static_cast<std::size_t>(laenge);
  return c;
}

// The code point at the end of `text`, which is not empty.
CodePoint letzter(std::string_view text) {
  for (std::size_t laenge = 2; laenge <= 4 && laenge <= text.size(); ++laenge) {
    const CodePoint c = erster(text.substr(text.size() - laenge));
    if (c.laenge == laenge) return c;
  }
  return erster(text.substr(text.size() - 1));
}

void haengeAn(std::string& text, utf8proc_int32_t codePoint) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto laenge = utf8proc_encode_char(codePoint, bytes.data());
  text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(laenge));
}

bool istHorizontal(utf8proc_int32_t c) {
  return c == '\t' || c == ' ' || (c > 0x7F && utf8proc_category(c) == UTF8PROC_CATEGORY_ZS);
}

bool istLeerraum(utf8proc_int32_t c) {
  return istHorizontal(c) || (c >= '\n' && c <= '\r') || c == 0x85 || c == 0x2028 || c == 0x2029;
}

template <class Praedikat>
std::string_view trimme(std::string_view text, Praedikat faelltWeg) {
  while (!text.empty()) {
    const CodePoint c = erster(text);
    if (!faelltWeg(c.wert)) break;
    text.remove_prefix(c.laenge);
  }
  while (!text.empty()) {
    const CodePoint c = letzter(text);
    if (!faelltWeg(c.wert)) break;
    text.remove_suffix(c.laenge);
  }
  return text;
}

// Characters that titles use in several forms become the one that the tables use.
utf8proc_int32_t vereinheitlicht(utf8proc_int32_t c) {
  switch (c) {
    case 0x2013:
    case 0x2014:
      return '-';
    case 0x2019:
      return '\'';
    default:
      return c;
  }
}

}  // namespace

std::string_view normTitel(std::string_view titel, std::string& puffer) {
  puffer.clear();
  while (!titel.empty()) {
    const CodePoint c = erster(titel);
    titel.remove_prefix(c.laenge);
    if (c.wert < 0x80) {
      const bool gross = c.wert >= 'A' && c.wert <= 'Z';
      puffer.push_back(static_cast<char>(gross ? c.wert - 'A' + 'a' : c.wert));
      continue;
    }
    // Marks are dropped, so their canonical order never matters, and each code point can be
    // decomposed by itself. One becomes four at most; 16 leaves room for later tables.
    std::array<utf8proc_int32_t, 16> teile{};
    const auto anzahl = utf8proc_decompose_char(vereinheitlicht(c.wert), teile.data(), teile.size(),
                                                FALTUNG, nullptr);
    for (utf8proc_ssize_t i = 0; i < anzahl; ++i) {
      haengeAn(puffer, teile[static_cast<std::size_t>(i)]);
    }
  }
  return getrimmt(puffer);
}

std::string_view getrimmt(std::string_view text) {
  return trimme(text, istLeerraum);
}

std::string_view horizontalGetrimmt(std::string_view text) {
  return trimme(text, istHorizontal);
}

std::string_view erstesZeichen(std::string_view text) {
  if (text.empty()) return text;
  CodePoint vorher = erster(text);
  std::size_t laenge = vorher.laenge;
  utf8proc_int32_t zustand = 0;
  while (laenge < text.size()) {
    const CodePoint naechster = erster(text.substr(laenge));
    if (utf8proc_grapheme_break_stateful(vorher.wert, naechster.wert, &zustand)) break;
    laenge += naechster.laenge;
    vorher = naechster;
  }
  return text.substr(0, laenge);
}

bool istBuchstabeOderZiffer(std::string_view zeichen) {
  if (zeichen.empty()) return false;
  switch (utf8proc_category(erster(zeichen).wert)) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
    case UTF8PROC_CATEGORY_NO:
      return true;
    default:
      return false;
  }
}

}  // namespace hallkorb
