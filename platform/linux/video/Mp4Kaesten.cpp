#include "platform/linux/video/Mp4Kaesten.h"

namespace hallkorb {

std::uint32_t Mp4Zahlen::vier() {
  const std::size_t ab = stelle_;
  ueberspringe(4);
  if (!heil_) return 0;
  return std::uint32_t{bytes_[ab]} << 24 | std::uint32_t{bytes_[ab + 1]} << 16 |
         std::uint32_t{bytes_[ab + 2]} << 8 | bytes_[ab + 3];
}

std::uint64_t Mp4Zahlen::acht() {
  const std::uint64_t obere = vier();
  return obere << 32 | vier();
}

void Mp4Zahlen::ueberspringe(std::size_t anzahl) {
  if (anzahl > bytes_.size() - stelle_) heil_ = false;
  if (heil_) stelle_ += anzahl;
}

std::optional<Mp4Kasten> Mp4Kaesten::naechster() {
  Mp4Zahlen zahlen(rest_);
  const std::size_t laenge = zahlen.vier();
  zahlen.ueberspringe(4);
  if (!zahlen.heil() || laenge < MP4_KASTENKOPF || laenge > rest_.size()) return std::nullopt;
  const Mp4Bytes ganz = rest_.first(laenge);
  rest_ = rest_.subspan(laenge);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes as characters
  const std::string_view name(reinterpret_cast<const char*>(ganz.data()) + 4, 4);
  return Mp4Kasten{name, ganz.subspan(MP4_KASTENKOPF), ganz};
}

std::optional<Mp4Bytes> mp4Inhalt(Mp4Bytes bytes, std::string_view name) {
  Mp4Kaesten kaesten(bytes);
  while (const auto kasten = kaesten.naechster()) {
    if (kasten->name == name) return kasten->inhalt;
  }
  return std::nullopt;
}

void mp4Vier(std::vector<std::uint8_t>& ziel, std::uint32_t zahl) {
  for (const int stelle : {24, 16, 8, 0})
    ziel.push_back(static_cast<std::uint8_t>(zahl >> stelle));
}

void mp4Acht(std::vector<std::uint8_t>& ziel, std::uint64_t zahl) {
  mp4Vier(ziel, static_cast<std::uint32_t>(zahl >> 32));
  mp4Vier(ziel, static_cast<std::uint32_t>(zahl));
}

bool mp4SetzeVier(std::span<std::uint8_t> ziel, std::size_t stelle, std::uint32_t zahl) {
  if (ziel.size() < 4 || stelle > ziel.size() - 4) return false;
  for (const int verschoben : {24, 16, 8, 0})
    ziel[stelle++] = static_cast<std::uint8_t>(zahl >> verschoben);
  return true;
}

}  // namespace hallkorb
