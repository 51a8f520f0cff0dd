// Screens of other depths: their pixels as values, and on a real server of each.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/screen/X11Punktformat.h"
#include "platform/linux/screen/X11ScreenCapture.h"
#include "tests/support/Bildsammler.h"
#include "tests/support/X11Bildschirm.h"

namespace hallkorb {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Masken = X11Punktformat::Masken;

constexpr Masken MASKEN_16{0xF800, 0x07E0, 0x001F};
constexpr Masken MASKEN_30{0x3FF00000, 0x000FFC00, 0x000003FF};

Bytes gewandelt(const X11Punktformat& format, const Bytes& roh, int breite, int hoehe) {
  Bytes bgr;
  format.wandle(roh, breite, hoehe, bgr);
  return bgr;
}

TEST(X11Punktformat, TheUsualOneNeedsNothing) {
  EXPECT_TRUE(X11Punktformat().istBgr());
  EXPECT_TRUE(X11Punktformat::neu(32, 32, {})->istBgr());
  EXPECT_EQ(X11Punktformat().zeilenLaenge(7), 28U);
  EXPECT_FALSE(X11Punktformat::neu(32, 32, MASKEN_30)->istBgr());
  EXPECT_FALSE(X11Punktformat::neu(32, 32, {0xFF, 0xFF00, 0xFF0000})->istBgr());
}

TEST(X11Punktformat, SixteenBitsReachBlackAndWhiteAndPadTheirRows) {
  const auto format = X11Punktformat::neu(16, 32, MASKEN_16);
  ASSERT_TRUE(format);
  EXPECT_EQ(format->zeilenLaenge(2), 4U);
  EXPECT_EQ(format->zeilenLaenge(3), 8U);
  // White, red of 16/31, green of 1/63; two bytes that mean nothing; then blue, black, black.
  const Bytes roh{0xFF, 0xFF, 0x00, 0x80, 0x20, 0x00, 0xAA, 0xAA,
                  0x1F, 0x00, 0x00, 0x00, 0x00, 0x00, 0xAA, 0xAA};
  EXPECT_EQ(gewandelt(*format, roh, 3, 2), (Bytes{255, 255, 255, 0, 0, 0, 132, 0, 0, 4, 0, 0,  //
                                                  255, 0,   0,   0, 0, 0, 0,   0, 0, 0, 0, 0}));
}

TEST(X11Punktformat, ThirtyBitsLoseTheirLowestTwo) {
  const auto format = X11Punktformat::neu(32, 32, MASKEN_30);
  ASSERT_TRUE(format);
  // 1023, 4 and 3 of 1023 are 255, 1 and 0.
  EXPECT_EQ(gewandelt(*format, {0x03, 0x10, 0xF0, 0x3F}, 1, 1), (Bytes{0, 1, 255, 0}));
}

TEST(X11Punktformat, OtherOnesAreRefused) {
  EXPECT_FALSE(X11Punktformat::neu(8, 32, {0xE0, 0x1C, 0x03}));
  EXPECT_FALSE(X11Punktformat::neu(24, 32, {}));
  EXPECT_FALSE(X11Punktformat::neu(32, 0, {}));
  EXPECT_FALSE(X11Punktformat::neu(32, 32, {0, 0, 0}));
  EXPECT_FALSE(X11Punktformat::neu(32, 32, {0xF0F000, 0xFF00, 0xFF}));
  EXPECT_TRUE(X11Punktformat::neu(32, 32, {0xFF000000, 0xFF0000, 0xFF00}));
}

// Within the steps that five bits leave.
bool aehnlich(std::uint32_t a, std::uint32_t b) {
  for (int stelle = 0; stelle < 24; stelle += 8) {
    const int rest = static_cast<int>(a >> stelle & 0xFF) - static_cast<int>(b >> stelle & 0xFF);
    if (std::abs(rest) > 5) return false;
  }
  return true;
}

class X11PunktformatServer : public testing::TestWithParam<int> {};

TEST_P(X11PunktformatServer, PicturesOfItsWindowsHaveTheirColours) {
  LinuxHostClock uhr;
  setzeHostClock(uhr);
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::KEINER, {.farbtiefe = GetParam()});
  // An odd width, so that rows of 16 bits are padded.
  const auto fenster = bildschirm.fenster({"--farbe", "F80020", "--groesse", "301", "200"});
  Bildsammler sammler;
  const auto strom = bildschirm.schirm().stream({1280, 800, 1.0 / 15.0, true, 5});
  ASSERT_TRUE(strom->start(fenster->id(), sammler).gelungen());
  EXPECT_TRUE(sammler.warteAuf([](const Aufnahme& bild) {
    return aehnlich(bild.farbe(0, 0), 0xF80020) && aehnlich(bild.farbe(300, 199), 0xF80020);
  }));
  strom->stop();
}

INSTANTIATE_TEST_SUITE_P(Depths, X11PunktformatServer, testing::Values(15, 16, 24, 30));

}  // namespace
}  // namespace hallkorb
