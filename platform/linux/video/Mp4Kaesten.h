// The boxes that an MP4 consists of (ISO/IEC 14496-12, 4.2): read from bytes, and written.
//
// A box is its length and its name, four bytes each, and its content, often further boxes. All
// numbers are big-endian. Bytes of an unknown muxer are read here, so every access is checked: what
// does not fit ends the reading.
//
// Plain values, any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace hallkorb {

using Mp4Bytes = std::span<const std::uint8_t>;

// Length and name.
constexpr std::size_t MP4_KASTENKOPF = 8;

// Reads numbers one after the other. Past the end they are 0, and heil() is false from then on.
class Mp4Zahlen {
 public:
  explicit Mp4Zahlen(Mp4Bytes bytes) : bytes_(bytes) {}

  [[nodiscard]] std::uint32_t vier();
  [[nodiscard]] std::uint64_t acht();
  void ueberspringe(std::size_t anzahl);
  // Bytes read so far.
  [[nodiscard]] std::size_t stelle() const { return stelle_; }
  [[nodiscard]] bool heil() const { return heil_; }

 private:
  Mp4Bytes bytes_;
  std::size_t stelle_ = 0;
  bool heil_ = true;
};

struct Mp4Kasten {
  std::string_view name;
  Mp4Bytes inhalt;
  Mp4Bytes ganz;
};

// The boxes side by side in `bytes`, one after the other; nullopt at the end, or if what follows is
// no whole box.
class Mp4Kaesten {
 public:
  explicit Mp4Kaesten(Mp4Bytes bytes) : rest_(bytes) {}

  [[nodiscard]] std::optional<Mp4Kasten> naechster();

 private:
  Mp4Bytes rest_;
};

// The content of the first box of that name among those side by side in `bytes`.
[[nodiscard]] std::optional<Mp4Bytes> mp4Inhalt(Mp4Bytes bytes, std::string_view name);

void mp4Vier(std::vector<std::uint8_t>& ziel, std::uint32_t zahl);
void mp4Acht(std::vector<std::uint8_t>& ziel, std::uint64_t zahl);
// Writes a number over those that are there; false if they do not reach that far.
[[nodiscard]] bool mp4SetzeVier(std::span<std::uint8_t> ziel, std::size_t stelle,
                                std::uint32_t zahl);

// Appends a box with the content that `fuelle` appends.
template <class Fuelle>
void mp4Kasten(std::vector<std::uint8_t>& ziel, std::string_view name, Fuelle fuelle) {
  const std::size_t anfang = ziel.size();
  mp4Vier(ziel, 0);
  ziel.insert(ziel.end(), name.begin(), name.end());
  fuelle();
  const auto laenge = static_cast<std::uint32_t>(ziel.size() - anfang);
  [[maybe_unused]] const bool passt = mp4SetzeVier(ziel, anfang, laenge);
}

}  // namespace hallkorb
