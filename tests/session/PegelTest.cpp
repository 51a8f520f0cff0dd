// The levels against what anyone would compute from the samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "session/Pegel.h"

namespace hallkorb {
namespace {

using Samples = std::vector<std::int16_t>;

Samples rauschen(std::size_t anzahl, unsigned saat) {
  std::mt19937 zufall(saat);
  Samples samples(anzahl);
  for (std::size_t i = 0; i < anzahl; ++i)
    samples[i] = static_cast<std::int16_t>(static_cast<int>(zufall() % 65536U) - 32768) /
                 static_cast<std::int16_t>(1 + i / 1000 % 40);
  return samples;
}

// Lowest and highest of each `breite` samples.
std::vector<std::int8_t> schlicht(const Samples& samples, std::size_t breite) {
  std::vector<std::int8_t> paare;
  for (std::size_t i = 0; i < samples.size(); i += breite) {
    const auto von = samples.begin() + static_cast<std::ptrdiff_t>(i);
    const auto bis =
        samples.begin() + static_cast<std::ptrdiff_t>(std::min(i + breite, samples.size()));
    paare.push_back(pegelwert(*std::min_element(von, bis)));
    paare.push_back(pegelwert(*std::max_element(von, bis)));
  }
  return paare;
}

TEST(Pegel, EachLevelHoldsTheLowestAndHighestOfItsStretches) {
  const Samples samples = rauschen(16000 * 40 + 77, 1);
  Pegelbau bau(16000, static_cast<std::int64_t>(samples.size()));
  // In blocks of every length, as files are read.
  std::size_t ab = 0;
  for (std::size_t laenge = 1; ab < samples.size(); laenge = laenge * 3 % 7919) {
    const std::size_t n = std::min(laenge, samples.size() - ab);
    bau.nimm(static_cast<std::int64_t>(ab), std::span(samples).subspan(ab, n));
    ab += n;
  }
  const Pegel pegel = bau.baue();
  EXPECT_DOUBLE_EQ(pegel.proSekunde, 100.0);
  ASSERT_EQ(pegel.stufen.size(), 3U);  // 4001, 1001, 251
  std::size_t breite = 160;
  for (const auto& stufe : pegel.stufen) {
    EXPECT_EQ(stufe, schlicht(samples, breite));
    breite *= 4;
  }
}

TEST(Pegel, TheScaleIsTheSquareRootAndKeepsOrder) {
  EXPECT_EQ(pegelwert(0), 0);
  EXPECT_EQ(pegelwert(1), 1);
  EXPECT_EQ(pegelwert(-1), -1);
  EXPECT_EQ(pegelwert(INT16_MAX), 127);
  EXPECT_EQ(pegelwert(INT16_MIN), -127);
  EXPECT_EQ(pegelwert(8192), 64);  // half of the scale is a quarter of the sound
  for (int sample = INT16_MIN; sample < INT16_MAX; ++sample)
    ASSERT_LE(pegelwert(static_cast<std::int16_t>(sample)),
              pegelwert(static_cast<std::int16_t>(sample + 1)));
}

TEST(Pegel, WhatWasNeverThereIsSilence) {
  Pegelbau bau(16000, 1600);
  bau.nimm(800, Samples(80, 5000));
  const Pegel pegel = bau.baue();
  ASSERT_EQ(pegel.stufen[0].size(), 20U);
  for (std::size_t i = 0; i < 20; ++i)
    EXPECT_EQ(pegel.stufen[0][i], i == 10 || i == 11 ? pegelwert(5000) : 0) << i;
}

TEST(Pegel, BothCountWhereTwoOverlap) {
  Pegelbau bau(16000, 160);
  bau.nimm(0, Samples(100, 700));
  bau.nimm(50, Samples(100, -300));
  EXPECT_EQ(bau.baue().stufen[0], (std::vector<std::int8_t>{pegelwert(-300), pegelwert(700)}));
}

TEST(Pegel, WhatLiesOutsideIsIgnored) {
  Pegelbau bau(16000, 100);
  bau.nimm(-5, Samples(10, 1));
  bau.nimm(100, Samples(10, 1));
  bau.nimm(90, Samples(1000, 1));
  EXPECT_EQ(bau.baue().stufen[0], (std::vector<std::int8_t>{1, 1}));
  EXPECT_TRUE(Pegelbau(16000, 0).baue().stufen[0].empty());
  EXPECT_TRUE(Pegelbau(16000, -1).baue().stufen[0].empty());
}

TEST(Pegel, MemoryIsBoundedHoweverLongItClaimsToBe) {
  const Pegelbau woche(1'000'000, std::int64_t{1'000'000} * 7 * 24 * 3600);
  const Pegel pegel = woche.baue();
  EXPECT_LE(static_cast<std::int64_t>(pegel.stufen[0].size()), 2 * Pegelbau::MAX_PAARE);
  EXPECT_GT(pegel.proSekunde, 1.0);
  // Three hours are drawn as finely as three seconds.
  EXPECT_DOUBLE_EQ(Pegelbau(16000, std::int64_t{16000} * 3 * 3600).baue().proSekunde, 100.0);
}

TEST(Pegel, FullScaleIsCounted) {
  Pegelbau bau(16000, 480);
  bau.nimm(0, Samples{32767, 0, -32768});
  bau.nimm(200, Samples{32000});
  bau.nimm(330, Samples{-32767});
  EXPECT_EQ(bau.baue().uebersteuert, 2);
}

}  // namespace
}  // namespace hallkorb
