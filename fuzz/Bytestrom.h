// The bytes of a fuzzer's input, taken one after another as what a target needs: choices, numbers,
// lengths. When they are used up, everything is 0, so that each input is a whole run.
//
// One thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

namespace hallkorb {

class Bytestrom {
 public:
  explicit Bytestrom(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool leer() const { return bytes_.empty(); }
  std::uint8_t byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t wert = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return wert;
  }
  std::uint32_t wort() {
    std::uint32_t wert = 0;
    for (int k = 0; k < 4; ++k)
      wert = wert << 8U | byte();
    return wert;
  }
  // Any number at all: also NaN, infinite or denormal.
  double zahl() {
    const std::uint64_t bits = std::uint64_t{wort()} << 32U | wort();
    double wert = 0;
    std::memcpy(&wert, &bits, sizeof wert);
    return wert;
  }
  // At most so many of what is left.
  std::span<const std::uint8_t> stueck(std::size_t hoechstens) {
    const auto teil = bytes_.first(std::min(hoechstens, bytes_.size()));
    bytes_ = bytes_.subspan(teil.size());
    return teil;
  }
  // All that is left.
  std::string_view text() {
    const auto teil = stueck(bytes_.size());
    return {reinterpret_cast<const char*>(teil.data()), teil.size()};
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// Ends the process, and so the fuzzer's run, if something does not hold.
inline void pruefe(bool gilt) {
  if (!gilt) std::abort();
}

}  // namespace hallkorb
