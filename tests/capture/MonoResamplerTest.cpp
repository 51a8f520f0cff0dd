#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "capture/MonoResampler.h"
#include "tests/support/AusgabeFaenger.h"

namespace hallkorb {
namespace {

// A platform that records what it was asked for. Its converters return every third sample of the
// first channel, or fail.
class Fabrik final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    ++versuche;
    if (ohneKonverter) return nullptr;
    gemacht.push_back(quellformat);
    zielrate = rate;
    return std::make_unique<Drittel>(*this);
  }

  class Drittel final : public AudioConverter {
   public:
    explicit Drittel(Fabrik& fabrik) : fabrik_(fabrik) {}
    Umwandlung wandle(const PcmBlock& block, std::size_t hoechstens,
                      std::vector<float>& ausgabe) override {
      fabrik_.kapazitaet = hoechstens;
      if (fabrik_.verliert) return Umwandlung::verloren();
      if (fabrik_.fehler) return Umwandlung::gescheitert(*fabrik_.fehler);
      std::vector<float> platz;
      const auto kanal = block.ersterKanal(platz);
      for (std::size_t i = 0; i < kanal.size(); i += 3)
        ausgabe.push_back(kanal[i]);
      return {};
    }

   private:
    Fabrik& fabrik_;
  };

  int versuche = 0;
  bool ohneKonverter = false;
  std::optional<Fehler> fehler;
  bool verliert = false;
  std::vector<PcmFormat> gemacht;
  double zielrate = 0;
  std::size_t kapazitaet = 0;
};

class MonoResamplerTest : public testing::Test {
 protected:
  // A block whose first channel counts up and whose others hold -1.
  PcmBlock block(double rate, std::uint32_t kanaele, std::uint32_t frames, bool verzahnt = true) {
    samples.assign(static_cast<std::size_t>(frames) * kanaele, -1.0F);
    for (std::uint32_t i = 0; i < frames; ++i) {
      samples[verzahnt ? static_cast<std::size_t>(i) * kanaele : i] = static_cast<float>(i);
    }
    return {{rate, kanaele, verzahnt}, frames, samples, std::nullopt};
  }

  AusgabeFaenger faenger;
  Fabrik fabrik;
  MonoResampler resampler{16000.0, fabrik};
  std::vector<float> samples;
};

TEST_F(MonoResamplerTest, AStereoBlockGetsItsRoomAndYieldsTheFirstChannel) {
  for (const bool verzahnt : {true, false}) {
    const auto out = resampler.process(block(48000, 2, 4800, verzahnt));
    EXPECT_EQ(fabrik.kapazitaet, 2624U);
    EXPECT_EQ(fabrik.zielrate, 16000.0);
    ASSERT_TRUE(out);
    ASSERT_EQ(out->size(), 1600U);
    EXPECT_EQ((*out)[1], 3.0F);
    EXPECT_EQ((*out)[1599], 4797.0F);
  }
}

TEST_F(MonoResamplerTest, TheRoomIsCutToAWholeNumber) {
  (void)resampler.process(block(44100, 1, 1000));
  EXPECT_EQ(fabrik.kapazitaet, 1386U);  // 362.8 + 1024
}

TEST_F(MonoResamplerTest, AConverterLastsUntilTheFormatChanges) {
  (void)resampler.process(block(48000, 2, 100));
  (void)resampler.process(block(48000, 2, 300));
  EXPECT_EQ(fabrik.gemacht.size(), 1U);
  (void)resampler.process(block(44100, 2, 100));
  EXPECT_EQ(fabrik.gemacht.size(), 2U);
  (void)resampler.process(block(44100, 1, 100));
  (void)resampler.process(block(44100, 1, 100, false));  // the same thing with one channel
  EXPECT_EQ(fabrik.gemacht.size(), 3U);
  (void)resampler.process(block(44100, 6, 100));
  (void)resampler.process(block(44100, 6, 100, false));
  EXPECT_EQ(fabrik.gemacht.size(), 5U);
}

TEST_F(MonoResamplerTest, AMissingConverterLosesTheBlockAndIsTriedAgain) {
  fabrik.ohneKonverter = true;
  EXPECT_FALSE(resampler.process(block(48000, 1, 100)));
  EXPECT_FALSE(resampler.process(block(48000, 1, 100)));
  EXPECT_EQ(fabrik.versuche, 2);
  fabrik.ohneKonverter = false;
  EXPECT_TRUE(resampler.process(block(48000, 1, 100)));
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(MonoResamplerTest, AFailedConversionLosesTheBlockAndSaysSo) {
  fabrik.fehler = Fehler{"probe", 7, "Filter kaputt"};
  EXPECT_FALSE(resampler.process(block(48000, 1, 100)));
  EXPECT_FALSE(resampler.process(block(48000, 1, 100)));
  EXPECT_EQ(
      faenger.fehler(),
      "[hallkorb] Resample-Fehler: Filter kaputt\n[hallkorb] Resample-Fehler: Filter kaputt\n");
  EXPECT_EQ(fabrik.gemacht.size(), 1U);
}

TEST_F(MonoResamplerTest, ABlockThatIsLostWithoutAnErrorIsLostWithoutALine) {
  fabrik.verliert = true;
  EXPECT_FALSE(resampler.process(block(48000, 1, 100)));
  EXPECT_EQ(faenger.fehler(), "");
  fabrik.verliert = false;
  EXPECT_TRUE(resampler.process(block(48000, 1, 100)));
  EXPECT_EQ(fabrik.gemacht.size(), 1U);
}

TEST_F(MonoResamplerTest, AnotherSampleTypeOrLayoutIsAnotherFormat) {
  PcmBlock b = block(48000, 4, 100);
  (void)resampler.process(b);
  b.format.samples = 2;
  (void)resampler.process(b);
  EXPECT_EQ(fabrik.gemacht.size(), 2U);
  b.format.layout = 7;
  (void)resampler.process(b);
  (void)resampler.process(b);
  EXPECT_EQ(fabrik.gemacht.size(), 3U);
}

TEST_F(MonoResamplerTest, ABlockWithoutAFormatYieldsNothing) {
  EXPECT_FALSE(resampler.process({{48000, 0, true}, 100, {}, std::nullopt}));
  EXPECT_EQ(fabrik.versuche, 0);
}

TEST_F(MonoResamplerTest, ARateThatNoConverterTakesYieldsNothing) {
  fabrik.ohneKonverter = true;
  EXPECT_FALSE(resampler.process(block(0, 1, 100)));
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(MonoResamplerTest, ABlockOfNoFramesYieldsNoSamples) {
  const auto out = resampler.process(block(48000, 2, 0));
  ASSERT_TRUE(out);
  EXPECT_TRUE(out->empty());
}

TEST(MonoResamplerDeathTest, ARateOfZeroThatAConverterTakesStopsTheProcess) {
  Fabrik fabrik;
  const std::vector<float> samples(1000);
  const PcmBlock block{{0, 1, true}, 1000, samples, std::nullopt};
  EXPECT_EXIT((void)MonoResampler(16000.0, fabrik).process(block), testing::KilledBySignal(SIGABRT),
              "Resampler: Blocklaenge nicht darstellbar");
}

// The room is a number of 32 bits.
TEST(MonoResamplerDeathTest, TheLargestRoomThatCanBeCountedIsOfferedAndNoLargerOne) {
  Fabrik fabrik;
  const auto block = [](std::uint32_t frames) {
    return PcmBlock{{16000, 1, true}, frames, {}, std::nullopt};
  };
  fabrik.verliert = true;
  (void)MonoResampler(16000.0, fabrik).process(block(4294966271U));
  EXPECT_EQ(fabrik.kapazitaet, 4294967295U);
  EXPECT_EXIT((void)MonoResampler(16000.0, fabrik).process(block(4294966272U)),
              testing::KilledBySignal(SIGABRT), "Resampler: Blocklaenge nicht darstellbar");
}

TEST(MonoResamplerDeathTest, ARoomThatCannotBeCountedStopsTheProcess) {
  Fabrik fabrik;
  const std::vector<float> samples(1000);
  const PcmBlock block{{1e-6, 1, true}, 1000, samples, std::nullopt};
  EXPECT_EXIT((void)MonoResampler(16000.0, fabrik).process(block), testing::KilledBySignal(SIGABRT),
              "Resampler: Blocklaenge nicht darstellbar");
}

}  // namespace
}  // namespace hallkorb
