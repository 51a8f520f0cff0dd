#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "tool/Echomessung.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;

std::vector<float> rauschen(std::size_t anzahl, double pegel, unsigned saat) {
  std::mt19937 zufall(saat);
  std::vector<float> samples;
  for (std::size_t i = 0; i < anzahl; ++i)
    samples.push_back(
        static_cast<float>((static_cast<double>(zufall()) / 2147483648.0 - 1.0) * pegel));
  return samples;
}

// What a microphone hears of `gespielt`, later and quieter, in a room with noise of its own.
std::vector<float> imRaum(const std::vector<float>& gespielt, std::size_t versatz, double faktor,
                          double eigenes) {
  std::vector<float> samples = rauschen(gespielt.size() + versatz + 4000, eigenes, 7);
  for (std::size_t i = 0; i < gespielt.size(); ++i)
    samples[i + versatz] += static_cast<float>(faktor) * gespielt[i];
  return samples;
}

TEST(Echomessung, TheDelayAndTheLevelOfTheDirectWay) {
  const auto ton = pruefton(RATE);
  for (const std::size_t versatz : {0U, 592U, 4800U}) {
    const auto echo = misseEcho(ton, imRaum(ton, versatz, 0.1, 0.0), RATE);
    ASSERT_TRUE(echo) << versatz;
    EXPECT_DOUBLE_EQ(echo->verzoegerungMs, static_cast<double>(versatz) / 16.0);
    EXPECT_NEAR(echo->pegelDb, -20.0, 0.01);
  }
}

TEST(Echomessung, AnEchoQuieterThanTheRoomIsFound) {
  const auto ton = pruefton(RATE);
  const auto echo = misseEcho(ton, imRaum(ton, 800, 0.1, 0.01), RATE);
  ASSERT_TRUE(echo);
  EXPECT_DOUBLE_EQ(echo->verzoegerungMs, 50.0);
  EXPECT_NEAR(echo->pegelDb, -20.0, 1.5);
}

TEST(Echomessung, WithoutAnEchoNoneIsFound) {
  const auto ton = pruefton(RATE);
  EXPECT_FALSE(misseEcho(ton, imRaum(ton, 0, 0.0, 0.05), RATE));
  EXPECT_FALSE(misseEcho(ton, std::vector<float>(20000), RATE));
  EXPECT_FALSE(misseEcho(ton, {}, RATE));
  EXPECT_FALSE(misseEcho(std::vector<float>(16000), ton, RATE));
}

TEST(Echomessung, TheTestSoundIsQuietAndFaded) {
  const auto ton = pruefton(48000.0);
  ASSERT_EQ(ton.size(), 48000U);
  double quadrate = 0.0;
  for (const float wert : ton)
    quadrate += static_cast<double>(wert) * static_cast<double>(wert);
  EXPECT_NEAR(10.0 * std::log10(quadrate / 48000.0), -32.0, 1.0);
  EXPECT_LT(std::abs(ton.front()), 1e-3F);
  EXPECT_LT(std::abs(ton.back()), 1e-3F);
}

}  // namespace
}  // namespace hallkorb
