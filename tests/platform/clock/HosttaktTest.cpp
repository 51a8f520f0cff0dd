// The stage as a whole, on a virtual clock: what a timeline behind it has to correct, and where the
// sound ends up. The channel behind it runs at the device's own rate, so every sample can be
// checked.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "capture/Zeitachse.h"
#include "platform/clock/Hosttakt.h"
#include "platform/clock/Stempelpruefung.h"
#include "tests/support/Kristall.h"

namespace hallkorb {
namespace {

constexpr double RATE = 48000.0;
constexpr double NULLZEIT = 999.9;
constexpr double ERSTE = 1000.0;  // the device's first sample
constexpr double FEHLT = 1.0;     // as the place of a click that isn't there

// A stage with a timeline behind it.
struct Kanal {
  explicit Kanal(double rate = RATE, bool behalte = true)
      : zeit("me", rate, NULLZEIT), takt([this, behalte](const PcmBlock& block) {
          std::vector<float> platz;
          const auto erster = block.ersterKanal(platz);
          auto neu = zeit.einordnen({erster.begin(), erster.end()}, block.hostTime, block.dauer());
          if (behalte) ton.insert(ton.end(), neu.begin(), neu.end());
          ++bloecke;
        }) {}

  Zeitachse zeit;
  std::vector<float> ton;
  int bloecke = 0;
  Hosttakt takt;
};

// A click of 1 ms each second, at the full second; smooth, so its place is known between samples.
double klick(double t) {
  const double seit = t - std::round(t);
  if (std::abs(seit) > 0.004) return 0.0;
  return 0.8 * std::exp(-0.5 * std::pow(seit / 0.0005, 2));
}

// By how much the click near `sekunde` lies behind its place, in seconds.
double verspaetung(const std::vector<float>& ton, double rate, double sekunde) {
  const auto mitte = static_cast<std::ptrdiff_t>(std::lround((sekunde - NULLZEIT) * rate));
  const auto weite = static_cast<std::ptrdiff_t>(rate * 0.1);
  double summe = 0;
  double moment = 0;
  for (std::ptrdiff_t i = mitte - weite; i <= mitte + weite; ++i) {
    const double x = ton.at(static_cast<std::size_t>(i));
    summe += x;
    moment += x * static_cast<double>(i);
  }
  return summe < 1e-3 ? FEHLT : moment / summe / rate - (sekunde - NULLZEIT);
}

// Every click up to the second `bis` is at its place, but for `hoechstens` seconds.
void pruefeKlicks(const Kanal& kanal, int bis, double hoechstens) {
  for (int s = 1; s < bis; ++s)
    EXPECT_LT(std::abs(verspaetung(kanal.ton, RATE, ERSTE + s)), hoechstens) << s;
}

struct Fall {
  double ppm;
  double zittern;
  double wandern;
};

std::vector<Fall> faelle() {
  std::vector<Fall> alle;
  for (const double ppm :
       {0.0, 1.0, -1.0, 10.0, -10.0, 60.0, -60.0, 100.0, -100.0, 200.0, -200.0}) {
    alle.push_back({ppm, 0.0, 0.0});
    alle.push_back({ppm, 200e-6, 0.0});
    alle.push_back({ppm, 0.0, 50e-6});
  }
  return alle;
}

std::string benenne(const testing::TestParamInfo<Fall>& info) {
  const Fall& f = info.param;
  return (f.ppm < 0 ? "Minus" : "") + std::to_string(std::lround(std::abs(f.ppm))) + "ppm" +
         (f.zittern > 0 ? "Jitter" : "") + (f.wandern > 0 ? "Wander" : "");
}

class Drift : public testing::TestWithParam<Fall> {};
INSTANTIATE_TEST_SUITE_P(Kristalle, Drift, testing::ValuesIn(faelle()), benenne);

TEST_P(Drift, LeavesNothingToCorrectAndEverySoundAtItsPlace) {
  const Fall fall = GetParam();
  Kristall geraet({.ppm = fall.ppm, .zittern = fall.zittern, .wandern = fall.wandern}, klick);
  Kanal kanal;
  while (geraet.zeit() < ERSTE + 180)
    kanal.takt.nimm(geraet.naechster());
  const double ende = geraet.zeit();
  kanal.takt.leere();

  EXPECT_EQ(kanal.zeit.luecken, 0);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  double frueheste = 1.0;
  double spaeteste = -1.0;
  pruefeKlicks(kanal, 180, 0.001);
  for (int s = 40; s < 180; ++s) {
    const double wann = verspaetung(kanal.ton, RATE, ERSTE + s);
    frueheste = std::min(frueheste, wann);
    spaeteste = std::max(spaeteste, wann);
  }
  // Ten seconds' drift of 20 ppm, as much as the stamps themselves waver.
  EXPECT_LT(spaeteste - frueheste, 0.0002);
  // All of the sound, no more and no less.
  EXPECT_NEAR(static_cast<double>(kanal.ton.size()), (ende - NULLZEIT) * RATE, 0.001 * RATE);
}

// As it was before there was a stage: every block straight to the timeline.
struct Direkt {
  void nimm(const PcmBlock& block) {
    std::vector<float> platz;
    const auto erster = block.ersterKanal(platz);
    auto neu = zeit.einordnen({erster.begin(), erster.end()}, block.hostTime, block.dauer());
    ton.insert(ton.end(), neu.begin(), neu.end());
  }
  Zeitachse zeit{"me", RATE, NULLZEIT};
  std::vector<float> ton;
};

double rauschen(double t) {
  return std::sin(t * 7919.0) * 0.4 + std::sin(t * t * 3.0) * 0.3;
}

TEST(Hosttakt, LeavesADeviceOnTheHostsClockAsItIs) {
  for (const std::uint32_t kanaele : {1U, 2U, 6U}) {
    for (const bool verschachtelt : {true, false}) {
      for (const Fall& fall : {Fall{0, 0, 0}, Fall{0, 0, 50e-6}, Fall{0, 200e-6, 0}}) {
        Kristall geraet({.kanaele = kanaele,
                         .verschachtelt = verschachtelt,
                         .zittern = fall.zittern,
                         .wandern = fall.wandern},
                        rauschen);
        const double unruhe = fall.zittern + fall.wandern;
        Kanal kanal;
        Direkt direkt;
        for (int i = 0; i < 1500; ++i) {
          const PcmBlock block = geraet.naechster();
          kanal.takt.nimm(block);
          PcmBlock genau = block;
          if (i == 0 || unruhe > 0) genau.hostTime = 1000.0 + i * block.dauer();
          direkt.nimm(genau);
        }
        kanal.takt.leere();
        ASSERT_EQ(kanal.bloecke, 1500);
        EXPECT_NEAR(static_cast<double>(kanal.ton.size()), static_cast<double>(direkt.ton.size()),
                    unruhe * 3 * RATE);
        EXPECT_TRUE(
            std::equal(kanal.ton.rbegin(), kanal.ton.rbegin() + 1500 * 1024, direkt.ton.rbegin()));
      }
    }
  }
}

TEST(Hosttakt, GivesOnEveryChannelInItsLayout) {
  for (const bool verschachtelt : {true, false}) {
    Kristall geraet({.ppm = 150, .kanaele = 3, .verschachtelt = verschachtelt}, rauschen);
    int gestreckt = 0;
    Hosttakt takt([&](const PcmBlock& block) {
      ASSERT_EQ(block.format, (PcmFormat{RATE, 3, verschachtelt}));
      ASSERT_EQ(block.samples.size(), std::size_t{block.frames} * 3);
      gestreckt += block.frames % 1024 != 0 ? 1 : 0;
      for (std::size_t i = 0; i < block.frames; ++i) {
        for (std::size_t c = 1; c < 3; ++c) {
          const auto wo = [&](std::size_t k) {
            return verschachtelt ? i * 3 + k : k * block.frames + i;
          };
          ASSERT_NEAR(block.samples[wo(c)], block.samples[wo(0)] / static_cast<float>(1 + c), 1e-6);
        }
      }
    });
    for (int i = 0; i < 600; ++i)
      takt.nimm(geraet.naechster());
    takt.leere();
    EXPECT_GT(gestreckt, 5);
  }
}

TEST(Hosttakt, BelievesNoFalseStamp) {
  Kristall geraet({.ppm = 100}, klick);
  Kanal kanal;
  const double block = 1024 / RATE;
  for (int i = 0; geraet.zeit() < ERSTE + 60; ++i) {
    // Runs of one to three, each late by one block; the first block of all is among them.
    const int stelle = i % 97;
    const bool falsch =
        stelle < 1 || (stelle >= 40 && stelle < 42) || (stelle >= 70 && stelle < 73);
    kanal.takt.nimm(falsch ? geraet.falscher(block) : geraet.naechster());
  }
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken, 0);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 59, 0.0006);
}

// A driver whose clock jumps by hours, for longer than a false stamp lasts.
TEST(Stempelpruefung, AJumpByHoursIsNoTime) {
  Kristall geraet({.ppm = 50}, klick);
  Kanal kanal;
  for (int i = 0; geraet.zeit() < ERSTE + 60; ++i) {
    PcmBlock block = geraet.naechster();
    const double jetzt = *block.hostTime + 0.02;
    const int stelle = i % 200;
    if (stelle >= 100 && stelle < 140) *block.hostTime += 5 * 3600.0;
    if (stelle >= 160 && stelle < 190) *block.hostTime -= 5 * 3600.0;
    block.hostTime = glaubhafterStempel(block.hostTime, jetzt);
    kanal.takt.nimm(block);
  }
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken, 0);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 59, 0.001);
}

// One whose clock is set back by half an hour and stays there: what it stamps is sound all the
// same.
TEST(Stempelpruefung, AStepBackThatStaysIsNoTime) {
  Kristall geraet({.ppm = 50}, klick);
  Kanal kanal;
  while (geraet.zeit() < ERSTE + 60) {
    PcmBlock block = geraet.naechster();
    const double jetzt = *block.hostTime + 0.02;
    if (geraet.zeit() > ERSTE + 30) *block.hostTime -= 1800.0;
    block.hostTime = glaubhafterStempel(block.hostTime, jetzt);
    kanal.takt.nimm(block);
  }
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken, 0);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 59, 0.002);
}

// One whose clock stands still, from the first block on, for seconds and for longer than a stamp is
// believed, and goes on. Meanwhile its stamps waver, and some are missing.
TEST(Stempelpruefung, AClockThatStandsStillTakesNoSoundAway) {
  Kristall geraet({}, klick);
  Kanal kanal;
  std::optional<double> letzter;
  for (int i = 0; geraet.zeit() < ERSTE + 240; ++i) {
    PcmBlock block = geraet.naechster();
    const double t = *block.hostTime - ERSTE;
    const bool steht = t < 2 || (t > 10 && t < 15) || (t > 30 && t < 160);
    if (!steht || !letzter) letzter = block.hostTime;
    block.hostTime = glaubhafterStempel(letzter, t + ERSTE + 0.02);
    if (steht && block.hostTime) *block.hostTime -= i % 3 * 0.00002;
    if (steht && i % 5 == 3) block.hostTime.reset();
    kanal.takt.nimm(block);
  }
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken, 0);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 239, 0.001);
}

TEST(Stempelpruefung, WhatAHaltedProcessGetsLateIsATime) {
  EXPECT_EQ(glaubhafterStempel(1000.0, 1000.0), 1000.0);
  EXPECT_EQ(glaubhafterStempel(1000.0, 1070.0), 1000.0);
  EXPECT_EQ(glaubhafterStempel(1000.0, 999.0), 1000.0);
  EXPECT_EQ(glaubhafterStempel(1000.0, 1130.0), std::nullopt);
  EXPECT_EQ(glaubhafterStempel(1000.0, 5000.0), std::nullopt);
  EXPECT_EQ(glaubhafterStempel(1000.0, 980.0), std::nullopt);
  EXPECT_EQ(glaubhafterStempel(std::nullopt, 1000.0), std::nullopt);
}

TEST(Hosttakt, ReplacesWhatWasLostAtItsPlace) {
  for (const double ppm : {0.0, 100.0, -100.0}) {
    Kristall geraet({.ppm = ppm}, klick);
    Kanal kanal;
    int verluste = 0;
    for (int i = 0; i < 19 * 141 + 50; ++i) {
      const int stelle = i % 141;
      if (stelle == 140) {
        geraet.verliere(2048);
        ++verluste;
      }
      const bool falsch = stelle >= 93 && stelle < 96;
      kanal.takt.nimm(falsch ? geraet.falscher(1024 / RATE) : geraet.naechster());
    }
    kanal.takt.leere();
    EXPECT_EQ(kanal.zeit.luecken, verluste);
    EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
    EXPECT_NEAR(static_cast<double>(kanal.zeit.lueckenSamples), verluste * 2048.0, verluste * 3.0);
    int da = 0;
    for (int s = 1; s < 59; ++s) {
      const double wann = verspaetung(kanal.ton, RATE, ERSTE + s);
      if (wann == FEHLT) continue;  // it was among what was lost
      EXPECT_LT(std::abs(wann), 0.0008) << s;
      ++da;
    }
    EXPECT_GT(da, 50);
  }
}

TEST(Hosttakt, KeepsTheSoundBeforeALossBeforeIt) {
  // A tone up to the loss, silence after it: so the end of the tone is known to the sample.
  for (const double ppm : {0.0, 120.0}) {
    Kristall geraet({.ppm = ppm}, [](double t) { return t < 1020.0 ? 0.5 : 0.0; });
    Kanal kanal;
    while (geraet.zeit() < 1020.0)
      kanal.takt.nimm(geraet.naechster());
    const double ab = geraet.zeit();
    geraet.verliere(4800);
    for (int i = 0; i < 50; ++i)
      kanal.takt.nimm(geraet.naechster());
    kanal.takt.leere();
    const auto letzter = std::find_if(kanal.ton.rbegin(), kanal.ton.rend(),
                                      [](float x) { return std::abs(x) > 0.25F; });
    const double ende = NULLZEIT + static_cast<double>(kanal.ton.rend() - letzter) / RATE;
    EXPECT_NEAR(ende, std::min(ab, 1020.0), 0.0008);
    EXPECT_EQ(kanal.zeit.luecken, 1);
  }
}

TEST(Hosttakt, TakesAChangedBlockLengthForNothing) {
  Kristall geraet({.ppm = 60}, klick);
  Kanal kanal;
  const std::uint32_t laengen[] = {1024, 256, 64, 512, 8192, 128, 2048, 1024};
  while (geraet.zeit() < ERSTE + 40) {
    geraet.laenge(laengen[static_cast<std::size_t>(geraet.zeit() - 999.5) / 5 % 8]);
    kanal.takt.nimm(geraet.naechster());
  }
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken + kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 39, 0.0006);
}

TEST(Hosttakt, BeginsAnewWithAnotherDevice) {
  Kanal kanal;
  Kristall erstes({.ppm = 100}, klick);
  while (erstes.zeit() < ERSTE + 20.5)
    kanal.takt.nimm(erstes.naechster());
  // Another crystal, another number of channels, a hole of 0.1 s.
  Kristall zweites({.ppm = -100, .kanaele = 2, .beginn = erstes.zeit() + 0.1}, klick);
  while (zweites.zeit() < ERSTE + 40.5)
    kanal.takt.nimm(zweites.naechster());
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken, 1);
  EXPECT_NEAR(static_cast<double>(kanal.zeit.lueckenSamples), 0.1 * RATE, 0.001 * RATE);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 40, 0.0006);
}

TEST(Hosttakt, FollowsAnotherCrystalBehindTheSameDevice) {
  Kristall geraet({.ppm = 100, .wandern = 50e-6}, klick);
  Kanal kanal;
  while (geraet.zeit() < ERSTE + 100)
    kanal.takt.nimm(geraet.naechster());
  geraet.ppm(-100);
  while (geraet.zeit() < ERSTE + 200)
    kanal.takt.nimm(geraet.naechster());
  kanal.takt.leere();
  EXPECT_EQ(kanal.zeit.luecken + kanal.zeit.ueberlappungen, 0);
  pruefeKlicks(kanal, 199, 0.002);
}

// Sound cards of virtual machines and sound from a network: no stretching could follow them.
TEST(Hosttakt, StaysBesideTheClockWithADeviceThatIsFarOff) {
  for (const double ppm : {1500.0, -1500.0, 3000.0, -3000.0, 6000.0, -6000.0}) {
    SCOPED_TRACE(ppm);
    Kanal kanal;
    Kristall geraet({.ppm = ppm}, klick);
    double weitester = 0.0;
    while (geraet.zeit() < ERSTE + 120) {
      kanal.takt.nimm(geraet.naechster());
      if (geraet.zeit() < ERSTE + 5) continue;
      const double ende = NULLZEIT + static_cast<double>(kanal.ton.size()) / RATE;
      weitester = std::max(weitester, std::abs(ende - geraet.zeit()));
    }
    EXPECT_LT(weitester, 0.012);
    // It is the timeline that says so: what is too much is dropped, what is missing is silence.
    EXPECT_EQ(kanal.zeit.luecken > 0, ppm < 0);
    EXPECT_EQ(kanal.zeit.ueberlappungen > 0, ppm > 0);
  }
}

TEST(Hosttakt, LeavesAStepOfTheClockToTheTimeline) {
  for (const double schritt : {0.25, 3.0, -0.25}) {
    Kristall geraet({.ppm = 80}, klick);
    Kanal kanal;
    double verstellt = 0;
    while (geraet.zeit() < ERSTE + 30.5) {
      if (geraet.zeit() > ERSTE + 15.5) verstellt = schritt;
      PcmBlock block = geraet.naechster();
      *block.hostTime += verstellt;
      kanal.takt.nimm(block);
    }
    kanal.takt.leere();
    EXPECT_EQ(kanal.zeit.luecken, schritt > 0 ? 1 : 0) << schritt;
    EXPECT_EQ(kanal.zeit.ueberlappungen, schritt > 0 ? 0 : 1) << schritt;
    EXPECT_NEAR(verspaetung(kanal.ton, RATE, ERSTE + 29 + schritt), 0.0, 0.0008);
  }
}

TEST(Hosttakt, StaysInStepForTwelveHours) {
  for (const double ppm : {-200.0, -10.0, -1.0, 1.0, 100.0}) {
    // A slow device, so that it doesn't take twelve hours; blocks as long as ever.
    constexpr double LANGSAM = 2000.0;
    Kristall geraet({.ppm = ppm, .rate = LANGSAM, .frames = 43, .wandern = 50e-6},
                    [](double) { return 0.25; });
    Kanal kanal(LANGSAM, false);
    while (geraet.zeit() < 1000.0 + 12 * 3600)
      kanal.takt.nimm(geraet.naechster());
    const double ende = geraet.zeit();
    kanal.takt.leere();
    EXPECT_EQ(kanal.zeit.luecken + kanal.zeit.ueberlappungen, 0);
    EXPECT_NEAR(static_cast<double>(kanal.zeit.geschrieben), (ende - NULLZEIT) * LANGSAM,
                0.001 * LANGSAM + 1);
  }
}

TEST(Hosttakt, HasGivenOnEverythingOnceItIsEmptied) {
  for (const double ppm : {0.0, 180.0}) {
    for (int bloecke : {1, 2, 5, 9, 700}) {
      Kristall geraet({.ppm = ppm}, rauschen);
      Kanal kanal;
      EXPECT_TRUE(kanal.takt.leer());
      for (int i = 0; i < bloecke; ++i) {
        // The last three are late, and no later block can show whether by mistake.
        kanal.takt.nimm(i + 3 < bloecke || bloecke < 5 ? geraet.naechster()
                                                       : geraet.falscher(0.02));
      }
      kanal.takt.leere();
      EXPECT_TRUE(kanal.takt.leer());
      const double frames = static_cast<double>(kanal.ton.size()) - 0.1 * RATE -
                            static_cast<double>(kanal.zeit.lueckenSamples);
      EXPECT_NEAR(frames, bloecke * 1024.0, ppm > 0 && bloecke > 100 ? 180e-6 * 700 * 1024 : 1.0);
      kanal.takt.leere();  // once more does no harm
    }
  }
}

TEST(Hosttakt, PassesBlocksWithoutATimeInTheirOrder) {
  std::vector<std::optional<double>> zeiten;
  std::vector<float> erste;
  Hosttakt takt([&](const PcmBlock& block) {
    zeiten.push_back(block.hostTime);
    erste.push_back(block.samples[0]);
  });
  const std::vector<float> samples(4800, 0.0F);
  const auto gib = [&](int i, std::optional<double> zeit) {
    std::vector<float> neu = samples;
    neu[0] = static_cast<float>(i);
    takt.nimm({{RATE, 1, true}, 4800, neu, zeit});
  };
  gib(0, std::nullopt);
  gib(1, std::nan(""));
  ASSERT_EQ(zeiten.size(), 2U);
  EXPECT_FALSE(zeiten[0].has_value());
  gib(2, 50.0);
  gib(3, std::nullopt);
  gib(4, -1.0);
  gib(5, 50.3);
  takt.leere();
  ASSERT_EQ(erste, (std::vector<float>{0, 1, 2, 3, 4, 5}));
  for (std::size_t i = 2; i < 6; ++i)
    EXPECT_NEAR(zeiten[i].value_or(0), 50.0 + 0.1 * (static_cast<double>(i) - 2), 1e-9);
}

TEST(Hosttakt, TakesNoLongBlocksForPauses) {
  using std::chrono::milliseconds;
  Hosttakt takt([](const PcmBlock&) {});
  const std::vector<float> samples(8192, 0.0F);
  const auto pauseNach = [&](double rate, std::uint32_t frames) {
    takt.nimm({{rate, 1, true}, frames, std::span(samples).first(frames), ERSTE});
    return takt.pause();
  };
  EXPECT_EQ(pauseNach(48000, 480), milliseconds(400));
  EXPECT_EQ(pauseNach(48000, 8192), milliseconds(400));
  EXPECT_EQ(pauseNach(16000, 8192), milliseconds(1024));
  EXPECT_EQ(pauseNach(16000, 160), milliseconds(400));
  EXPECT_EQ(pauseNach(1e-300, 1), std::chrono::hours(24));
}

TEST(Hosttakt, PassesWhatIsNoProperBlock) {
  int heraus = 0;
  Hosttakt takt([&](const PcmBlock&) { ++heraus; });
  const std::vector<float> samples(64, 0.0F);
  takt.nimm({{0.0, 1, true}, 64, samples, 1.0});
  takt.nimm({{RATE, 0, true}, 64, {}, 1.0});
  takt.nimm({{RATE, 1, true}, 0, {}, 1.0});
  takt.nimm({{RATE, 2, true}, 64, samples, 1.0});
  EXPECT_EQ(heraus, 4);
}

TEST(Hosttakt, SilencesWhatIsNoNumberAndNothingElse) {
  const PcmFormat format{RATE, 2, true};
  constexpr float UNENDLICH = std::numeric_limits<float>::infinity();
  constexpr float GROSS = std::numeric_limits<float>::max();
  std::vector<float> samples(960, 0.25F);
  samples[7] = std::numeric_limits<float>::quiet_NaN();
  samples[100] = UNENDLICH;
  samples[959] = -UNENDLICH;
  samples[500] = GROSS;
  std::vector<float> heraus;
  Hosttakt takt([&](const PcmBlock& block) {
    heraus.insert(heraus.end(), block.samples.begin(), block.samples.end());
  });
  for (int k = 0; k < 50; ++k)
    takt.nimm({format, 480, samples, ERSTE + k * 0.01});
  takt.leere();
  ASSERT_EQ(heraus.size(), 50 * samples.size());
  for (std::size_t i = 0; i < heraus.size(); ++i) {
    const std::size_t stelle = i % samples.size();
    const bool keine = stelle == 7 || stelle == 100 || stelle == 959;
    ASSERT_EQ(heraus[i], keine ? 0.0F : stelle == 500 ? GROSS : 0.25F) << i;
  }
}

// A slow disk, a graph with absurd blocks: whatever goes in comes out, in order.
TEST(Hosttakt, LosesNothingOfBlocksOfAnyLength) {
  Kristall geraet({}, rauschen);
  Kanal kanal;
  std::uint64_t hinein = 0;
  for (int i = 0; i < 3000; ++i) {
    const std::uint32_t laenge =
        i % 500 == 7 ? 200000 : 1 + static_cast<std::uint32_t>(i * 37 % 60);
    geraet.laenge(laenge);
    hinein += laenge;
    const PcmBlock block = i % 211 > 100 ? geraet.falscher(0.01) : geraet.naechster();
    kanal.takt.nimm(block);
  }
  kanal.takt.leere();
  EXPECT_NEAR(static_cast<double>(kanal.ton.size()) - 0.1 * RATE -
                  static_cast<double>(kanal.zeit.lueckenSamples) +
                  static_cast<double>(kanal.zeit.verworfen),
              static_cast<double>(hinein), 1.0);
}

}  // namespace
}  // namespace hallkorb
