// Text: UTF-8, strings inside JSON, printf into a string.
//
// File names and window titles are bytes that other programs chose. The program's output is UTF-8
// for every reader, so such bytes are checked before they are passed on.
//
// Pure functions, any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace hallkorb {

// U+FFFD, which stands for bytes that are no character.
inline constexpr std::string_view UTF8_ERSATZ = "\xEF\xBF\xBD";

// The length in bytes of the UTF-8 character at the beginning of `text`; 0 if there is none
// (Unicode, table 3-7: no overlong forms, no surrogates, nothing above U+10FFFF).
[[nodiscard]] std::size_t utf8Laenge(std::string_view text);

[[nodiscard]] bool istUtf8(std::string_view text);

// `text` with U+FFFD for each byte that belongs to no character.
[[nodiscard]] std::string alsUtf8(std::string_view text);

// `text` made safe to stand between double quotes in a JSON line: backslash and double quote get a
// backslash; tab, line feed and carriage return become a blank; everything else stays. No \u
// escapes are produced.
[[nodiscard]] std::string jsonEscape(std::string_view text);

// printf into a string, in the C locale (the program never sets another).
[[nodiscard]] std::string formatiert(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace hallkorb
