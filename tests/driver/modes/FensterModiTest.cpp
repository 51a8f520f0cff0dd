#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "driver/modes/FensterModi.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using sim::SimPlattform;

const std::string NICHTS_JSON =
    R"({"art":"nichts","id":0,"quelle":"","rang":0,"grund":"kein Meetingfenster – kein Bild )"
    "(keine Meeting-App offen)\"}";

class FensterModiTest : public testing::Test {
 protected:
  // The status, with what went to standard output in `ausgabe`.
  int wahl(const std::string& inhalt) {
    std::ofstream(ordner / "liste.json", std::ios::binary) << inhalt;
    return wahlAus(ordner / "liste.json");
  }
  int wahlAus(const std::string& pfad) {
    testing::internal::CaptureStdout();
    const int status = fensterWahl(pfad);
    ausgabe = testing::internal::GetCapturedStdout();
    return status;
  }
  int probe(bool alle = false) {
    testing::internal::CaptureStdout();
    const int status = fensterProbe(welt, alle);
    ausgabe = testing::internal::GetCapturedStdout();
    return status;
  }

  TempOrdner ordner;
  AusgabeFaenger faenger;
  SimPlattform welt;
  std::string ausgabe;
};

TEST_F(FensterModiTest, AListsChoiceIsOneLine) {
  EXPECT_EQ(wahl(R"({"fenster":[]})"), 0);
  EXPECT_EQ(ausgabe, NICHTS_JSON + "\n");
  EXPECT_EQ(
      wahl(R"({"fenster":[{"id":4,"titel":"Zoom Meeting","bundle":"us.zoom.xos","app":"zoom.us",)"
           R"("x":0,"y":0,"breite":1280,"hoehe":800,"sichtbar":true,"ebene":0}]})"),
      0);
  EXPECT_EQ(ausgabe, R"({"art":"fenster","id":4,"quelle":"Zoom · Zoom Meeting","rang":1,)"
                     R"("grund":"Zoom-Meetingfenster"})"
                     "\n");
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(FensterModiTest, AListThatCannotBeReadIsReported) {
  for (const std::string inhalt : {"", "{", "[]", R"({"fenster":[{"id":1}]})"}) {
    EXPECT_EQ(wahl(inhalt), 2);
    EXPECT_EQ(ausgabe, "");
  }
  EXPECT_EQ(wahlAus(ordner / "gibt es nicht"), 2);
  EXPECT_EQ(ausgabe, "");
  EXPECT_EQ(wahlAus(ordner.pfad()), 2);
  for (const std::string& zeile : faenger.fehlerZeilen()) {
    EXPECT_EQ(zeile, "[hallkorb] --fenster-wahl: JSON nicht lesbar");
  }
  EXPECT_EQ(faenger.fehlerZeilen().size(), 6U);
}

TEST_F(FensterModiTest, TheProbeListsWhatTheRulesLookAtAndTheChoice) {
  ScreenWindow a = sim::fenster(4, "us.zoom.xos", "Zoom \"Meeting\"");
  a.x = -100.9;
  a.y = -0.9;
  a.breite = 1280.99;
  a.ebene = -3;
  ScreenWindow b = sim::fenster(5, "com.google.Chrome.app.x", "");
  b.titel = std::nullopt;
  b.sichtbar = false;
  ScreenWindow herrenlos = sim::fenster(6, "", "x");
  herrenlos.anwendung = std::nullopt;
  welt.bildschirm.windows = {sim::fenster(1, "org.gnome.Terminal", "Zoom Meeting"), a, herrenlos, b,
                             sim::fenster(7, "de.hallkorb.app", "Zoom Meeting")};
  const std::string zeileA =
      R"({"fenster":4,"app":"App","bundle":"us.zoom.xos","titel":"Zoom \"Meeting\"","breite":1280,)"
      R"("hoehe":800,"x":-100,"y":0,"sichtbar":true,"ebene":-3})"
      "\n";
  const std::string zeileB =
      R"({"fenster":5,"app":"App","bundle":"com.google.Chrome.app.x","titel":"","breite":1280,)"
      R"("hoehe":800,"x":0,"y":0,"sichtbar":false,"ebene":0})"
      "\n";
  const std::string wahlZeile =
      R"({"wahl":{"art":"fenster","id":4,"quelle":"Zoom · Zoom \"Meeting\"","rang":1,)"
      R"("grund":"Zoom-Meetingfenster"}})"
      "\n";
  EXPECT_EQ(probe(), 0);
  EXPECT_EQ(ausgabe, zeileA + zeileB + "{\"andere_fenster\":2}\n" + wahlZeile);
}

TEST_F(FensterModiTest, TheProbeOfAllWindowsCountsNoOthers) {
  welt.bildschirm.windows = {sim::fenster(1, "org.gnome.Terminal", "x")};
  EXPECT_EQ(probe(true), 0);
  EXPECT_EQ(ausgabe,
            R"({"fenster":1,"app":"App","bundle":"org.gnome.Terminal","titel":"x","breite":1280,)"
            R"("hoehe":800,"x":0,"y":0,"sichtbar":true,"ebene":0})"
            "\n{\"wahl\":" +
                NICHTS_JSON + "}\n");
}

TEST_F(FensterModiTest, ASingleOtherWindowIsCounted) {
  welt.bildschirm.windows = {sim::fenster(1, "org.gnome.Terminal", "x")};
  EXPECT_EQ(probe(), 0);
  EXPECT_EQ(ausgabe, "{\"andere_fenster\":1}\n{\"wahl\":" + NICHTS_JSON + "}\n");
}

TEST_F(FensterModiTest, WithoutAThreadLeftThereIsNoProbe) {
  welt.ohneFaden = {""};
  EXPECT_EQ(probe(), 2);
  EXPECT_EQ(ausgabe, "");
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] --fenster-probe: das System gibt keinen Thread mehr her\n");
}

TEST_F(FensterModiTest, AnEmptyScreenHasNoOtherWindowsToCount) {
  EXPECT_EQ(probe(), 0);
  EXPECT_EQ(ausgabe, "{\"wahl\":" + NICHTS_JSON + "}\n");
}

TEST_F(FensterModiTest, WithoutAScreenTheProbeSaysWhy) {
  welt.bildschirm.inventarFehler = Fehler{"xcb", 1, "kein X-Server erreichbar"};
  EXPECT_EQ(probe(), 2);
  EXPECT_EQ(ausgabe, "");
  EXPECT_EQ(faenger.fehler(), "[hallkorb] --fenster-probe: kein X-Server erreichbar\n");
}

TEST_F(FensterModiTest, AScreenThatHangsIsWaitedForLessThanThreeSeconds) {
  welt.bildschirm.inventarDauer = 10.0;
  EXPECT_EQ(probe(), 2);
  EXPECT_EQ(welt.jetzt(), 2.5);
  EXPECT_EQ(ausgabe, "");
  EXPECT_EQ(faenger.fehler(), "[hallkorb] --fenster-probe: der Bildschirm antwortet nicht\n");
}

}  // namespace
}  // namespace hallkorb
