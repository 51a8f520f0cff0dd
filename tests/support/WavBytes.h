// The bytes of a WAV file, computed a second time: from the format's table, with nothing of the
// code under test.
#pragma once

#include <cmath>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace hallkorb {

class WavBytes {
 public:
  WavBytes& wort(std::string_view text) {
    for (const char zeichen : text)
      bytes.push_back(static_cast<std::uint8_t>(zeichen));
    return *this;
  }
  WavBytes& u16(std::uint32_t wert) {
    bytes.push_back(static_cast<std::uint8_t>(wert % 256));
    bytes.push_back(static_cast<std::uint8_t>(wert / 256 % 256));
    return *this;
  }
  WavBytes& u32(std::uint64_t wert) {
    return u16(static_cast<std::uint32_t>(wert % 65536))
        .u16(static_cast<std::uint32_t>(wert / 65536 % 65536));
  }
  WavBytes& s16(int wert) {
    return u16(static_cast<std::uint32_t>(wert < 0 ? wert + 65536 : wert));
  }

  // A mono header as this program writes it.
  static WavBytes kopf(std::uint64_t rate, std::uint64_t datenBytes) {
    WavBytes b;
    b.wort("RIFF").u32(datenBytes + 36).wort("WAVE");
    b.wort("fmt ").u32(16).u16(1).u16(1).u32(rate).u32(rate * 2).u16(2).u16(16);
    b.wort("data").u32(datenBytes);
    return b;
  }

  // A whole file as this program writes it.
  static std::vector<std::uint8_t> datei(std::span<const float> samples, std::uint64_t rate) {
    WavBytes b = kopf(rate, 2 * samples.size());
    for (const float x : samples) {
      const bool voll = std::isnan(x) || x >= 1.0F;
      b.s16(voll ? 32767 : x <= -1.0F ? -32767 : static_cast<int>(std::trunc(x * 32767.0F)));
    }
    return b.bytes;
  }

  std::vector<std::uint8_t> bytes;
};

// A field of four bytes of a file's header.
inline std::uint32_t feld32(std::span<const std::uint8_t> bytes, std::size_t stelle) {
  std::uint32_t wert = 0;
  for (std::size_t k = 4; k-- > 0;)
    wert = wert * 256 + bytes[stelle + k];
  return wert;
}

}  // namespace hallkorb
