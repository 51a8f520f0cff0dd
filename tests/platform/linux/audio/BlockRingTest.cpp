#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "platform/linux/audio/BlockRing.h"

namespace hallkorb {
namespace {

// A mono block of `n` samples that count up from `erstes`.
std::vector<float> zaehlend(std::size_t n, float erstes) {
  std::vector<float> samples(n);
  std::iota(samples.begin(), samples.end(), erstes);
  return samples;
}

PcmBlock mono(const std::vector<float>& samples, double zeit = 1.0) {
  return {{48000.0, 1, true}, static_cast<std::uint32_t>(samples.size()), samples, zeit};
}

std::vector<float> inhalt(const BlockRing::StromBlock& eintrag) {
  return {eintrag.block.samples.begin(), eintrag.block.samples.end()};
}

TEST(BlockRing, HandsABlockOverWithAllThatBelongsToIt) {
  BlockRing ring(16, 4);
  const std::vector<float> samples = {1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(ring.schreibe({{44100.0, 2, true}, 3, samples, 12.5}, 7));

  const auto eintrag = ring.vorn();
  ASSERT_TRUE(eintrag);
  EXPECT_EQ(eintrag->block.format, (PcmFormat{44100.0, 2, true}));
  EXPECT_EQ(eintrag->block.frames, 3U);
  EXPECT_EQ(eintrag->block.hostTime, 12.5);
  EXPECT_EQ(eintrag->strom, 7U);
  EXPECT_EQ(inhalt(*eintrag), samples);
  EXPECT_NE(eintrag->block.samples.data(), samples.data());
  ring.raeumeVorn();
  EXPECT_FALSE(ring.vorn());
}

TEST(BlockRing, KeepsTheOldestWhenFullAndCountsTheRest) {
  BlockRing ring(10, 4);
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(4, 0)), 1));
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(4, 4)), 1));
  EXPECT_FALSE(ring.schreibe(mono(zaehlend(4, 8)), 1));
  EXPECT_FALSE(ring.schreibe(mono(zaehlend(3, 8)), 1));
  EXPECT_EQ(ring.verlorene(), 2U);
  EXPECT_EQ(ring.verlorene(), 0U);
  EXPECT_EQ(inhalt(*ring.vorn()), zaehlend(4, 0));
  ring.raeumeVorn();
  EXPECT_EQ(inhalt(*ring.vorn()), zaehlend(4, 4));
}

TEST(BlockRing, LosesNoBlockThatFitsExactly) {
  BlockRing ring(8, 4);
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(8, 0)), 1));
  EXPECT_FALSE(ring.schreibe(mono(zaehlend(1, 0)), 1));
  ring.raeumeVorn();
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(8, 9)), 1));
  EXPECT_EQ(inhalt(*ring.vorn()), zaehlend(8, 9));
}

TEST(BlockRing, StartsAtTheFrontWhenABlockDoesNotFitBeforeTheEnd) {
  BlockRing ring(10, 4);
  ASSERT_TRUE(ring.schreibe(mono(zaehlend(6, 0)), 1));
  const float* front = ring.vorn()->block.samples.data();
  ring.raeumeVorn();
  ASSERT_TRUE(ring.schreibe(mono(zaehlend(6, 6)), 1));  // four places at the end stay unused
  EXPECT_EQ(ring.vorn()->block.samples.data(), front);
  EXPECT_EQ(inhalt(*ring.vorn()), zaehlend(6, 6));
  EXPECT_FALSE(ring.schreibe(mono(zaehlend(1, 0)), 1));  // they come back with the block
  ring.raeumeVorn();
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(4, 12)), 1));
  EXPECT_EQ(ring.vorn()->block.samples.data(), front + 6);
}

TEST(BlockRing, IsFullWhenTheRecordsAreUsedUp) {
  BlockRing ring(100, 2);
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(1, 0)), 1));
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(1, 1)), 1));
  EXPECT_FALSE(ring.schreibe(mono(zaehlend(1, 2)), 1));
  ring.raeumeVorn();
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(1, 3)), 1));
}

TEST(BlockRing, LosesABlockThatIsLargerThanTheWholeMemory) {
  BlockRing ring(10, 4);
  EXPECT_FALSE(ring.schreibe(mono(zaehlend(11, 0)), 1));
  EXPECT_EQ(ring.verlorene(), 1U);
  EXPECT_TRUE(ring.schreibe(mono(zaehlend(10, 0)), 1));
}

TEST(BlockRing, TakesEmptyBlocks) {
  BlockRing ring(4, 4);
  EXPECT_TRUE(ring.schreibe(mono({}), 1));
  ASSERT_TRUE(ring.vorn());
  EXPECT_TRUE(ring.vorn()->block.samples.empty());
}

// Two threads, blocks of random lengths, a consumer that hesitates now and then: what arrives is
// what was written, in order and whole, and every block is accounted for once.
TEST(BlockRing, LosesAndMixesNothingBetweenTwoThreads) {
  constexpr std::uint64_t BLOECKE = 200'000;
  BlockRing ring(1000, 16);
  std::uint64_t geschrieben = 0;
  std::thread produzent([&] {
    std::mt19937 zufall(1);
    std::uniform_int_distribution<std::size_t> laenge(0, 200);
    for (std::uint64_t i = 0; i < BLOECKE; ++i) {
      const std::vector<float> samples(laenge(zufall), static_cast<float>(i));
      if (ring.schreibe(mono(samples, static_cast<double>(i)), i)) ++geschrieben;
    }
  });
  std::uint64_t gelesen = 0;
  std::uint64_t fehler = 0;
  std::uint64_t naechster = 0;
  const auto leere = [&] {
    while (const auto eintrag = ring.vorn()) {
      fehler += eintrag->strom < naechster;
      naechster = eintrag->strom + 1;
      fehler += eintrag->block.hostTime != static_cast<double>(eintrag->strom);
      fehler += eintrag->block.frames != eintrag->block.samples.size();
      for (const float sample : eintrag->block.samples) {
        fehler += sample != static_cast<float>(eintrag->strom);
      }
      ring.raeumeVorn();
      ++gelesen;
      if (gelesen % 1000 == 0) std::this_thread::yield();
    }
  };
  while (naechster < BLOECKE / 2)
    leere();  // beside the producer for half of the blocks
  produzent.join();
  leere();
  EXPECT_EQ(fehler, 0U);
  EXPECT_EQ(gelesen, geschrieben);
  EXPECT_EQ(gelesen + ring.verlorene(), BLOECKE);
}

}  // namespace
}  // namespace hallkorb
