// The page's own text, style and script: session/page, as cmake/Seite.cmake has put them into the
// program.
//
// The page's policy allows this style and this script by their SHA-256 and no other, so whatever a
// recording brings along, the browser runs nothing of it.
//
// Constants, any thread.
#pragma once

#include <array>
#include <string_view>

namespace hallkorb {

extern const std::string_view SEITE_HTML;    // with marks for the rest: "{{stil}}", ...
extern const std::string_view SEITE_REGELN;  // content of the policy
extern const std::string_view SEITE_STIL;
// In parts, since not every compiler takes so long a literal.
extern const std::array<std::string_view, 10> SEITE_SKRIPT;

}  // namespace hallkorb
