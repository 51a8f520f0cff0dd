#include "platform/linux/screen/X11Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/Text.h"

namespace hallkorb {
namespace {

constexpr char ESC = '\x1B';

void haengeLatin1An(std::string& text, char zeichen) {
  const auto wert = static_cast<std::uint8_t>(zeichen);
  if (wert < 0x80) {
    text += zeichen;
  } else {
    text += static_cast<char>(0xC0 | wert >> 6);
    text += static_cast<char>(0x80 | (wert & 0x3F));
  }
}

// Appends the character that `rest` begins with, or the replacement; returns the bytes taken.
std::size_t haengeUtf8An(std::string& text, std::string_view rest) {
  const std::size_t laenge = utf8Laenge(rest);
  text += laenge > 0 ? rest.substr(0, laenge) : UTF8_ERSATZ;
  return laenge > 0 ? laenge : 1;
}

std::string ausLatin1(std::string_view bytes) {
  std::string text;
  for (const char zeichen : bytes)
    haengeLatin1An(text, zeichen);
  return text;
}

// The two halves of the code table that a compound text's bytes are looked up in.
enum class Zeichensatz { ASCII, LATIN1, UTF8, FREMD };

// An escape sequence: which half it sets to what. Its own length counts the ESC.
struct Umschaltung {
  std::size_t laenge = 0;
  std::optional<Zeichensatz> links;
  std::optional<Zeichensatz> rechts;
  bool fremdes = false;  // it holds characters itself, of a set that is not read
};

Umschaltung liesUmschaltung(std::string_view rest) {
  // Intermediate bytes 0x20-0x2F, then one final byte 0x30-0x7E.
  std::size_t i = 1;
  while (i < rest.size() && rest[i] >= 0x20 && rest[i] <= 0x2F)
    ++i;
  Umschaltung neu;
  neu.laenge = i < rest.size() ? i + 1 : rest.size();
  const std::string_view folge = rest.substr(1, neu.laenge - 1);
  if (folge == "%G") {
    neu.links = neu.rechts = Zeichensatz::UTF8;
  } else if (folge == "%@") {
    neu.links = Zeichensatz::ASCII;
    neu.rechts = Zeichensatz::LATIN1;
  } else if (folge.starts_with("%/")) {
    // A segment in a set known by name: two bytes of length, each with its top bit set, then as
    // much.
    const auto byte = [&](std::size_t k) {
      return k < rest.size() ? static_cast<std::uint8_t>(rest[k]) & 0x7FU : 0U;
    };
    const std::size_t inhalt = 2 + byte(neu.laenge) * 128U + byte(neu.laenge + 1);
    neu.laenge = std::min(neu.laenge + inhalt, rest.size());
    neu.fremdes = true;
  } else if (folge == "(B") {
    neu.links = Zeichensatz::ASCII;
  } else if (folge == "-A") {
    neu.rechts = Zeichensatz::LATIN1;
  } else if (folge.starts_with('(') || folge.starts_with("$(")) {
    neu.links = Zeichensatz::FREMD;
  } else if (folge.starts_with(')') || folge.starts_with('-') || folge.starts_with("$)")) {
    neu.rechts = Zeichensatz::FREMD;
  }
  return neu;
}

std::string ausCompoundText(std::string_view bytes) {
  std::string text;
  Zeichensatz links = Zeichensatz::ASCII;
  Zeichensatz rechts = Zeichensatz::LATIN1;
  while (!bytes.empty()) {
    if (bytes.front() == ESC) {
      const Umschaltung neu = liesUmschaltung(bytes);
      links = neu.links.value_or(links);
      rechts = neu.rechts.value_or(rechts);
      if (neu.fremdes) text += UTF8_ERSATZ;
      bytes.remove_prefix(neu.laenge);
      continue;
    }
    const Zeichensatz zeichensatz =
        static_cast<std::uint8_t>(bytes.front()) < 0x80 ? links : rechts;
    std::size_t laenge = 1;
    if (zeichensatz == Zeichensatz::UTF8) {
      laenge = haengeUtf8An(text, bytes);
    } else if (zeichensatz == Zeichensatz::FREMD) {
      text += UTF8_ERSATZ;
    } else {
      haengeLatin1An(text, bytes.front());
    }
    bytes.remove_prefix(laenge);
  }
  return text;
}

}  // namespace

std::string x11Text(X11TextArt art, std::string_view bytes) {
  bytes = bytes.substr(0, bytes.find('\0'));
  switch (art) {
    case X11TextArt::UTF8:
      return alsUtf8(bytes);
    case X11TextArt::STRING:
      return istUtf8(bytes) ? std::string(bytes) : ausLatin1(bytes);
    case X11TextArt::COMPOUND:
      break;
  }
  return ausCompoundText(bytes);
}

}  // namespace hallkorb
