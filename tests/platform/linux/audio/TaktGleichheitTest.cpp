// A device on the host's clock is recorded with the stage as it was without: the same samples, bit
// for bit, through the converter and the timeline.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "capture/BlockWeg.h"
#include "platform/clock/Hosttakt.h"
#include "platform/linux/audio/SwrKonverter.h"
#include "tests/support/Kristall.h"

namespace hallkorb {
namespace {

constexpr double ZIEL = 16000.0;

class Fabrik final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    return SwrKonverter::neu(quellformat, rate);
  }
};

struct Kanal {
  Fabrik fabrik;
  Zeitachse zeit{"me", ZIEL, 999.9};
  std::vector<float> ton;
  BlockWeg weg{ZIEL, zeit,
               [this](std::vector<float> neu) { ton.insert(ton.end(), neu.begin(), neu.end()); },
               fabrik};
};

TEST(TaktGleichheit, WithoutDriftEverySampleIsTheSame) {
  for (const double rate : {16000.0, 44100.0, 48000.0}) {
    for (const std::uint32_t kanaele : {1U, 2U}) {
      Kristall geraet({.rate = rate, .kanaele = kanaele},
                      [](double t) { return 0.4 * std::sin(t * 4000.0) + 0.2 * std::sin(t * t); });
      Kanal ohne;
      Kanal mit;
      Hosttakt takt([&mit](const PcmBlock& block) { mit.weg.nimm(block); });
      for (int i = 0; i < 1500; ++i) {
        if (i % 400 == 399) geraet.verliere(3000);  // real losses are still filled as before
        const PcmBlock block = geraet.naechster();
        ohne.weg.nimm(block);
        takt.nimm(block);
      }
      takt.leere();
      EXPECT_GT(ohne.ton.size(), 300000U);
      EXPECT_TRUE(mit.ton == ohne.ton) << rate << " Hz, " << kanaele << " channels";
      EXPECT_EQ(mit.zeit.bericht(), ohne.zeit.bericht());
    }
  }
}

}  // namespace
}  // namespace hallkorb
