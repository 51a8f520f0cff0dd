#include <gtest/gtest.h>

#include <string>

#include "base/Text.h"

namespace hallkorb {
namespace {

TEST(Utf8Test, ItsBoundariesAreThoseOfUnicode) {
  for (const char* rand : {"\xC2\x80", "\xDF\xBF", "\xE1\x80\x80", "\xEF\xBF\xBF",
                           "\xF1\x80\x80\x80", "\xF3\xBF\xBF\xBF"}) {
    EXPECT_TRUE(istUtf8(rand));
  }
  EXPECT_FALSE(istUtf8("\xC1\xBF"));  // overlong
  EXPECT_TRUE(istUtf8("\xE0\xA0\x80"));
  EXPECT_FALSE(istUtf8("\xE0\x9F\xBF"));  // overlong
  EXPECT_TRUE(istUtf8("\xED\x9F\xBF"));
  EXPECT_FALSE(istUtf8("\xED\xA0\x80"));  // surrogate
  EXPECT_TRUE(istUtf8("\xF0\x90\x80\x80"));
  EXPECT_FALSE(istUtf8("\xF0\x8F\xBF\xBF"));  // overlong
  EXPECT_TRUE(istUtf8("\xF4\x8F\xBF\xBF"));
  EXPECT_FALSE(istUtf8("\xF4\x90\x80\x80"));  // above U+10FFFF
  EXPECT_FALSE(istUtf8("\xF5\x80\x80\x80"));
  EXPECT_FALSE(istUtf8("\x80"));
}

TEST(Utf8Test, EveryFurtherByteOfACharacterIsLookedAt) {
  for (const std::string zeichen : {"ä", "漢", "😀"}) {
    for (std::size_t stelle = 1; stelle < zeichen.size(); ++stelle) {
      for (const char falsch : {'A', '\x7F', '\xC0', '\xFF'}) {
        std::string kaputt = zeichen;
        kaputt[stelle] = falsch;
        EXPECT_EQ(utf8Laenge(kaputt), 0U) << zeichen << stelle;
      }
      EXPECT_EQ(utf8Laenge(zeichen.substr(0, stelle)), 0U) << zeichen << stelle;
    }
  }
}

TEST(Utf8Test, ALengthIsThatOfTheFirstCharacter) {
  EXPECT_EQ(utf8Laenge(""), 0U);
  EXPECT_EQ(utf8Laenge("aä"), 1U);
  EXPECT_EQ(utf8Laenge("äa"), 2U);
  EXPECT_EQ(utf8Laenge("漢"), 3U);
  EXPECT_EQ(utf8Laenge("😀"), 4U);
  EXPECT_EQ(utf8Laenge("\xE2\x82"), 0U);  // cut off
}

TEST(Utf8Test, EachByteOfNoCharacterIsReplaced) {
  EXPECT_EQ(alsUtf8("Größe 😀"), "Größe 😀");
  EXPECT_EQ(alsUtf8("a\xFFz"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(alsUtf8("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(JsonEscapeTest, OnlyWhatWouldBreakALineIsChanged) {
  EXPECT_EQ(jsonEscape(""), "");
  EXPECT_EQ(jsonEscape("a\tb\nc\rd"), "a b c d");
  EXPECT_EQ(jsonEscape("a\"b\\c"), R"(a\"b\\c)");
  EXPECT_EQ(jsonEscape("\x01\x0b\x0c\x0e\x1f\x7f"), "\x01\x0b\x0c\x0e\x1f\x7f");
  EXPECT_EQ(jsonEscape("Bürotür — 会議 / </script>"), "Bürotür — 会議 / </script>");
}

TEST(FormatiertTest, IsPrintfOfAnyLength) {
  EXPECT_EQ(formatiert("%d %.2f %s", 7, 0.5, "x"), "7 0.50 x");
  EXPECT_EQ(formatiert("%0*d", 5000, 1), std::string(4999, '0') + "1");
}

}  // namespace
}  // namespace hallkorb
