#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "platform/clock/Zwischenwerte.h"

namespace hallkorb {
namespace {

double ton(double f, double x) {
  return 0.7 * std::sin(2 * std::numbers::pi * f * x + 0.3);
}

// The error of a tone of `f` times the rate, in dB below the tone.
double rest(double f, double schritt) {
  Zwischenwerte werte;
  werte.richteEin(1, 1000);
  std::vector<float> samples(1000);
  double fehler = 0;
  double ganzes = 0;
  double lage = 0;
  for (int b = 0; b < 60; ++b) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<float>(ton(f, b * 1000.0 + static_cast<double>(i)));
    }
    werte.nimm({{48000, 1, true}, 1000, samples, 1.0}, 0, 1000);
    for (const float wert : werte.zieh(schritt, true)) {
      if (b > 0) {
        fehler += std::pow(wert - ton(f, lage), 2);
        ganzes += std::pow(ton(f, lage), 2);
      }
      lage += schritt;
    }
  }
  return 10 * std::log10(fehler / ganzes);
}

TEST(Zwischenwerte, LeaveLessThanMinus90dBBesideTheTruth) {
  for (const double f : {0.001, 0.02, 0.1, 0.17, 0.25, 0.31, 0.35, 0.38, 0.4}) {
    for (const double schritt : {1 / 1.0001, 1 / 0.9998, 1 / 1.000013}) {
      EXPECT_LT(rest(f, schritt), -90) << f << " " << schritt;
    }
  }
}

TEST(Zwischenwerte, AreTheSamplesAtTheirOwnPlaces) {
  Zwischenwerte werte;
  werte.richteEin(2, 64);
  std::vector<float> samples(128);
  for (std::size_t i = 0; i < 128; ++i)
    samples[i] = std::sin(static_cast<float>(i * i));
  const PcmBlock block{{48000, 2, true}, 64, samples, 1.0};
  werte.nimm(block, 0, 64);
  std::vector<float> heraus;
  for (const float wert : werte.zieh(1.0, true))
    heraus.push_back(wert);
  EXPECT_EQ(heraus.size(), 2 * (64 - Zwischenwerte::DANACH));
  EXPECT_EQ(werte.wartend(), static_cast<double>(Zwischenwerte::DANACH));
  werte.nimmEnde();
  for (const float wert : werte.zieh(1.0, true))
    heraus.push_back(wert);
  EXPECT_EQ(heraus, samples);
}

TEST(Zwischenwerte, GoOnWhereBlocksWereGivenOnAsTheyAre) {
  Zwischenwerte werte;
  werte.richteEin(1, 100);
  std::vector<float> samples(100);
  for (int b = 0; b < 3; ++b) {
    for (std::size_t i = 0; i < 100; ++i) {
      samples[i] = static_cast<float>(ton(0.05, b * 100.0 + static_cast<double>(i)));
    }
    const PcmBlock block{{48000, 1, true}, 100, samples, 1.0};
    if (b < 2) {
      werte.merke(block);
      EXPECT_EQ(werte.wartend(), 0.0);
    } else {
      werte.nimm(block, 0, 100);
    }
  }
  // The very first value has its whole past.
  const auto heraus = werte.zieh(0.999, true);
  for (std::size_t i = 0; i < heraus.size(); ++i) {
    EXPECT_NEAR(heraus[i], ton(0.05, 200 + 0.999 * static_cast<double>(i)), 2e-5) << i;
  }
}

TEST(Zwischenwerte, KeepThePastOfVeryShortBlocks) {
  Zwischenwerte werte;
  werte.richteEin(1, 8);
  int n = 0;
  std::vector<float> samples(5);
  const auto naechste = [&] {
    for (float& sample : samples)
      sample = static_cast<float>(ton(0.03, n++));
    return PcmBlock{{48000, 1, true}, 5, samples, 1.0};
  };
  for (int b = 0; b < 10; ++b)
    werte.merke(naechste());
  std::size_t heraus = 0;
  for (int b = 0; b < 10; ++b) {
    werte.nimm(naechste(), 0, 5);
    for (const float wert : werte.zieh(1.001, true)) {
      EXPECT_NEAR(wert, ton(0.03, 50 + 1.001 * static_cast<double>(heraus++)), 2e-5);
    }
  }
  EXPECT_EQ(heraus, 34U);
}

}  // namespace
}  // namespace hallkorb
