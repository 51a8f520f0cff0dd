#include <gtest/gtest.h>

#include <cstdint>

#include "platform/linux/screen/Bildvergleich.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr std::uint32_t BLAU = 0x2060A0;
constexpr std::uint32_t ROT = 0xC01020;

TEST(Bildvergleich, TheFirstPictureEqualsNone) {
  Bildvergleich vergleich;
  const Testbild bild(40, 30, BLAU);
  EXPECT_FALSE(vergleich.gleich(bild.alsBild(0.0)));
  vergleich.merke(bild.alsBild(0.0));
  EXPECT_TRUE(vergleich.gleich(Testbild(40, 30, BLAU).alsBild(1.0)));
  vergleich.vergiss();
  EXPECT_FALSE(vergleich.gleich(bild.alsBild(2.0)));
}

TEST(Bildvergleich, EachPixelCounts) {
  Bildvergleich vergleich;
  const Testbild bild(9, 7, BLAU);
  vergleich.merke(bild.alsBild(0.0));
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 9; ++x) {
      Testbild anderes(9, 7, BLAU);
      anderes.fuelle(x, y, 1, 1, BLAU + 1);
      EXPECT_FALSE(vergleich.gleich(anderes.alsBild(1.0))) << x << " " << y;
      EXPECT_TRUE(vergleich.gleich(Testbild(9, 7, BLAU).alsBild(2.0)));
    }
  }
}

TEST(Bildvergleich, AnotherSizeIsAnotherPicture) {
  Bildvergleich vergleich;
  Testbild bild(40, 30, BLAU);
  bild.fuelle(0, 29, 1, 1, ROT);
  vergleich.merke(bild.alsBild(0.0));
  // Then they differ in a row that the next one does not have.
  EXPECT_FALSE(vergleich.gleich(Testbild(40, 30, BLAU).alsBild(1.0)));
  const Testbild kleines(40, 20, BLAU);
  EXPECT_FALSE(vergleich.gleich(kleines.alsBild(2.0)));
  vergleich.merke(kleines.alsBild(2.0));
  EXPECT_TRUE(vergleich.gleich(Testbild(40, 20, BLAU).alsBild(3.0)));
  // As many pixels.
  EXPECT_FALSE(vergleich.gleich(Testbild(20, 40, BLAU).alsBild(4.0)));
}

// A picture may be a part of larger rows.
TEST(Bildvergleich, WhatLiesBesideThePictureDoesNotCount) {
  Bildvergleich vergleich;
  const Testbild bild(40, 30, BLAU);
  Testbild rand(50, 30, ROT);
  rand.fuelle(0, 0, 40, 30, BLAU);
  const BgrBild teil(1.0, rand.alsBild(0.0).daten(), 40, 30, 50 * 4);
  vergleich.merke(bild.alsBild(0.0));
  EXPECT_TRUE(vergleich.gleich(teil));
}

}  // namespace
}  // namespace hallkorb
