#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <random>

#include "platform/clock/Taktregler.h"

namespace hallkorb {
namespace {

constexpr double BLOCK = 1024 / 48000.0;

struct Lauf {
  double ppm = 0.0;
  double zittern = 0.0;
  double wandern = 0.0;
  double block = BLOCK;
};

// A device of this kind, and a stream that is stretched by the regulator's ratio.
struct Strecke {
  explicit Strecke(const Lauf& art) : lauf(art) {}

  void laufe(double sekunden) {
    const double a = std::exp(-lauf.block / 5);
    const auto bloecke = static_cast<int>(std::ceil(sekunden / lauf.block));
    for (int i = 0; i < bloecke; ++i) {
      wandert = a * wandert + std::sqrt(1 - a * a) * lauf.wandern * normal(zufall);
      regler.schritt(lauf.block, abweichung + wandert + lauf.zittern * normal(zufall));
      abweichung += lauf.block * (lauf.ppm * 1e-6 - regler.verhaeltnis());
    }
  }

  Lauf lauf;
  Taktregler regler;
  double abweichung = 0.0;  // of the stream's place from the truth, in s
  std::mt19937_64 zufall{7};
  std::normal_distribution<double> normal;
  double wandert = 0.0;
};

TEST(Taktregler, LeavesASteadyDeviceAlone) {
  for (const Lauf& lauf : {Lauf{.zittern = 200e-6}, Lauf{.wandern = 50e-6},
                           Lauf{.zittern = 200e-6, .block = 4096 / 48000.0}}) {
    Strecke strecke(lauf);
    strecke.laufe(12 * 3600);
    EXPECT_FALSE(strecke.regler.greiftEin());
    EXPECT_EQ(strecke.regler.verhaeltnis(), 0.0);
  }
}

TEST(Taktregler, ActsWhenTheMeanHasMovedByTheDeadZone) {
  for (const double ppm : {10.0, 60.0, 100.0}) {
    // The means are a second old, on both sides.
    const double dann = Taktregler::TOTZONE / (ppm * 1e-6) + 2.0;
    Strecke strecke({.ppm = ppm});
    strecke.laufe(dann - 0.1);
    EXPECT_FALSE(strecke.regler.greiftEin());
    strecke.laufe(0.2);
    EXPECT_TRUE(strecke.regler.greiftEin());
    EXPECT_NEAR(strecke.regler.verhaeltnis(), ppm * 1e-6, 1e-6);
  }
}

TEST(Taktregler, FindsTheRate) {
  for (const double ppm : {-200.0, -10.0, 10.0, 60.0, 200.0}) {
    for (const double block : {64 / 48000.0, BLOCK, 8192 / 48000.0}) {
      Strecke strecke({.ppm = ppm, .zittern = 20e-6, .block = block});
      strecke.laufe(300);
      EXPECT_NEAR(strecke.regler.verhaeltnis(), ppm * 1e-6, 1.5e-6) << block;
      EXPECT_LT(std::abs(strecke.abweichung), 0.0004 + std::abs(ppm) * 2.2e-6) << block;
    }
  }
}

TEST(Taktregler, HoldsTheRateStillWhateverTheStampsDo) {
  for (const Lauf& lauf :
       {Lauf{.ppm = 100, .zittern = 200e-6}, Lauf{.ppm = 100, .wandern = 50e-6}}) {
    Strecke strecke(lauf);
    strecke.laufe(60);
    double kleinstes = 1;
    double groesstes = -1;
    for (int i = 0; i < 200; ++i) {
      strecke.laufe(1);
      kleinstes = std::min(kleinstes, strecke.regler.verhaeltnis());
      groesstes = std::max(groesstes, strecke.regler.verhaeltnis());
    }
    EXPECT_LT(groesstes - kleinstes, 15e-6);
  }
}

TEST(Taktregler, FollowsAnotherCrystal) {
  Strecke strecke({.ppm = 100});
  strecke.laufe(150);
  const double vorher = strecke.abweichung;
  strecke.lauf.ppm = -100;
  double weiteste = 0;
  for (int i = 0; i < 60; ++i) {
    strecke.laufe(1);
    weiteste = std::max(weiteste, std::abs(strecke.abweichung - vorher));
  }
  EXPECT_LT(weiteste, 0.0015);
  EXPECT_NEAR(strecke.regler.verhaeltnis(), -100e-6, 5e-6);
}

TEST(Taktregler, NeverMovesTheRateByAnAudibleStep) {
  Strecke strecke({.ppm = 200});
  strecke.laufe(20);
  double vorher = strecke.regler.verhaeltnis();
  for (int i = 0; i < 1400; ++i) {
    strecke.regler.schritt(BLOCK, 0.003);  // as far off as a stamp that is believed can be
    EXPECT_LT(std::abs(strecke.regler.verhaeltnis() - vorher), 0.0001);
    EXPECT_LT(std::abs(strecke.regler.verhaeltnis()), 0.0015);
    vorher = strecke.regler.verhaeltnis();
  }
}

TEST(Taktregler, IgnoresBlocksWithoutATrueStamp) {
  Strecke strecke({.ppm = 100});
  for (int i = 0; i < 470; ++i)
    strecke.regler.schritt(BLOCK, std::nullopt);
  EXPECT_FALSE(strecke.regler.greiftEin());
  strecke.laufe(10);
  EXPECT_NEAR(strecke.regler.verhaeltnis(), 100e-6, 2e-6);
}

}  // namespace
}  // namespace hallkorb
