#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meeting/Faltung.h"

namespace hallkorb {
namespace {

std::string norm(std::string_view titel) {
  std::string puffer = "was vorher darin war";
  return std::string(normTitel(titel, puffer));
}

TEST(FaltungTest, TitlesAreFoldedAsTheTablesAre) {
  EXPECT_EQ(norm(""), "");
  EXPECT_EQ(norm("Zoom MEETING"), "zoom meeting");
  EXPECT_EQ(norm("Ä"), "a");
  EXPECT_EQ(norm("Auswählen"), "auswahlen");
  EXPECT_EQ(norm("AUSWA\u0308HLEN"), "auswahlen");
  EXPECT_EQ(norm("Aktivität"), norm("Aktivita\u0308t"));
  EXPECT_EQ(norm("Straße STRASSE ẞ"), "strasse strasse ss");
  EXPECT_EQ(norm("Éçñøł"), "ecnøł");
  EXPECT_EQ(norm("\u0130stanbul ISTANBUL ısı"), "istanbul istanbul ısı");
  EXPECT_EQ(norm("ﬁ"), "fi");
  EXPECT_EQ(norm("ＭＥＥＴ"), "ｍｅｅｔ");  // no compatible forms
  EXPECT_EQ(norm("²½①"), "²½①");
  EXPECT_EQ(norm("ΟΔΟΣ ὀδός"), "οδοσ οδοσ");
  EXPECT_EQ(norm("ἈΔΗΣ \u1FB3"), "αδησ αι");
  EXPECT_EQ(norm("\u212A\u212B"), "ka");
  EXPECT_EQ(norm("Встреча Й"), "встреча и");
}

TEST(FaltungTest, DashesAndApostrophesBecomePlain) {
  EXPECT_EQ(norm("Meet – x — y - z"), "meet - x - y - z");
  EXPECT_EQ(norm("Anna’s Screen"), "anna's screen");
  EXPECT_EQ(norm("‘ ‑ − “"), "‘ ‑ − “");
}

TEST(FaltungTest, MarksAloneVanish) {
  EXPECT_EQ(norm("\u0301"), "");
  EXPECT_EQ(norm(" \u0301 x\u20E3 \uFE0F"), "x");
}

TEST(FaltungTest, BytesThatAreNoUtf8BecomeTheReplacementCharacter) {
  EXPECT_EQ(norm("A\xff"
                 "B\xc3"),
            "a\uFFFD"
            "b\uFFFD");
  EXPECT_EQ(norm("\xed\xa0\x80"), "\uFFFD\uFFFD\uFFFD");
}

TEST(FaltungTest, TrimsWhiteSpaceAndLineBreaksAtBothEnds) {
  for (const std::string rand :
       {" ", "\t", "\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u00A0", "\u1680", "\u2000", "\u2003",
        "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000", " \t\n "}) {
    EXPECT_EQ(getrimmt(rand), "") << rand;
    EXPECT_EQ(getrimmt(rand + "a" + rand + "b" + rand), "a" + rand + "b") << rand;
    EXPECT_EQ(norm(rand + "A" + rand), "a") << rand;
  }
  for (const std::string kein :
       {"\u200B", "\u200E", "\u2060", "\uFEFF", "\u180E", "\x1f", "\x7f"}) {
    EXPECT_EQ(getrimmt(kein + "a" + kein), kein + "a" + kein);
  }
  EXPECT_EQ(getrimmt("\xff a\xa0"), "\xff a\xa0");
}

TEST(FaltungTest, HorizontalTrimmingLeavesLineBreaks) {
  for (const std::string rand :
       {" ", "\t", "\u00A0", "\u1680", "\u2003", "\u202F", "\u205F", "\u3000", " \t \u00A0"}) {
    EXPECT_EQ(horizontalGetrimmt(rand + "ä" + rand), "ä") << rand;
    EXPECT_EQ(horizontalGetrimmt(rand), "") << rand;
  }
  for (const std::string kein :
       {"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029", "\u200B"}) {
    EXPECT_EQ(horizontalGetrimmt(kein + "a" + kein), kein + "a" + kein) << kein;
    EXPECT_EQ(horizontalGetrimmt(" " + kein + " "), kein);
  }
}

TEST(FaltungTest, CharactersAreWhatAReaderSeesAsOne) {
  const std::vector<std::string> zeichen{
      "a",  "ä", "e\u0301", "👨‍👩‍👧", "🇩🇪", "🇫🇷", "1️⃣", "👍🏽", "\r\n", "한",
      "각", "x", "\xff"};
  std::string text;
  for (const auto& z : zeichen)
    text += z;
  std::string_view rest = text;
  for (const auto& z : zeichen) {
    EXPECT_EQ(erstesZeichen(rest), z);
    rest.remove_prefix(erstesZeichen(rest).size());
  }
  EXPECT_EQ(rest, "");
  EXPECT_EQ(erstesZeichen(""), "");
}

TEST(FaltungTest, LettersAndNumbersOfAnyScript) {
  for (const char* ja :
       {"a", "Z", "ä", "ß", "ж", "字", "한", "あ", "ʰ", "7", "٣", "²", "½", "Ⅷ", "①"}) {
    EXPECT_TRUE(istBuchstabeOderZiffer(ja)) << ja;
  }
  for (const char* nein : {"", "-", "_", " ", "(", "·", "👍", "🇩🇪", "\u200B", "\xff", "€"}) {
    EXPECT_FALSE(istBuchstabeOderZiffer(nein)) << nein;
  }
}

}  // namespace
}  // namespace hallkorb
