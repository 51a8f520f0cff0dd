// Texts of window properties as UTF-8.
//
// X11 has three kinds. UTF8_STRING is meant to be UTF-8, but comes from any program, so it is
// checked. STRING is Latin-1 by definition; many programs put UTF-8 into it all the same. That is
// recognised: Latin-1 beyond ASCII is hardly ever valid UTF-8 by chance. COMPOUND_TEXT switches
// character sets with escape sequences (ISO 2022; the X Consortium's "Compound Text Encoding"); of
// those ASCII, Latin-1 and embedded UTF-8 are read, which is all that titles of today use; the rest
// becomes U+FFFD.
//
// A property may hold several texts, each ended by a null byte; the functions take one.
//
// Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>

namespace hallkorb {

enum class X11TextArt { UTF8, STRING, COMPOUND };

// `bytes` up to the first null byte, as valid UTF-8; what cannot be read becomes U+FFFD.
[[nodiscard]] std::string x11Text(X11TextArt art, std::string_view bytes);

}  // namespace hallkorb
