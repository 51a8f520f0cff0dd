#include <gtest/gtest.h>

#include <cstdint>

#include "platform/linux/Letterbox.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

LibavZeiger<AVFrame> rahmen(int breite = 1280, int hoehe = 800) {
  LibavZeiger<AVFrame> bild(av_frame_alloc());
  bild->format = AV_PIX_FMT_YUV420P;
  bild->width = breite;
  bild->height = hoehe;
  EXPECT_GE(av_frame_get_buffer(bild.get(), 0), 0);
  return bild;
}

struct Yuv {
  int y = 0;
  int u = 0;
  int v = 0;
  friend bool operator==(const Yuv&, const Yuv&) = default;
};

Yuv punkt(const AVFrame& bild, int x, int y) {
  return {bild.data[0][y * bild.linesize[0] + x], bild.data[1][y / 2 * bild.linesize[1] + x / 2],
          bild.data[2][y / 2 * bild.linesize[2] + x / 2]};
}

constexpr Yuv SCHWARZ{16, 128, 128};

TEST(Letterbox, KeepsTheAspectRatioInTheMiddle) {
  EXPECT_EQ(lageIn(1280, 800, 1280, 800), (Lage{0, 0, 1280, 800}));
  EXPECT_EQ(lageIn(1280, 800, 640, 400), (Lage{0, 0, 1280, 800}));
  EXPECT_EQ(lageIn(1280, 800, 1920, 1080), (Lage{0, 40, 1280, 720}));
  EXPECT_EQ(lageIn(1280, 800, 1000, 1000), (Lage{240, 0, 800, 800}));
  EXPECT_EQ(lageIn(1280, 800, 3840, 1600), (Lage{0, 132, 1280, 534}));
  EXPECT_EQ(lageIn(1280, 800, 1000, 700), (Lage{68, 0, 1142, 800}));
  // Very narrow windows still are a line.
  EXPECT_EQ(lageIn(1280, 800, 1, 4000), (Lage{638, 0, 2, 800}));
  EXPECT_EQ(lageIn(1280, 800, 8000, 1), (Lage{0, 398, 1280, 2}));
}

TEST(Letterbox, EverythingIsEven) {
  for (int breite = 1; breite < 3000; breite += 37) {
    for (int hoehe = 1; hoehe < 2500; hoehe += 41) {
      const Lage lage = lageIn(1280, 800, breite, hoehe);
      ASSERT_EQ((lage.x | lage.y | lage.breite | lage.hoehe) & 1, 0) << breite << " x " << hoehe;
      ASSERT_GE(lage.breite, 2);
      ASSERT_GE(lage.hoehe, 2);
      ASSERT_LE(lage.x + lage.breite, 1280);
      ASSERT_LE(lage.y + lage.hoehe, 800);
      ASSERT_TRUE(lage.breite == 1280 || lage.hoehe == 800);
    }
  }
}

// Values after ITU-R BT.709, 8 bits, limited range: Y = 16 + 219 (0.2126 R + 0.7152 G + 0.0722 B).
TEST(Letterbox, ColoursAreThoseOfBt709) {
  struct Fall {
    std::uint32_t rgb = 0;
    Yuv yuv;
  };
  for (const Fall& fall : {Fall{0x000000, {16, 128, 128}}, Fall{0xFFFFFF, {235, 128, 128}},
                           Fall{0xFF0000, {63, 102, 240}}, Fall{0x00FF00, {173, 42, 26}},
                           Fall{0x0000FF, {32, 240, 118}}, Fall{0x808080, {126, 128, 128}}}) {
    const auto ziel = rahmen();
    Letterbox letterbox;
    ASSERT_FALSE(letterbox.zeichne(Testbild(640, 400, fall.rgb).alsBild(0.0), *ziel));
    const Yuv yuv = punkt(*ziel, 640, 400);
    EXPECT_NEAR(yuv.y, fall.yuv.y, 1) << std::hex << fall.rgb;
    EXPECT_NEAR(yuv.u, fall.yuv.u, 1) << std::hex << fall.rgb;
    EXPECT_NEAR(yuv.v, fall.yuv.v, 1) << std::hex << fall.rgb;
  }
}

TEST(Letterbox, WhatIsNotThePictureIsBlack) {
  const auto ziel = rahmen();
  Letterbox letterbox;
  ASSERT_FALSE(letterbox.zeichne(Testbild(1000, 1000, 0xFFFFFF).alsBild(0.0), *ziel));
  for (const int y : {0, 1, 400, 799}) {
    EXPECT_EQ(punkt(*ziel, 0, y), SCHWARZ);
    EXPECT_EQ(punkt(*ziel, 239, y), SCHWARZ);
    EXPECT_EQ(punkt(*ziel, 240, y).y, 235);
    EXPECT_EQ(punkt(*ziel, 1039, y).y, 235);
    EXPECT_EQ(punkt(*ziel, 1040, y), SCHWARZ);
    EXPECT_EQ(punkt(*ziel, 1279, y), SCHWARZ);
  }
}

TEST(Letterbox, APictureOfAnotherSizeLeavesNothingOfTheOneBefore) {
  const auto ziel = rahmen();
  Letterbox letterbox;
  ASSERT_FALSE(letterbox.zeichne(Testbild(640, 400, 0xFFFFFF).alsBild(0.0), *ziel));
  ASSERT_FALSE(letterbox.zeichne(Testbild(1920, 1080, 0x808080).alsBild(0.0), *ziel));
  EXPECT_EQ(punkt(*ziel, 640, 39), SCHWARZ);
  EXPECT_NEAR(punkt(*ziel, 640, 40).y, 126, 1);
  EXPECT_NEAR(punkt(*ziel, 640, 759).y, 126, 1);
  EXPECT_EQ(punkt(*ziel, 640, 760), SCHWARZ);
}

TEST(Letterbox, OddSizesAndRowsWithGaps) {
  const auto ziel = rahmen();
  Letterbox letterbox;
  const Testbild breiter(500, 301, 0xFF0000);
  const BgrBild ganz = breiter.alsBild(0.0);
  const BgrBild links(0.0, ganz.daten(), 333, 301, ganz.zeilenLaenge());
  ASSERT_FALSE(letterbox.zeichne(links, *ziel));
  EXPECT_NEAR(punkt(*ziel, 640, 400).y, 63, 1);
}

TEST(Letterbox, EveryPixelOfALargePictureCounts) {
  // Lines of one pixel, every third: reduced to a third they are an even grey.
  Testbild gitter(3840, 2400, 0x000000);
  for (int x = 0; x < 3840; x += 3)
    gitter.fuelle(x, 0, 1, 2400, 0xFFFFFF);
  const auto ziel = rahmen();
  Letterbox letterbox;
  ASSERT_FALSE(letterbox.zeichne(gitter.alsBild(0.0), *ziel));
  for (int x = 100; x < 110; ++x)
    EXPECT_NEAR(punkt(*ziel, x, 400).y, 16 + 73, 6) << x;
}

}  // namespace
}  // namespace hallkorb
