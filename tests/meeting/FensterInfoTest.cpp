#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meeting/FensterInfo.h"

namespace hallkorb {
namespace {

const std::string FENSTER =
    R"({"id":7,"titel":"Zoom Meeting","bundle":"us.zoom.xos","app":"zoom.us","x":-1.5,"y":2,)"
    R"("breite":1280,"hoehe":800.25,"sichtbar":true,"ebene":-3})";

std::string liste(const std::string& fenster) {
  return R"({"fenster":[)" + fenster + "]}";
}

// FENSTER with one piece replaced.
std::string mit(const std::string& stueck, const std::string& ersatz) {
  std::string text = FENSTER;
  const auto stelle = text.find(stueck);
  EXPECT_NE(stelle, std::string::npos) << stueck;
  return liste(text.replace(stelle, stueck.size(), ersatz));
}

TEST(FensterInfoTest, EveryFieldIsRead) {
  const auto eingabe = liesEingabe(liste(FENSTER));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster,
            (std::vector<FensterInfo>{{7, "Zoom Meeting", "us.zoom.xos", "zoom.us", -1.5, 2.0,
                                       1280.0, 800.25, true, -3}}));
}

TEST(FensterInfoTest, AnEmptyListIsAList) {
  const auto eingabe = liesEingabe(R"( { "fenster" : [ ] } )");
  ASSERT_TRUE(eingabe);
  EXPECT_TRUE(eingabe->fenster.empty());
}

TEST(FensterInfoTest, OrderOfWindowsStaysOrderOfKeysDoesNotMatter) {
  const auto eingabe = liesEingabe(liste(
      FENSTER +
      R"(,{"ebene":0,"sichtbar":false,"hoehe":1,"breite":2,"y":3,"x":4,"app":"","bundle":"b",)"
      R"("titel":"","id":0})"));
  ASSERT_TRUE(eingabe);
  ASSERT_EQ(eingabe->fenster.size(), 2U);
  EXPECT_EQ(eingabe->fenster[0].id, 7U);
  EXPECT_EQ(eingabe->fenster[1], (FensterInfo{0, "", "b", "", 4, 3, 2, 1, false, 0}));
}

TEST(FensterInfoTest, EveryKeyIsRequired) {
  for (const std::string stueck :
       {R"("id":7,)", R"("titel":"Zoom Meeting",)", R"("bundle":"us.zoom.xos",)",
        R"("app":"zoom.us",)", R"("x":-1.5,)", R"("y":2,)", R"("breite":1280,)",
        R"("hoehe":800.25,)", R"("sichtbar":true,)", R"(,"ebene":-3)"}) {
    EXPECT_FALSE(liesEingabe(mit(stueck, ""))) << stueck;
  }
}

TEST(FensterInfoTest, EveryValueNeedsItsType) {
  for (const std::string wert :
       {"null", "true", "\"7\"", "[]", "[7]", "{}", R"({"id":7})", "7.5", "7.0", "7e0", "-1",
        "4294967296", "1e400", "18446744073709551616"}) {
    EXPECT_FALSE(liesEingabe(mit(R"("id":7)", R"("id":)" + wert))) << wert;
  }
  for (const std::string wert : {"null", "false", "\"0\"", "[]", "{}", "0.0", "-1.5",
                                 "9223372036854775808", "-9223372036854775809"}) {
    EXPECT_FALSE(liesEingabe(mit(R"("ebene":-3)", R"("ebene":)" + wert))) << wert;
  }
  for (const std::string wert : {"null", "true", "\"1280\"", "[1280]", "{}", "1e400", "-1e400"}) {
    EXPECT_FALSE(liesEingabe(mit(R"("breite":1280)", R"("breite":)" + wert))) << wert;
  }
  for (const std::string wert : {"null", "true", "7", "1.5", "[]", "{}", R"(["x"])"}) {
    EXPECT_FALSE(liesEingabe(mit(R"("titel":"Zoom Meeting")", R"("titel":)" + wert))) << wert;
  }
  for (const std::string wert : {"null", "0", "1", "1.0", R"("true")", "[]", "{}"}) {
    EXPECT_FALSE(liesEingabe(mit(R"("sichtbar":true)", R"("sichtbar":)" + wert))) << wert;
  }
}

TEST(FensterInfoTest, TheLimitsOfTheIntegersFit) {
  auto eingabe = liesEingabe(mit(R"("id":7)", R"("id":4294967295)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].id, 4294967295U);
  eingabe = liesEingabe(mit(R"("id":7)", R"("id":-0)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].id, 0U);
  eingabe = liesEingabe(mit(R"("ebene":-3)", R"("ebene":-9223372036854775808)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].ebene, INT64_MIN);
  eingabe = liesEingabe(mit(R"("ebene":-3)", R"("ebene":9223372036854775807)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].ebene, INT64_MAX);
  eingabe = liesEingabe(mit(R"("breite":1280)", R"("breite":123456789012345678901234567890)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].breite, 123456789012345678901234567890.0);
}

TEST(FensterInfoTest, WhatIsNoWindowListIsRefused) {
  for (const std::string text : {"",
                                 " ",
                                 "null",
                                 "7",
                                 "\"fenster\"",
                                 "[]",
                                 "{}",
                                 R"({"fenster":null})",
                                 R"({"fenster":{}})",
                                 R"({"fenster":7})",
                                 R"({"fenster":[7]})",
                                 R"({"fenster":[null]})",
                                 R"({"fenster":[[]]})",
                                 R"({"fenster":[{}]})",
                                 R"({"Fenster":[]})",
                                 R"({"fenster":[]}x)",
                                 R"({"fenster":[]} {})",
                                 R"({"fenster":[],})",
                                 R"({"fenster":[)",
                                 R"({fenster:[]})",
                                 R"([{"fenster":[]}])",
                                 R"({"a":{"fenster":[]}})",
                                 R"({"fenster":{"fenster":[]}})",
                                 R"({"fenster":[],"fenster":{}})",
                                 "{\"fenster\":[]}\xff",
                                 "{\"fenster\":[]} // x",
                                 "\xff\xfe{\"fenster\":[]}"}) {
    EXPECT_FALSE(liesEingabe(text)) << text;
  }
  EXPECT_FALSE(liesEingabe(liste(FENSTER + ",")));
  EXPECT_FALSE(liesEingabe(liste(FENSTER + ",7")));
}

TEST(FensterInfoTest, TitlesMustBeUnicode) {
  for (const std::string titel : {"\xff", "\xc3", "\xed\xa0\x80", "\xc0\xaf", "\xf4\x90\x80\x80",
                                  R"(\ud800)", R"(\udc00)", R"(\x)", "a\nb"}) {
    EXPECT_FALSE(liesEingabe(mit("Zoom Meeting", titel))) << titel;
  }
  const auto eingabe = liesEingabe(mit("Zoom Meeting", R"(\u00fc\ud83d\ude00\"\\\/\u0000)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].titel, std::string("ü😀\"\\/\0", 10));
}

TEST(FensterInfoTest, ANumberThatFitsNoDoubleIsNotReadAnywhere) {
  EXPECT_FALSE(liesEingabe(mit(R"("id":7)", R"("id":7,"weiteres":1e400)")));
  EXPECT_FALSE(liesEingabe(mit(R"("id":7)", R"("id":7,"weiteres":[{"a":-1e400}])")));
  EXPECT_TRUE(liesEingabe(mit(R"("id":7)", R"("id":7,"weiteres":1e-400)")));
}

TEST(FensterInfoTest, FurtherKeysArePassedOverWhateverTheyHold) {
  const std::string fremd =
      R"("x1":null,"y1":[1,{"id":"x","fenster":[{}]},[[]]],"z":{"titel":7,"b":{"c":[]}},"w":"s",)"
      R"("v":1.5,"u":-1,"t":18446744073709551615,"s":false,)";
  std::string fenster = FENSTER;
  fenster.insert(1, fremd);
  const auto eingabe = liesEingabe("{" + fremd + R"("fenster":[)" + fenster + R"(],"r":[]})");
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe, liesEingabe(liste(FENSTER)));
}

TEST(FensterInfoTest, OfARepeatedKeyTheLastOneCounts) {
  auto eingabe = liesEingabe(mit(R"("id":7)", R"("id":7,"id":8)"));
  ASSERT_TRUE(eingabe);
  EXPECT_EQ(eingabe->fenster[0].id, 8U);
  eingabe = liesEingabe(R"({"fenster":[)" + FENSTER + R"(],"fenster":[]})");
  ASSERT_TRUE(eingabe);
  EXPECT_TRUE(eingabe->fenster.empty());
}

TEST(FensterInfoTest, DeepNestingNeedsNoStack) {
  for (const std::size_t tiefe : {100U, 100'000U}) {
    const std::string auf(tiefe, '[');
    const std::string zu(tiefe, ']');
    EXPECT_TRUE(liesEingabe(R"({"x":)" + auf + zu + R"(,"fenster":[]})")) << tiefe;
    EXPECT_FALSE(liesEingabe(auf + zu)) << tiefe;
    EXPECT_FALSE(liesEingabe(auf)) << tiefe;
    EXPECT_FALSE(liesEingabe(R"({"x":)" + auf)) << tiefe;
    std::string objekte;
    for (std::size_t i = 0; i < tiefe; ++i)
      objekte += R"({"a":)";
    EXPECT_FALSE(liesEingabe(objekte)) << tiefe;
    EXPECT_TRUE(
        liesEingabe(R"({"fenster":[],"b":)" + objekte + "1" + std::string(tiefe, '}') + "}"));
  }
}

TEST(FensterInfoTest, WhatIsWrittenIsReadAgain) {
  const Eingabe eingabe{
      {{1, "a\"b\\c\n\x01ü😀", "b.c", "App", -0.1, 1e300, 1.0 / 3, 5e-324, true, INT64_MIN},
       {4294967295U, "", "", "", 0, 0, 0, 0, false, INT64_MAX}}};
  EXPECT_EQ(liesEingabe(eingabeJSON(eingabe)), eingabe);
  EXPECT_EQ(
      eingabeJSON({{{7, "t", "b", "a", 1, 2, 3, 4.5, false, 0}}}),
      R"({"fenster":[{"id":7,"titel":"t","bundle":"b","app":"a","x":1.0,"y":2.0,"breite":3.0,)"
      R"("hoehe":4.5,"sichtbar":false,"ebene":0}]})");
  const auto ersetzt = liesEingabe(eingabeJSON({{{0, "a\xff z", "", "", 0, 0, 0, 0, false, 0}}}));
  ASSERT_TRUE(ersetzt);
  EXPECT_EQ(ersetzt->fenster[0].titel, "a\uFFFD z");
}

TEST(FensterInfoTest, ASnapshotsWindowsKeepTheirOrderAndThoseWithoutOwnerAreDropped) {
  ScreenContent content;
  content.windows.push_back(
      {5, "Titel", ScreenWindow::Anwendung{"us.zoom.xos", "zoom.us"}, 1, 2, 3, 4, true, 25});
  content.windows.push_back({6, "ohne", std::nullopt, 1, 2, 3, 4, true, 0});
  content.windows.push_back(
      {2, std::nullopt, ScreenWindow::Anwendung{"", ""}, 0, 0, 0, 0, false, -1});
  EXPECT_EQ(metadaten(content),
            (std::vector<FensterInfo>{{5, "Titel", "us.zoom.xos", "zoom.us", 1, 2, 3, 4, true, 25},
                                      {2, "", "", "", 0, 0, 0, 0, false, -1}}));
  EXPECT_TRUE(metadaten({}).empty());
}

}  // namespace
}  // namespace hallkorb
