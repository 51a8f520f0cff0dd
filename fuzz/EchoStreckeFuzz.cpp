// Arbitrary pieces of both streams, with values that no sound has (NaN, infinite, huge): the echo
// path hands out one sample for each of the microphone's.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "echo/EchoStrecke.h"
#include "fuzz/Bytestrom.h"

namespace hallkorb {
namespace {

constexpr std::size_t HOECHSTENS = 40000;  // samples of a run

class Quelle {
 public:
  explicit Quelle(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  [[nodiscard]] bool leer() const { return bytes_.leer(); }
  std::uint8_t byte() { return bytes_.byte(); }
  // A piece of noise, in which one sample may be strange.
  std::vector<float> stueck() {
    std::vector<float> samples(std::size_t{byte()} * 8);
    const float laut = static_cast<float>(byte()) / 255.0F;
    for (float& x : samples) {
      zufall_ = zufall_ * 1664525U + 1013904223U;
      x = laut * (static_cast<float>(zufall_ >> 8U) / 8388608.0F - 1.0F);
    }
    static constexpr float SELTSAM[] = {std::numeric_limits<float>::quiet_NaN(),
                                        std::numeric_limits<float>::infinity(),
                                        -std::numeric_limits<float>::infinity(),
                                        std::numeric_limits<float>::max(),
                                        -std::numeric_limits<float>::max(),
                                        std::numeric_limits<float>::denorm_min(),
                                        1e18F};
    const std::uint8_t wahl = byte();
    if (wahl < std::size(SELTSAM) && !samples.empty()) {
      samples[std::size_t{byte()} % samples.size()] = SELTSAM[wahl];
    }
    return samples;
  }

 private:
  Bytestrom bytes_;
  std::uint32_t zufall_ = 1;
};

void laufe(Quelle quelle) {
  EchoStrecke strecke(4);
  strecke.nachfilter(quelle.byte() % 2 == 0);
  std::size_t hinein = 0;
  std::size_t heraus = 0;
  strecke.ausgabe = [&](std::span<const float> samples, const std::vector<bool>& sprache) {
    pruefe(!samples.empty() && sprache.size() == samples.size());
    heraus += samples.size();
  };
  while (!quelle.leer() && hinein < HOECHSTENS) {
    if (quelle.byte() % 2 == 0) {
      strecke.referenz(quelle.stueck());
    } else {
      const auto samples = quelle.stueck();
      hinein += samples.size();
      strecke.mikro(samples);
    }
    pruefe(heraus <= hinein);
  }
  strecke.abschliessen();
  pruefe(heraus == hinein);
  pruefe(!strecke.statistik().empty());
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  hallkorb::laufe(hallkorb::Quelle(std::span(bytes, anzahl)));
  return 0;
}
