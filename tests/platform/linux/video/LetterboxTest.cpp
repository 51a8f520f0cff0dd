#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/linux/video/Letterbox.h"
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
  EXPECT_EQ(flaecheIn(1280, 800, 1280, 800), (Bildflaeche{0, 0, 1280, 800}));
  EXPECT_EQ(flaecheIn(1280, 800, 640, 400), (Bildflaeche{0, 0, 1280, 800}));
  EXPECT_EQ(flaecheIn(1280, 800, 1920, 1080), (Bildflaeche{0, 40, 1280, 720}));
  EXPECT_EQ(flaecheIn(1280, 800, 1000, 1000), (Bildflaeche{240, 0, 800, 800}));
  EXPECT_EQ(flaecheIn(1280, 800, 3840, 1600), (Bildflaeche{0, 132, 1280, 534}));
  EXPECT_EQ(flaecheIn(1280, 800, 1000, 700), (Bildflaeche{68, 0, 1142, 800}));
  // Very narrow windows still are a line.
  EXPECT_EQ(flaecheIn(1280, 800, 1, 4000), (Bildflaeche{638, 0, 2, 800}));
  EXPECT_EQ(flaecheIn(1280, 800, 8000, 1), (Bildflaeche{0, 398, 1280, 2}));
}

TEST(Letterbox, EverythingIsEven) {
  for (int breite = 1; breite < 3000; breite += 37) {
    for (int hoehe = 1; hoehe < 2500; hoehe += 41) {
      const Bildflaeche flaeche = flaecheIn(1280, 800, breite, hoehe);
      ASSERT_EQ((flaeche.x | flaeche.y | flaeche.breite | flaeche.hoehe) & 1, 0)
          << breite << " x " << hoehe;
      ASSERT_GE(flaeche.breite, 2);
      ASSERT_GE(flaeche.hoehe, 2);
      ASSERT_LE(flaeche.x + flaeche.breite, 1280);
      ASSERT_LE(flaeche.y + flaeche.hoehe, 800);
      ASSERT_TRUE(flaeche.breite == 1280 || flaeche.hoehe == 800);
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
    ASSERT_TRUE(letterbox.zeichne(Testbild(640, 400, fall.rgb).alsBild(0.0), *ziel).gelungen());
    const Yuv yuv = punkt(*ziel, 640, 400);
    EXPECT_NEAR(yuv.y, fall.yuv.y, 1) << std::hex << fall.rgb;
    EXPECT_NEAR(yuv.u, fall.yuv.u, 1) << std::hex << fall.rgb;
    EXPECT_NEAR(yuv.v, fall.yuv.v, 1) << std::hex << fall.rgb;
  }
}

TEST(Letterbox, WhatIsNotThePictureIsBlack) {
  const auto ziel = rahmen();
  Letterbox letterbox;
  ASSERT_TRUE(letterbox.zeichne(Testbild(1000, 1000, 0xFFFFFF).alsBild(0.0), *ziel).gelungen());
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
  ASSERT_TRUE(letterbox.zeichne(Testbild(640, 400, 0xFFFFFF).alsBild(0.0), *ziel).gelungen());
  ASSERT_TRUE(letterbox.zeichne(Testbild(1920, 1080, 0x808080).alsBild(0.0), *ziel).gelungen());
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
  ASSERT_TRUE(letterbox.zeichne(links, *ziel).gelungen());
  EXPECT_NEAR(punkt(*ziel, 640, 400).y, 63, 1);
}

struct Groesse {
  int breite;
  int hoehe;
};

TEST(Letterbox, WindowsOfAnySizeAreDrawnWhereTheyBelong) {
  Letterbox letterbox;
  for (const auto& [breite, hoehe] : {Groesse{1, 1},
                                      {1, 2},
                                      {2, 1},
                                      {3, 3},
                                      {1, 4000},
                                      {8000, 1},
                                      {2, 16384},
                                      {16384, 2},
                                      {5, 1200},
                                      {1919, 7},
                                      {7680, 4320},
                                      {16384, 500},
                                      {333, 16384}}) {
    SCOPED_TRACE(std::to_string(breite) + " x " + std::to_string(hoehe));
    const auto ziel = rahmen();
    ASSERT_TRUE(
        letterbox.zeichne(Testbild(breite, hoehe, 0x808080).alsBild(0.0), *ziel).gelungen());
    const Bildflaeche flaeche = flaecheIn(1280, 800, breite, hoehe);
    int innenFalsch = 0;
    int aussenFalsch = 0;
    for (int y = 0; y < 800; ++y) {
      for (int x = 0; x < 1280; ++x) {
        const bool innen = x >= flaeche.x && x < flaeche.x + flaeche.breite && y >= flaeche.y &&
                           y < flaeche.y + flaeche.hoehe;
        const Yuv yuv = punkt(*ziel, x, y);
        // When many pixels become one, rounding adds up.
        const bool grau =
            std::abs(yuv.y - 126) <= 1 && std::abs(yuv.u - 128) <= 2 && std::abs(yuv.v - 128) <= 2;
        (innen ? innenFalsch : aussenFalsch) += innen ? !grau : !(yuv == SCHWARZ);
      }
    }
    EXPECT_EQ(innenFalsch, 0);
    EXPECT_EQ(aussenFalsch, 0);
  }
}

TEST(Letterbox, NothingIsReadBehindThePicture) {
  // What lies there may be no memory at all.
  const auto seite = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  Letterbox letterbox;
  for (const auto& [breite, hoehe] : {Groesse{1, 1},
                                      {2, 3},
                                      {5, 1200},
                                      {7, 500},
                                      {9, 9},
                                      {333, 301},
                                      {641, 401},
                                      {1025, 640},
                                      {1279, 799},
                                      {1281, 801},
                                      {1921, 1081},
                                      {3001, 17}}) {
    const std::size_t bytes =
        static_cast<std::size_t>(breite) * static_cast<std::size_t>(hoehe) * 4;
    const std::size_t platz = (bytes + seite - 1) / seite * seite;
    void* speicher =
        ::mmap(nullptr, platz + seite, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(speicher, MAP_FAILED);
    auto* anfang = static_cast<std::uint8_t*>(speicher);
    ASSERT_EQ(::mprotect(anfang + platz, seite, PROT_NONE), 0);
    std::memset(anfang, 0x80, platz);
    const auto ziel = rahmen();
    const BgrBild bild(0.0, anfang + platz - bytes, breite, hoehe,
                       static_cast<std::size_t>(breite) * 4);
    EXPECT_TRUE(letterbox.zeichne(bild, *ziel).gelungen()) << breite << " x " << hoehe;
    EXPECT_NEAR(punkt(*ziel, 640, 400).y, 126, 1) << breite << " x " << hoehe;
    ::munmap(speicher, platz + seite);
  }
}

TEST(Letterbox, EveryPixelOfALargePictureCounts) {
  // Lines of one pixel, every third: reduced to a third they are an even grey.
  Testbild gitter(3840, 2400, 0x000000);
  for (int x = 0; x < 3840; x += 3)
    gitter.fuelle(x, 0, 1, 2400, 0xFFFFFF);
  const auto ziel = rahmen();
  Letterbox letterbox;
  ASSERT_TRUE(letterbox.zeichne(gitter.alsBild(0.0), *ziel).gelungen());
  for (int x = 100; x < 110; ++x)
    EXPECT_NEAR(punkt(*ziel, x, 400).y, 16 + 73, 6) << x;
}

}  // namespace
}  // namespace hallkorb
