#include "session/WavBefund.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "audiofiles/Wav.h"

namespace hallkorb {
namespace {

constexpr int MAX_BLOECKE = 64;
constexpr std::int64_t MAX_RATE = 1'000'000;
constexpr std::int64_t MAX_BYTES = std::numeric_limits<std::uint32_t>::max() - 36;

std::uint32_t lies16(const std::uint8_t* von) {
  return static_cast<std::uint32_t>(von[0]) | static_cast<std::uint32_t>(von[1]) << 8U;
}

std::uint32_t lies32(const std::uint8_t* von) {
  return lies16(von) | lies16(von + 2) << 16U;
}

}  // namespace

std::int64_t WavBefund::samples() const {
  return std::min(erklaert, vorhanden) / 2;
}

double WavBefund::sekunden() const {
  return static_cast<double>(samples()) / static_cast<double>(rate);
}

bool WavBefund::stimmt() const {
  return erklaert == vorhanden && riff == erklaert + datenAb - 8;
}

bool WavBefund::erneuerbar() const {
  return eigener && ganzeBytes() <= MAX_BYTES;
}

std::optional<WavBefund> liesWavBefund(const Lesedatei& datei) {
  std::array<std::uint8_t, 12> kopf{};
  if (datei.liesAn(0, kopf) < kopf.size() || std::memcmp(kopf.data(), "RIFF", 4) != 0 ||
      std::memcmp(kopf.data() + 8, "WAVE", 4) != 0) {
    return std::nullopt;
  }
  WavBefund befund;
  befund.riff = lies32(kopf.data() + 4);
  bool format = false;
  std::int64_t stelle = 12;
  for (int i = 0; i < MAX_BLOECKE; ++i) {
    std::array<std::uint8_t, 24> block{};
    const std::size_t da = datei.liesAn(stelle, block);
    if (da < 8) return std::nullopt;
    const std::int64_t laenge = lies32(block.data() + 4);
    if (std::memcmp(block.data(), "data", 4) == 0) {
      if (!format) return std::nullopt;
      befund.datenAb = stelle + 8;
      befund.erklaert = laenge;
      befund.vorhanden = datei.groesse() - befund.datenAb;
      befund.eigener = befund.eigener && befund.datenAb == std::int64_t{WAV_KOPF_BYTES};
      return befund;
    }
    if (std::memcmp(block.data(), "fmt ", 4) == 0) {
      if (da < block.size() || laenge < 16) return std::nullopt;
      befund.rate = lies32(block.data() + 12);
      if (befund.rate < 1 || befund.rate > MAX_RATE) return std::nullopt;
      befund.eigener =
          lies16(block.data() + 8) == 1 && lies16(block.data() + 10) == 1 && laenge == 16;
      std::array<std::uint8_t, 2> bits{};
      if (datei.liesAn(stelle + 22, bits) < bits.size()) return std::nullopt;
      befund.eigener = befund.eigener && lies16(bits.data()) == 16;
      format = true;
    }
    stelle += 8 + laenge + laenge % 2;
  }
  return std::nullopt;
}

}  // namespace hallkorb
