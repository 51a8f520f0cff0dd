// Makes titles comparable.
//
// The same meeting is called "Besprechung" or "BESPRECHUNG", with umlauts composed or decomposed,
// and with any kind of dash. The ranking's tables hold each word once: in lower case, without
// diacritics, with the plain hyphen and apostrophe. Titles are brought into this form first.
//
// Texts are UTF-8; invalid bytes become U+FFFD. Unicode's tables are those of utf8proc. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace hallkorb {

// The form in which titles are compared: case folded (full folding, so that "ß" is "ss"),
// canonically decomposed and stripped of all marks; en and em dash as "-", the typographic
// apostrophe as "'"; white space and line breaks at both ends trimmed. The result refers to
// `puffer`, whose memory is reused from title to title.
[[nodiscard]] std::string_view normTitel(std::string_view titel, std::string& puffer);

// `text` without the white space (Unicode's White_Space) at both ends.
[[nodiscard]] std::string_view getrimmt(std::string_view text);

// `text` without the tabs and Unicode space separators at both ends; line breaks stay.
[[nodiscard]] std::string_view horizontalGetrimmt(std::string_view text);

// The first character of `text` as a reader perceives it: an extended grapheme cluster (UAX #29),
// so a family of emoji is one character, and so is a letter with whatever is joined to it. Empty
// only if `text` is.
[[nodiscard]] std::string_view erstesZeichen(std::string_view text);

// Whether a character is a letter or number of any script, judged by its first code point.
[[nodiscard]] bool istBuchstabeOderZiffer(std::string_view zeichen);

}  // namespace hallkorb
