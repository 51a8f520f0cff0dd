// Texts and bytes as they may stand in a page: nothing of a recorded folder becomes markup, script
// or an address that leads elsewhere.
//
// Pure functions, any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace hallkorb {

// JSON for the inside of a script element: neither tag nor comment can begin or end in it, nor a
// line where JavaScript sees one and JSON does not.
[[nodiscard]] std::string fuerSkript(std::string_view json);

[[nodiscard]] std::string alsBase64(std::span<const std::int8_t> bytes);

// A file's name as a relative address: every byte with a meaning of its own is percent-encoded.
[[nodiscard]] std::string alsAdresse(std::string_view name);

// The first characters of a text that other programs chose, harmless to show.
[[nodiscard]] std::string kurz(std::string_view text, std::size_t bytes);

}  // namespace hallkorb
