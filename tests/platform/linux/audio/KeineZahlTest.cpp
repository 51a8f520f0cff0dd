// A device that delivers a value which is no number, once, in the microphone or in what is played:
// the echo path goes on as if it had been silence.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "capture/BlockWeg.h"
#include "echo/EchoStrecke.h"
#include "platform/clock/Hosttakt.h"
#include "platform/linux/audio/SwrKonverter.h"

namespace hallkorb {
namespace {

constexpr double RATE = 48000.0;
constexpr double ZIEL = 16000.0;
constexpr double NULLZEIT = 1000.0;
constexpr std::uint32_t BLOCK = 960;  // 20 ms
constexpr int BLOECKE = 600;          // 12 s
constexpr int GESTOERT = 300;

class Fabrik final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    return SwrKonverter::neu(quellformat, rate);
  }
};

// A device's way to the echo path.
struct Kanal {
  explicit Kanal(std::function<void(std::vector<float>)> weiter)
      : weg(ZIEL, zeit, std::move(weiter), fabrik) {}

  void nimm(int nummer, const std::vector<float>& samples) {
    takt.nimm({{RATE, 1, true}, BLOCK, samples, NULLZEIT + nummer * (BLOCK / RATE)});
  }

  Fabrik fabrik;
  Zeitachse zeit{"me", ZIEL, NULLZEIT};
  BlockWeg weg;
  Hosttakt takt{[this](const PcmBlock& block) { weg.nimm(block); }};
};

struct Ergebnis {
  std::vector<float> samples;
  std::int64_t ausfaelle = 0;
  std::int64_t resets = 0;
};

// What is played is heard 40 ms later and half as loud; one sample of either may be another one.
// Somebody here speaks from block `naheAb` on.
Ergebnis lauf(float imMikrofon, float imGespielten, int bloecke = BLOECKE, int naheAb = BLOECKE) {
  Ergebnis ergebnis;
  EchoStrecke strecke(20);
  strecke.ausgabe = [&](std::span<const float> samples, const std::vector<bool>&) {
    ergebnis.samples.insert(ergebnis.samples.end(), samples.begin(), samples.end());
  };
  Kanal mikrofon([&](const std::vector<float>& samples) { strecke.mikro(samples); });
  Kanal gespielt([&](const std::vector<float>& samples) { strecke.referenz(samples); });
  std::mt19937 zufall(3);
  std::mt19937 nah(4);
  std::normal_distribution<float> rauschen(0.0F, 0.1F);
  std::vector<float> vorher(2 * BLOCK);
  for (int k = 0; k < bloecke; ++k) {
    std::vector<float> neu(BLOCK);
    std::generate(neu.begin(), neu.end(), [&] { return rauschen(zufall); });
    std::vector<float> echo(vorher.begin(), vorher.begin() + BLOCK);
    vorher.erase(vorher.begin(), vorher.begin() + BLOCK);
    vorher.insert(vorher.end(), neu.begin(), neu.end());
    for (float& x : echo)
      x = 0.5F * x + (k >= naheAb ? rauschen(nah) : 0.0F);
    if (k == GESTOERT) {
      echo[17] += imMikrofon;
      neu[99] += imGespielten;
    }
    gespielt.nimm(k, neu);
    mikrofon.nimm(k, echo);
  }
  gespielt.takt.leere();
  mikrofon.takt.leere();
  strecke.abschliessen();
  ergebnis.ausfaelle = strecke.ausfaelle();
  ergebnis.resets = strecke.kompensation().resets();
  return ergebnis;
}

double pegel(const std::vector<float>& samples, double von, double bis) {
  const auto a = static_cast<std::size_t>(von * ZIEL);
  const auto b = std::min(static_cast<std::size_t>(bis * ZIEL), samples.size());
  double energie = 1e-12;
  for (std::size_t i = a; i < b; ++i)
    energie += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
  return 10 * std::log10(energie / static_cast<double>(b - a));
}

TEST(KeineZahl, CostsTheEchoPathNothing) {
  constexpr float NICHTS = std::numeric_limits<float>::quiet_NaN();
  constexpr float UNENDLICH = std::numeric_limits<float>::infinity();
  const double heil = pegel(lauf(0.0F, 0.0F).samples, 8.0, 12.0);
  EXPECT_LT(heil, -45.0);  // the echo came in at -26 dB
  for (const auto& [mikrofon, gespielt] :
       {std::pair{NICHTS, 0.0F}, std::pair{0.0F, NICHTS}, std::pair{UNENDLICH, -UNENDLICH}}) {
    const Ergebnis e = lauf(mikrofon, gespielt);
    EXPECT_EQ(e.ausfaelle, 0);
    EXPECT_EQ(e.resets, 0);
    EXPECT_TRUE(
        std::all_of(e.samples.begin(), e.samples.end(), [](float x) { return std::isfinite(x); }));
    EXPECT_NEAR(pegel(e.samples, 8.0, 12.0), heil, 3.0);
  }
}

// Such a value is sound as far as anybody can know. It makes a voice quieter, but 34 s later no
// more than one decibel, however large it was.
TEST(KeineZahl, AHugeValueIsForgottenByTheAverages) {
  constexpr int LANG = 2200;
  constexpr int NAHE_AB = 500;
  const double stimme = pegel(lauf(0.0F, 0.0F, LANG, NAHE_AB).samples, 40.0, 43.0);
  for (const auto& [mikrofon, gespielt] :
       {std::pair{1e6F, 0.0F}, std::pair{0.0F, 1e3F}, std::pair{0.0F, 1e6F}}) {
    const Ergebnis e = lauf(mikrofon, gespielt, LANG, NAHE_AB);
    EXPECT_EQ(e.ausfaelle, 0);
    EXPECT_TRUE(
        std::all_of(e.samples.begin(), e.samples.end(), [](float x) { return std::isfinite(x); }));
    EXPECT_NEAR(pegel(e.samples, 40.0, 43.0), stimme, 1.0) << mikrofon << " and " << gespielt;
  }
}

}  // namespace
}  // namespace hallkorb
