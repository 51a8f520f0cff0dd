#include "platform/linux/audio/PipewireFassung.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

namespace hallkorb {
namespace {

using Nummer = std::array<int, 3>;

constexpr Nummer UMSTELLUNG = {1, 3, 81};

std::optional<Nummer> lies(std::string_view version) {
  Nummer nummer{};
  const char* stelle = version.data();
  const char* const ende = stelle + version.size();
  for (std::size_t i = 0; i < nummer.size(); ++i) {
    if (i > 0) {
      if (stelle == ende || *stelle != '.') return std::nullopt;
      ++stelle;
    }
    const auto [weiter, fehler] = std::from_chars(stelle, ende, nummer[i]);
    if (fehler != std::errc{}) return std::nullopt;
    stelle = weiter;
  }
  return nummer;
}

}  // namespace

PipewireFassung pipewireFassung(const char* version) {
  const std::optional<Nummer> nummer = lies(version);
  if (nummer && *nummer < UMSTELLUNG) return {"client-rt.conf", false};
  return {"client.conf", true};
}

}  // namespace hallkorb
