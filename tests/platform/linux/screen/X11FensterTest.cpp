// A window that vanishes while it is recorded: any request may come too late, and the server
// reports the end only after the answers to the requests before it. And one that is painted in
// steps.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/screen/X11Aufnahme.h"
#include "platform/linux/screen/X11Bildspeicher.h"
#include "platform/linux/screen/X11Fenster.h"
#include "tests/support/Bildsammler.h"
#include "tests/support/Warten.h"
#include "tests/support/X11Bildschirm.h"

namespace hallkorb {
namespace {

constexpr std::uint32_t GRUEN = 0x10B030;
constexpr StreamKonfiguration KONFIGURATION{1280, 800, 1.0 / 15.0, true, 5};

class X11FensterTest : public testing::Test {
 protected:
  X11FensterTest() {
    setzeHostClock(uhr_);
    EXPECT_TRUE(verbindung_.oeffne().gelungen());
    EXPECT_TRUE(aufnahme_.beginne().gelungen());
  }
  // Ends the program, and returns when the server has taken the window away.
  void zerstoere(Fensterprogramm& fenster) {
    fenster.schliesse();
    EXPECT_TRUE(warteBis([&] { return !bildschirm_.finde(fenster.id()); }));
  }
  void liesEreignisse(X11Fenster& fenster) {
    while (const X11Antwort<xcb_generic_event_t> e{xcb_poll_for_event(verbindung_.get())})
      fenster.ereignis(*e);
  }

  // Handles what the server has reported by now, and has all that follows from it done.
  void hole(X11Fenster& fenster) {
    warteAufServer();
    liesEreignisse(fenster);
    warteAufServer();
  }
  void warteAufServer() {
    const X11Antwort<xcb_get_input_focus_reply_t> fertig(xcb_get_input_focus_reply(
        verbindung_.get(), xcb_get_input_focus(verbindung_.get()), nullptr));
  }
  // How many pixels of the window have another colour than its program's.
  int fremde(X11Fenster& fenster) {
    const X11Fenster::Quelle quelle = fenster.quelle();
    const int punkte = quelle.breite * quelle.hoehe;
    X11Bildspeicher speicher(verbindung_, true);
    const std::uint8_t* daten = speicher.lies(
        speicher.frage(quelle.pixmap, quelle.x, quelle.y, quelle.breite, quelle.hoehe, {}));
    if (daten == nullptr) return punkte;
    int anzahl = 0;
    for (int i = 0; i < punkte; ++i, daten += 4)
      anzahl += daten[0] == 0xA0 && daten[1] == 0x60 && daten[2] == 0x20 ? 0 : 1;
    return anzahl;
  }

  LinuxHostClock uhr_;
  X11Bildschirm bildschirm_{X11Bildschirm::Verwalter::KEINER};
  X11Verbindung verbindung_{bildschirm_.display(), std::chrono::hours(1)};
  X11Aufnahme aufnahme_{verbindung_, KONFIGURATION, true};
};

TEST_F(X11FensterTest, GoneBeforeItsPixelsAreNamed) {
  const auto programm = bildschirm_.fenster({});
  Fehler fehler;
  const auto fenster = X11Fenster::neu(verbindung_, programm->id(), fehler);
  ASSERT_TRUE(fenster) << fehler.gedruckt();
  zerstoere(*programm);
  EXPECT_TRUE(fenster->sichtbar());  // as far as is known yet
  EXPECT_EQ(fenster->quelle().pixmap, XCB_NONE);
  fenster->nimmVeraendert();
  fenster->siehNach();
  EXPECT_FALSE(fenster->sichtbar());
  liesEreignisse(*fenster);
  EXPECT_TRUE(fenster->zerstoert());
  EXPECT_FALSE(verbindung_.verloren());
}

TEST_F(X11FensterTest, GoneBetweenTheRequestAndTheAnswer) {
  const auto programm = bildschirm_.fenster({"--groesse", "400", "300"});
  Fehler fehler;
  const auto fenster = X11Fenster::neu(verbindung_, programm->id(), fehler);
  ASSERT_TRUE(fenster) << fehler.gedruckt();
  const X11Fenster::Quelle quelle = fenster->quelle();
  ASSERT_NE(quelle.pixmap, XCB_NONE);
  X11Bildspeicher speicher(verbindung_, true);
  const auto frage = speicher.frage(quelle.pixmap, 0, 0, quelle.breite, quelle.hoehe, {});
  zerstoere(*programm);
  EXPECT_NE(speicher.lies(frage), nullptr);  // what was named is still there
  liesEreignisse(*fenster);
  EXPECT_TRUE(fenster->zerstoert());
  EXPECT_EQ(fenster->quelle().pixmap, XCB_NONE);
  EXPECT_EQ(speicher.lies(speicher.frage(quelle.pixmap, 0, 0, 1, 1, {})), nullptr);
  EXPECT_FALSE(verbindung_.verloren());
}

TEST_F(X11FensterTest, GoneBeforeItIsChosen) {
  const auto programm = bildschirm_.fenster({});
  zerstoere(*programm);
  const Ergebnis ergebnis = aufnahme_.waehle(programm->id());
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().description,
            "das Fenster " + std::to_string(programm->id()) + " kann nicht aufgenommen werden");
}

// As browsers do after a change to full screen: first the frame around the old page, then the page.
TEST_F(X11FensterTest, WhatIsPaintedInTwoStepsIsReadAfterTheSecond) {
  const auto programm = bildschirm_.fenster(
      {"--groesse", "400", "300", "--farbe", "2060A0", "--auf-befehl", "10B030"});
  programm->tu("male");
  const auto beginn = X11Fenster::Uhr::time_point(std::chrono::hours(1));
  auto jetzt = beginn;
  const auto um = [&](int ms) { return beginn + std::chrono::milliseconds(ms); };
  Fehler fehler;
  const auto fenster =
      X11Fenster::neu(verbindung_, programm->id(), fehler, {}, [&] { return jetzt; });
  ASSERT_TRUE(fenster) << fehler.gedruckt();
  hole(*fenster);
  fenster->nimmVeraendert();
  hole(*fenster);
  ASSERT_FALSE(fenster->ungesehen());

  jetzt = um(1000);
  programm->tu("groesse 700 500");
  hole(*fenster);
  EXPECT_TRUE(fenster->ungesehen());
  EXPECT_EQ(fenster->bereitAb(), um(1250));
  jetzt = um(1040);
  programm->tu("male-halb");
  hole(*fenster);
  EXPECT_EQ(fenster->bereitAb(), um(1140));
  EXPECT_EQ(fremde(*fenster), 350 * 500);
  jetzt = um(1139);
  programm->tu("male");
  hole(*fenster);
  EXPECT_EQ(fenster->bereitAb(), um(1239));
  EXPECT_EQ(fremde(*fenster), 0);

  // Once a picture has shown it, each drawing gives a picture at once.
  fenster->nimmVeraendert();
  hole(*fenster);
  jetzt = um(5000);
  programm->tu("farbe 10B030");
  hole(*fenster);
  EXPECT_TRUE(fenster->veraendert());
  EXPECT_LT(fenster->bereitAb(), jetzt);
}

TEST_F(X11FensterTest, AWindowInWhichSomethingMovesIsReadThoughItNeverComesToRest) {
  const auto programm = bildschirm_.fenster({"--farbe", "2060A0", "--auf-befehl", "10B030"});
  const auto beginn = X11Fenster::Uhr::time_point(std::chrono::hours(1));
  auto jetzt = beginn;
  Fehler fehler;
  const auto fenster =
      X11Fenster::neu(verbindung_, programm->id(), fehler, {}, [&] { return jetzt; });
  ASSERT_TRUE(fenster) << fehler.gedruckt();
  hole(*fenster);
  for (int ms = 40; ms < 540; ms += 50) {
    jetzt = beginn + std::chrono::milliseconds(ms);
    ASSERT_GE(fenster->bereitAb(), jetzt);
    programm->tu("male");
    hole(*fenster);
  }
  EXPECT_EQ(fenster->bereitAb(), beginn + std::chrono::milliseconds(540));
}

// Windows that change their size all the time and end in the midst of it, at any moment.
TEST_F(X11FensterTest, SizesThatNeverStandStillUntilTheWindowIsGone) {
  std::mt19937 zufall(1);
  const auto bis = [&](int n) { return static_cast<int>(zufall() % static_cast<unsigned>(n)); };
  Bildsammler sammler;
  const auto strom = bildschirm_.schirm().stream(KONFIGURATION);
  const auto bleibt = bildschirm_.fenster({"--farbe", "10B030"});
  ASSERT_TRUE(strom->start(bleibt->id(), sammler).gelungen());
  for (int runde = 0; runde < 12; ++runde) {
    SCOPED_TRACE(runde);
    const auto programm = bildschirm_.fenster({"--bewegt", "200", "--farbe", "2060A0"});
    EXPECT_TRUE(strom->wechsle(programm->id()).gelungen());
    ASSERT_TRUE(sammler.warteAuf([](const Aufnahme& bild) { return bild.farbe(5, 5) != GRUEN; }));
    for (int i = bis(60); i >= 0; --i) {
      programm->tu("groesse " + std::to_string(1 + bis(1500)) + " " + std::to_string(1 + bis(900)));
      if (bis(8) == 0) {
        programm->tu("verstecke");
        programm->tu("zeige");
      }
    }
    programm->schliesse();
    // Gone: the window that stays comes next, and its picture with it.
    EXPECT_TRUE(strom->wechsle(bleibt->id()).gelungen());
    ASSERT_TRUE(sammler.warteAuf([](const Aufnahme& bild) {
      return bild.breite == 640 && bild.hoehe == 400 && bild.farbe(5, 5) == GRUEN;
    }));
  }
  EXPECT_TRUE(sammler.fehler().empty());
  strom->stop();
}

}  // namespace
}  // namespace hallkorb
