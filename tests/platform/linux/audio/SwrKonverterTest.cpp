#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

#include "platform/linux/audio/SwrKonverter.h"

namespace hallkorb {
namespace {

constexpr double PI = 3.14159265358979323846;
constexpr double AMPLITUDE = 0.5;

double dezibel(double verhaeltnis) {
  return 20.0 * std::log10(std::max(verhaeltnis, 1e-12));
}

double ton(double frequenz, double zeit) {
  return AMPLITUDE * std::sin(2.0 * PI * frequenz * zeit);
}

struct Lauf {
  std::vector<float> ausgabe;
  double rueckstand = 0.0;  // most output samples that were owed after a block
};

// Converts `sekunden` of a tone, in blocks of random lengths.
Lauf wandleTon(double von, double nach, double frequenz, double sekunden, std::uint32_t saat = 1) {
  const PcmFormat format{von, 1, true};
  const auto konverter = SwrKonverter::neu(format, nach);
  Lauf lauf;
  if (!konverter) return lauf;
  std::mt19937 zufall(saat);
  std::uniform_int_distribution<std::uint32_t> laenge(1, saat % 2 == 1 ? 2000 : 100);
  const auto gesamt = static_cast<std::uint64_t>(von * sekunden);
  std::vector<float> block;
  std::vector<float> stueck;
  for (std::uint64_t n = 0; n < gesamt;) {
    block.resize(std::min<std::uint64_t>(laenge(zufall), gesamt - n));
    for (float& sample : block)
      sample = static_cast<float>(ton(frequenz, static_cast<double>(n++) / von));
    const auto kapazitaet =
        static_cast<std::size_t>(nach / von * static_cast<double>(block.size()) + 1024);
    EXPECT_TRUE(
        konverter
            ->wandle({format, static_cast<std::uint32_t>(block.size()), block, std::nullopt},
                     kapazitaet, stueck)
            .gelungen);
    lauf.ausgabe.insert(lauf.ausgabe.end(), stueck.begin(), stueck.end());
    const double soll = static_cast<double>(n) * nach / von;
    lauf.rueckstand = std::max(lauf.rueckstand, soll - static_cast<double>(lauf.ausgabe.size()));
  }
  return lauf;
}

// What differs from the ideal tone, relative to it; no gain and no delay are fitted. The first
// quarter of a second, in which the filter starts from silence, does not count.
double rest(const Lauf& lauf, double rate, double frequenz) {
  double fehler = 0.0;
  std::size_t anzahl = 0;
  for (auto i = static_cast<std::size_t>(rate / 4); i < lauf.ausgabe.size(); ++i, ++anzahl) {
    const double d = lauf.ausgabe[i] - ton(frequenz, static_cast<double>(i) / rate);
    fehler += d * d;
  }
  return dezibel(std::sqrt(2.0 * fehler / static_cast<double>(anzahl)) / AMPLITUDE);
}

// The level of what comes out, relative to the tone.
double pegel(const Lauf& lauf, double rate) {
  double energie = 0.0;
  std::size_t anzahl = 0;
  for (auto i = static_cast<std::size_t>(rate / 4); i < lauf.ausgabe.size(); ++i, ++anzahl) {
    energie += static_cast<double>(lauf.ausgabe[i]) * lauf.ausgabe[i];
  }
  return dezibel(std::sqrt(2.0 * energie / static_cast<double>(anzahl)) / AMPLITUDE);
}

// The delay of a tone in output samples, by the phase of its fit.
double verzug(const Lauf& lauf, double rate, double frequenz) {
  double re = 0.0;
  double im = 0.0;
  // Whole seconds, so that whole periods are summed.
  const auto ab = static_cast<std::size_t>(rate);
  for (std::size_t i = ab; i < 2 * ab; ++i) {
    const double winkel = 2.0 * PI * frequenz * static_cast<double>(i) / rate;
    re += lauf.ausgabe[i] * std::sin(winkel);
    im += lauf.ausgabe[i] * std::cos(winkel);
  }
  return -std::atan2(im, re) / (2.0 * PI * frequenz) * rate;
}

class Auf16kHz : public testing::TestWithParam<double> {};

// The table of docs/performance.md; printed, so that it can be made again.
TEST_P(Auf16kHz, KeepsSpeechAndLetsNoAliasThrough) {
  const double von = GetParam();
  double rueckstand = 0.0;
  std::printf("%6.0f -> 16000 Hz\n", von);
  for (const double frequenz : {300.0, 1000.0, 6000.0, 7000.0}) {
    const Lauf lauf = wandleTon(von, 16000, frequenz, 2.5);
    rueckstand = std::max(rueckstand, lauf.rueckstand);
    rueckstand = std::max(rueckstand, wandleTon(von, 16000, frequenz, 0.1, 2).rueckstand);
    std::printf("  %5.0f Hz: residual %6.1f dB, lag %+.6f samples\n", frequenz,
                rest(lauf, 16000, frequenz), verzug(lauf, 16000, frequenz));
    EXPECT_LT(rest(lauf, 16000, frequenz), -90.0) << frequenz;
    EXPECT_NEAR(verzug(lauf, 16000, frequenz), 0.0, 1e-3) << frequenz;
  }
  for (const double frequenz : {8400.0, 9000.0, 10000.0, 12000.0, 20000.0}) {
    const Lauf lauf = wandleTon(von, 16000, frequenz, 2.5);
    std::printf("  %5.0f Hz: alias    %6.1f dB\n", frequenz, pegel(lauf, 16000));
    EXPECT_LT(pegel(lauf, 16000), -90.0) << frequenz;
  }
  std::printf("  held back: at most %.2f samples\n", rueckstand);
  EXPECT_LE(rueckstand, 40.0);
  EXPECT_GT(rueckstand, 0.0);
}

INSTANTIATE_TEST_SUITE_P(DeviceRates, Auf16kHz,
                         testing::Values(48000.0, 44100.0, 96000.0, 192000.0));

TEST(SwrKonverter, ConvertsEveryPairOfRates) {
  const std::vector<double> raten = {8000,  11025, 12000, 16000, 22050, 24000,  32000,
                                     44100, 47999, 48000, 88200, 96000, 176400, 192000};
  std::uint32_t saat = 0;
  for (const double von : raten) {
    for (const double nach : raten) {
      const double frequenz = 0.3 * std::min(von, nach);
      const Lauf lauf = wandleTon(von, nach, frequenz, 0.5, ++saat);
      EXPECT_LT(rest(lauf, nach, frequenz), -90.0) << von << " -> " << nach;
      // Half the filter, in samples of the lower rate.
      EXPECT_LE(lauf.rueckstand, 40.0 * std::max(1.0, nach / von)) << von << " -> " << nach;
    }
  }
}

TEST(SwrKonverter, CopiesEqualRatesBitByBit) {
  const PcmFormat format{16000, 1, true};
  const auto konverter = SwrKonverter::neu(format, 16000);
  ASSERT_TRUE(konverter);
  std::mt19937 zufall(3);
  std::uniform_real_distribution<float> wert(-1, 1);
  for (const std::size_t n : {1U, 7U, 160U, 4096U}) {
    std::vector<float> block(n);
    for (float& sample : block)
      sample = wert(zufall);
    std::vector<float> ausgabe;
    EXPECT_TRUE(konverter
                    ->wandle({format, static_cast<std::uint32_t>(n), block, std::nullopt}, n + 1024,
                             ausgabe)
                    .gelungen);
    EXPECT_EQ(ausgabe, block);
  }
}

TEST(SwrKonverter, ConvertsRatesThatAreNoWholeNumbers) {
  for (const auto& [von, nach] :
       {std::pair{44100.0, 16000.5}, {44100.0, 1000000.0 / 3}, {44117.64, 16000.0}}) {
    // Ten seconds: a ratio that is off by a millionth would show as -60 dB at the end.
    const Lauf lauf = wandleTon(von, nach, 1000, 10);
    EXPECT_LT(rest(lauf, nach, 1000), -90.0) << von << " -> " << nach;
  }
}

TEST(SwrKonverter, TakesTheFirstChannelOfEveryLayout) {
  const std::vector<float> mono = {0.25F, -0.5F, 0.75F};
  const std::vector<float> verschraenkt = {0.25F, 9, 9, -0.5F, 9, 9, 0.75F, 9, 9};
  const std::vector<float> getrennt = {0.25F, -0.5F, 0.75F, 9, 9, 9, 9, 9, 9};
  std::vector<float> ausgabe;
  const auto wandle = [&](const PcmFormat& format, const std::vector<float>& samples) {
    return SwrKonverter::neu(format, 16000)
        ->wandle({format, 3, samples, std::nullopt}, 1027, ausgabe);
  };
  EXPECT_TRUE(wandle({16000, 3, true}, verschraenkt).gelungen);
  EXPECT_EQ(ausgabe, mono);
  EXPECT_TRUE(wandle({16000, 3, false}, getrennt).gelungen);
  EXPECT_EQ(ausgabe, mono);
}

TEST(SwrKonverter, YieldsNoMoreThanTheCapacityAndTheRestLater) {
  const PcmFormat format{16000, 1, true};
  const auto konverter = SwrKonverter::neu(format, 16000);
  const std::vector<float> block = {1, 2, 3, 4, 5};
  std::vector<float> ausgabe;
  EXPECT_TRUE(konverter->wandle({format, 5, block, std::nullopt}, 2, ausgabe).gelungen);
  EXPECT_EQ(ausgabe, (std::vector<float>{1, 2}));
  const std::vector<float> weiterer = {6};
  EXPECT_TRUE(konverter->wandle({format, 1, weiterer, std::nullopt}, 100, ausgabe).gelungen);
  EXPECT_EQ(ausgabe, (std::vector<float>{3, 4, 5, 6}));
}

TEST(SwrKonverter, TakesEmptyBlocks) {
  const PcmFormat format{48000, 2, true};
  const auto konverter = SwrKonverter::neu(format, 16000);
  std::vector<float> ausgabe = {1};
  EXPECT_TRUE(konverter->wandle({format, 0, {}, std::nullopt}, 1024, ausgabe).gelungen);
  EXPECT_TRUE(ausgabe.empty());
}

TEST(SwrKonverter, RefusesBlocksThatAreNotWhatTheySay) {
  const PcmFormat format{48000, 2, true};
  const auto konverter = SwrKonverter::neu(format, 16000);
  const std::vector<float> samples(8);
  std::vector<float> ausgabe = {1};
  EXPECT_EQ(konverter->wandle({{44100, 2, true}, 4, samples, std::nullopt}, 1024, ausgabe),
            Umwandlung::verloren());
  EXPECT_TRUE(ausgabe.empty());
  EXPECT_EQ(konverter->wandle({{48000, 1, true}, 4, samples, std::nullopt}, 1024, ausgabe),
            Umwandlung::verloren());
  EXPECT_EQ(konverter->wandle({format, 5, samples, std::nullopt}, 1024, ausgabe),
            Umwandlung::verloren());
  EXPECT_EQ(konverter->wandle({format, 4, samples, std::nullopt}, 1024, ausgabe), Umwandlung{});
}

TEST(SwrKonverter, RefusesRatesThatAreNone) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double unendlich = std::numeric_limits<double>::infinity();
  for (const double rate : {0.0, -0.0, -16000.0, nan, unendlich, -unendlich, 1000000.5}) {
    EXPECT_FALSE(SwrKonverter::neu({48000, 2, true}, rate)) << rate;
    EXPECT_FALSE(SwrKonverter::neu({rate, 2, true}, 16000)) << rate;
  }
  EXPECT_FALSE(SwrKonverter::neu({48000, 0, true}, 16000));
  EXPECT_TRUE(SwrKonverter::neu({48000, 2, true}, 1000000));
}

// If the ratio has no small whole numbers, a near one is taken: after ten seconds the tone is late
// by less than ten microseconds.
TEST(SwrKonverter, StaysWithinAMillionthOfAnyRatio) {
  for (const double nach : {15999.999, 16000.0123456, 47999.99}) {
    const Lauf lauf = wandleTon(48000, nach, 100, 10);
    EXPECT_LT(rest(lauf, nach, 100), dezibel(2.0 * PI * 100 * 10e-6)) << nach;
  }
}

// The filter gets longer as the output rate falls; it must not take all memory.
TEST(SwrKonverter, KeepsItsFilterSmallAtAnyRate) {
  for (const double rate : {1000.1, 100.5, 10.0, 1.7}) {
    const Lauf lauf = wandleTon(48000, rate, rate / 10, 300 / rate);
    EXPECT_NEAR(static_cast<double>(lauf.ausgabe.size()), 300.0, 45.0) << rate;
  }
  EXPECT_FALSE(SwrKonverter::neu({48000, 1, true}, 1.0));
  EXPECT_FALSE(SwrKonverter::neu({48000, 1, true}, 1e-300));
  EXPECT_FALSE(SwrKonverter::neu({1e-300, 1, true}, 16000));
}

}  // namespace
}  // namespace hallkorb
