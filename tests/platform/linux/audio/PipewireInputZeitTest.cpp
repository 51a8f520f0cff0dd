// The times of the blocks, measured in what a player of known times plays.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "tests/platform/linux/audio/PipewireInputTest.h"
#include "tests/support/PipewireSpieler.h"

namespace hallkorb {
namespace {

using Stand = Hoerer::Stand;

constexpr double PI = 3.14159265358979323846;

// The player's tone is a function of the host time, so its phase in the recording shows how far off
// the blocks' times are.
class PipewireInputZeit : public PipewireInputTest, public testing::WithParamInterface<int> {
 protected:
  static constexpr double FREQUENZ = 441.0;

  static constexpr double PEGEL = 0.5;
  static constexpr std::size_t BLOECKE = 20;

  // How far off a block's time is, in seconds; nullopt if it doesn't hold the tone from end to end:
  // a player that misses its turn on a busy machine leaves silence.
  static std::optional<double> zeitfehler(const Hoerer::Block& block) {
    // Least squares of a sine and a cosine.
    double cc = 0, ss = 0, cs = 0, xc = 0, xs = 0;
    for (std::size_t k = 0; k < block.samples.size(); ++k) {
      const double zeit = block.zeit + static_cast<double>(k) / block.format.rate;
      const double c = std::cos(2 * PI * FREQUENZ * std::fmod(zeit, 1.0));
      const double s = std::sin(2 * PI * FREQUENZ * std::fmod(zeit, 1.0));
      const double x = block.samples[k];
      cc += c * c, ss += s * s, cs += c * s, xc += x * c, xs += x * s;
    }
    const double sinus = xs * cc - xc * cs;
    const double cosinus = xc * ss - xs * cs;
    if (std::hypot(sinus, cosinus) / (cc * ss - cs * cs) < 0.98 * PEGEL) return std::nullopt;
    return std::abs(std::atan2(cosinus, sinus)) / (2 * PI * FREQUENZ);
  }
  // The errors of the last blocks, of those at this rate that hold the tone.
  static std::vector<double> zeitfehler(const Stand& stand, double rate) {
    std::vector<double> fehler;
    for (std::size_t i = stand.bloecke.size() - 3 * BLOECKE; i < stand.bloecke.size(); ++i) {
      if (stand.bloecke[i].format.rate != rate) continue;
      if (const auto einer = zeitfehler(stand.bloecke[i])) fehler.push_back(*einer);
    }
    return fehler;
  }
  // Waits until the times of a row of blocks are right: the first ones come before the graph has
  // settled, as do those after a pause of a busy machine.
  static void pruefe(Hoerer& hoerer, double rate) {
    EXPECT_TRUE(hoerer.warteAuf([&](const Stand& stand) {
      if (stand.bloecke.size() < 3 * BLOECKE) return false;
      const std::vector<double> fehler = zeitfehler(stand, rate);
      return fehler.size() >= BLOECKE &&
             *std::max_element(fehler.end() - BLOECKE, fehler.end()) < 0.00005;
    }));
  }
  static float ton(double zeit) {
    return static_cast<float>(PEGEL * std::sin(2 * PI * FREQUENZ * std::fmod(zeit, 1.0)));
  }
};

TEST_P(PipewireInputZeit, IsTheCaptureTimeOfTheFirstSample) {
  anlage_.starte();
  anlage_.setze("clock.force-rate", GetParam());
  const PipewireSpieler a(anlage_, "spieler-a", "speakers:playback_FL", ton);
  const PipewireSpieler b(anlage_, "spieler-b", "mic:input_MONO", ton);
  starteBeide();
  pruefe(me_, GetParam());
  pruefe(them_, 48000.0);
}

INSTANTIATE_TEST_SUITE_P(GraphRates, PipewireInputZeit, testing::Values(48000, 44100, 96000));

// Clicks at known host times in each channel, which the recording must show at those times.
struct Klicks {
  int richtig = 0;
  int falsch = 0;

  explicit Klicks(const Stand& stand) {
    float vorher = 0.0F;
    for (const Hoerer::Block& block : stand.bloecke) {
      for (std::size_t k = 0; k < block.samples.size(); ++k) {
        const float sample = block.samples[k];
        if (sample > 0.5F && vorher < 0.5F) {
          const double zeit = block.zeit + static_cast<double>(k) / block.format.rate;
          const bool nah = std::abs(zeit - std::round(zeit * 2.0) / 2.0) <= 0.001;
          ++(nah ? richtig : falsch);
        }
        vorher = sample;
      }
    }
  }
};

using PipewireInputKlicks = PipewireInputTest;

TEST_F(PipewireInputKlicks, ClicksAreWhereTheyBelong) {
  anlage_.starte();
  const auto klick = [](double zeit) { return std::fmod(zeit, 0.5) < 0.001 ? 1.0F : 0.0F; };
  const PipewireSpieler a(anlage_, "spieler-a", "speakers:playback_FL", klick);
  const PipewireSpieler b(anlage_, "spieler-b", "mic:input_MONO", klick);
  starteBeide();
  for (Hoerer* hoerer : {&me_, &them_}) {
    EXPECT_TRUE(hoerer->warteAuf([](const Stand& stand) { return Klicks(stand).richtig >= 4; }));
    // One may be cut or moved by a player or a graph that has missed its turn.
    EXPECT_LE(Klicks(hoerer->stand()).falsch, 1);
  }
}

}  // namespace
}  // namespace hallkorb
