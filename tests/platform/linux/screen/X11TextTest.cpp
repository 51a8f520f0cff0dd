#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/linux/screen/X11Text.h"

namespace hallkorb {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view ERSATZ = "\xEF\xBF\xBD";

TEST(X11Text, Utf8StaysAsItIs) {
  EXPECT_EQ(x11Text(X11TextArt::UTF8, "Besprechung – Größe 漢 😀"), "Besprechung – Größe 漢 😀");
  EXPECT_EQ(x11Text(X11TextArt::UTF8, ""), "");
}

TEST(X11Text, EndsAtTheFirstNullByte) {
  EXPECT_EQ(x11Text(X11TextArt::UTF8, "eins\0zwei"sv), "eins");
  EXPECT_EQ(x11Text(X11TextArt::STRING, "eins\0"sv), "eins");
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "eins\0zwei"sv), "eins");
  EXPECT_EQ(x11Text(X11TextArt::UTF8, "\0"sv), "");
}

TEST(X11Text, BytesThatAreNoUtf8AreReplacedOneByOne) {
  EXPECT_EQ(x11Text(X11TextArt::UTF8, "a\xFFz"), "a" + std::string(ERSATZ) + "z");
  // Cut off within a character of three bytes.
  EXPECT_EQ(x11Text(X11TextArt::UTF8, "a\xE2\x80"),
            "a" + std::string(ERSATZ) + std::string(ERSATZ));
}

TEST(X11Text, StringIsLatin1UnlessItIsUtf8) {
  EXPECT_EQ(x11Text(X11TextArt::STRING,
                    "Gr\xF6\xDF"
                    "e"),
            "Größe");
  EXPECT_EQ(x11Text(X11TextArt::STRING, "Größe"), "Größe");
  EXPECT_EQ(x11Text(X11TextArt::STRING, "Zoom"), "Zoom");
}

TEST(X11Text, CompoundTextBeginsAsAsciiAndLatin1) {
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND,
                    "Gr\xF6\xDF"
                    "e"),
            "Größe");
}

TEST(X11Text, CompoundTextSwitchesToUtf8AndBack) {
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "a\x1B%G–漢\x1B%@\xE4"), "a–漢ä");
}

TEST(X11Text, CompoundTextOfOtherSetsIsReplaced) {
  // Greek in the right half, ASCII in the left; then Latin-1 again.
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "a\x1B-F\xE1 b\x1B-A\xE4"),
            "a" + std::string(ERSATZ) + " bä");
  // Two bytes for each character, in the left half; then ASCII again.
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "\x1B$(B\x30\x21\x1B(BM"),
            std::string(ERSATZ) + std::string(ERSATZ) + "M");
  // A segment in a set known by name: its length is given, 8 bytes here, and it counts once.
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "a\x1B%/1\x80\x88koi8-r\x02\xC1z"),
            "a" + std::string(ERSATZ) + "z");
}

TEST(X11Text, CompoundTextMayBeCutOffAnywhere) {
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "a\x1B"), "a");
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "a\x1B%"), "a");
  EXPECT_EQ(x11Text(X11TextArt::COMPOUND, "a\x1B%/1\x81"), "a" + std::string(ERSATZ));
}

}  // namespace
}  // namespace hallkorb
