// The calls into the audio converter, run.
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "platform/macos/MacAufrufe.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/Wandler.h"

namespace hallkorb {
namespace {

namespace wandler = ersatz::wandler;

class AvAudioConverterTest : public ErsatzTest {
 protected:
  Umwandlung wandle(KonverterAufrufe& konverter) {
    return konverter.wandle(samples, 2000, ausgabe);
  }

  const std::vector<float> samples = std::vector<float>(480, 0.5F);
  std::vector<float> ausgabe;
};

// A ramp shows each lost, doubled or misplaced sample.
TEST_F(AvAudioConverterTest, BlocksJoinWithoutASeam) {
  const auto konverter = avAudioConverter(48000, 16000);
  ASSERT_NE(konverter, nullptr);
  std::size_t summe = 0;
  for (int b = 0; b < 10; ++b) {
    std::vector<float> rampe;
    for (int i = 0; i < 480; ++i)
      rampe.push_back(static_cast<float>(b * 480 + i));
    ASSERT_EQ(konverter->wandle(rampe, 200, ausgabe), Umwandlung{});
    for (const float wert : ausgabe)
      EXPECT_NEAR(wert, static_cast<float>(3 * summe++), 0.01F);
  }
  EXPECT_GE(summe, 1599U);
  EXPECT_LE(summe, 1600U);
}

TEST_F(AvAudioConverterTest, TheRoomIsALimit) {
  const auto konverter = avAudioConverter(48000, 48000);
  EXPECT_EQ(konverter->wandle(samples, 100, ausgabe), Umwandlung{});
  EXPECT_EQ(ausgabe.size(), 100U);
}

TEST_F(AvAudioConverterTest, AnErrorIsTheConvertersWhateverItsStatus) {
  const auto konverter = avAudioConverter(48000, 16000);
  // A wrong parameter, no memory, and all that the converter documents; those are four letters.
  for (const std::int32_t code :
       {-50, -108, vier("fmt?"), vier("op??"), vier("prop"), vier("insz"), vier("otsz"),
        vier("what"), vier("!siz"), vier("!pkd"), vier("!isr"), vier("!osr")}) {
    const Fehler fehler{"NSOSStatusErrorDomain", code, "The operation could not be completed"};
    for (const long status :
         {wandler::HAT_DATEN, wandler::EINGABE_ZU_ENDE, wandler::STROM_ZU_ENDE, wandler::FEHLER}) {
      wandler::ende(status, code);
      EXPECT_EQ(wandle(*konverter), Umwandlung::gescheitert(fehler)) << status;
    }
  }
}

TEST_F(AvAudioConverterTest, AStatusWithoutAnErrorIsNone) {
  const auto konverter = avAudioConverter(48000, 16000);
  for (const long status :
       {wandler::HAT_DATEN, wandler::EINGABE_ZU_ENDE, wandler::STROM_ZU_ENDE, wandler::FEHLER}) {
    wandler::ende(status);
    EXPECT_EQ(wandle(*konverter), Umwandlung{}) << status;
  }
  EXPECT_TRUE(ausgabe.empty());  // of the last status
}

TEST_F(AvAudioConverterTest, WhatTheConversionRaisesIsItsError) {
  const auto konverter = avAudioConverter(48000, 16000);
  wandler::wirfBeimWandeln(true);
  const Umwandlung umwandlung = wandle(*konverter);
  EXPECT_FALSE(umwandlung.gelungen);
  ASSERT_TRUE(umwandlung.fehler);
  EXPECT_EQ(umwandlung.fehler->domain, "NSException");
  wandler::wirfBeimWandeln(false);
  EXPECT_EQ(wandle(*konverter), Umwandlung{});
}

TEST_F(AvAudioConverterTest, WithoutABufferTheBlockIsLostWithoutAnError) {
  const auto konverter = avAudioConverter(48000, 16000);
  for (const long puffer : {0L, 1L}) {
    wandler::nochPuffer(puffer);
    EXPECT_EQ(wandle(*konverter), Umwandlung::verloren()) << puffer;
  }
  wandler::nochPuffer(-1);
  EXPECT_EQ(konverter->wandle(samples, std::numeric_limits<std::uint32_t>::max(), ausgabe),
            Umwandlung::verloren());
  EXPECT_EQ(wandle(*konverter), Umwandlung{});
}

TEST_F(AvAudioConverterTest, ABufferWithoutChannelsLosesItsBlockWithoutAnError) {
  const auto konverter = avAudioConverter(48000, 16000);
  for (const double rate : {48000.0, 16000.0}) {
    wandler::keineKanaele(rate);
    EXPECT_EQ(wandle(*konverter), Umwandlung::verloren()) << rate;
    EXPECT_TRUE(ausgabe.empty());
  }
  wandler::keineKanaele(-1.0);
  EXPECT_EQ(wandle(*konverter), Umwandlung{});
  EXPECT_FALSE(ausgabe.empty());
}

TEST_F(AvAudioConverterTest, RatesThatTheSystemRefusesHaveNoConverter) {
  EXPECT_EQ(avAudioConverter(0, 48000), nullptr);
  EXPECT_EQ(avAudioConverter(std::nan(""), 48000), nullptr);
  EXPECT_EQ(avAudioConverter(2e6, 48000), nullptr);
  wandler::keinFormat(44100);
  EXPECT_EQ(avAudioConverter(44100, 48000), nullptr);
  wandler::keiner(true);
  EXPECT_EQ(avAudioConverter(48000, 16000), nullptr);
  wandler::keiner(false);
  wandler::wirfBeimBau(true);
  EXPECT_EQ(avAudioConverter(48000, 16000), nullptr);
  EXPECT_EQ(wandler::gebaut(), 0);
}

using AvAudioConverterDeathTest = AvAudioConverterTest;

TEST_F(AvAudioConverterDeathTest, ATargetThatCannotBeHadStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(static_cast<void>(avAudioConverter(48000, 0)), testing::KilledBySignal(SIGABRT),
              "Resampler: unmoegliches Zielformat");
  wandler::keinFormat(16000);
  EXPECT_EXIT(static_cast<void>(avAudioConverter(48000, 16000)), testing::KilledBySignal(SIGABRT),
              "Resampler: unmoegliches Zielformat");
}

}  // namespace
}  // namespace hallkorb
