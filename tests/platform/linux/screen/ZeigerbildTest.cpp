#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "platform/linux/screen/Zeigerbild.h"

namespace hallkorb {
namespace {

constexpr int BREITE = 4;
constexpr int HOEHE = 3;

// A grey picture in which the pointer's pixels can be recognised by their values.
class Flaeche {
 public:
  void zeichne(const Zeigerbild& zeiger, int x, int y) {
    zeichneZeiger(zeiger, x, y, bytes_.data(), BREITE, HOEHE);
  }
  [[nodiscard]] std::uint32_t farbe(int x, int y) const {
    const std::size_t i = static_cast<std::size_t>(y * BREITE + x) * 4;
    return std::uint32_t{bytes_[i + 2]} << 16 | std::uint32_t{bytes_[i + 1]} << 8 | bytes_[i];
  }
  [[nodiscard]] int veraenderte() const {
    int anzahl = 0;
    for (int i = 0; i < BREITE * HOEHE; ++i) {
      if (farbe(i % BREITE, i / BREITE) != 0x646464) ++anzahl;
    }
    return anzahl;
  }

 private:
  std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(BREITE * HOEHE * 4, 100);
};

Zeigerbild rot2x2(int spitzeX, int spitzeY) {
  return {2, 2, spitzeX, spitzeY, {0xFFFF0000, 0xFFFE0000, 0xFFFD0000, 0xFFFC0000}};
}

TEST(Zeigerbild, TheTipLiesWhereThePointerIs) {
  Flaeche flaeche;
  flaeche.zeichne(rot2x2(1, 1), 2, 1);
  EXPECT_EQ(flaeche.farbe(1, 0), 0xFF0000U);
  EXPECT_EQ(flaeche.farbe(2, 0), 0xFE0000U);
  EXPECT_EQ(flaeche.farbe(1, 1), 0xFD0000U);
  EXPECT_EQ(flaeche.farbe(2, 1), 0xFC0000U);
  EXPECT_EQ(flaeche.veraenderte(), 4);
}

TEST(Zeigerbild, WhatLiesOutsideIsCutOffAtEveryEdge) {
  Flaeche ecke;
  ecke.zeichne(rot2x2(1, 1), 0, 0);
  EXPECT_EQ(ecke.farbe(0, 0), 0xFC0000U);
  EXPECT_EQ(ecke.veraenderte(), 1);
  Flaeche andere;
  andere.zeichne(rot2x2(0, 0), 3, 2);
  EXPECT_EQ(andere.farbe(3, 2), 0xFF0000U);
  EXPECT_EQ(andere.veraenderte(), 1);
  Flaeche draussen;
  draussen.zeichne(rot2x2(0, 0), 4, 0);
  draussen.zeichne(rot2x2(0, 0), 0, -2);
  draussen.zeichne(rot2x2(0, 0), -1000, 1000);
  EXPECT_EQ(draussen.veraenderte(), 0);
}

TEST(Zeigerbild, PixelsAreMixedByTheirAlpha) {
  Flaeche flaeche;
  // Half transparent white, already multiplied; fully transparent; nothing but a shadow.
  flaeche.zeichne({3, 1, 0, 0, {0x80808080, 0x00000000, 0x40000000}}, 0, 0);
  EXPECT_EQ(flaeche.farbe(0, 0), 0xB2B2B2U);  // 128 + 100 * 127 / 255 = 177.8
  EXPECT_EQ(flaeche.farbe(1, 0), 0x646464U);
  EXPECT_EQ(flaeche.farbe(2, 0), 0x4B4B4BU);  // 100 * 191 / 255 = 74.9
}

TEST(Zeigerbild, APointerWithoutAShapeDrawsNothing) {
  Flaeche flaeche;
  flaeche.zeichne({}, 1, 1);
  EXPECT_EQ(flaeche.veraenderte(), 0);
}

}  // namespace
}  // namespace hallkorb
