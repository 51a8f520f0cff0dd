// A window that vanishes while it is recorded: any request may come too late, and the server
// reports the end only after the answers to the requests before it.
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
#include "tests/support/X11Sitzung.h"

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
    EXPECT_TRUE(warteBisGilt([&] { return !sitzung_.finde(fenster.id()); }));
  }
  void liesEreignisse(X11Fenster& fenster) {
    while (const X11Antwort<xcb_generic_event_t> e{xcb_poll_for_event(verbindung_.get())})
      fenster.ereignis(*e);
  }

  LinuxHostClock uhr_;
  X11Sitzung sitzung_{X11Sitzung::Verwalter::KEINER};
  X11Verbindung verbindung_{sitzung_.display(), std::chrono::hours(1)};
  X11Aufnahme aufnahme_{verbindung_, KONFIGURATION, true};
};

TEST_F(X11FensterTest, GoneBeforeItsPixelsAreNamed) {
  const auto programm = sitzung_.fenster({});
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
  const auto programm = sitzung_.fenster({"--groesse", "400", "300"});
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
  const auto programm = sitzung_.fenster({});
  zerstoere(*programm);
  const Ergebnis ergebnis = aufnahme_.waehle(programm->id());
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().description,
            "das Fenster " + std::to_string(programm->id()) + " kann nicht aufgenommen werden");
}

// Windows that change their size all the time and end in the midst of it, at any moment.
TEST_F(X11FensterTest, SizesThatNeverStandStillUntilTheWindowIsGone) {
  std::mt19937 zufall(1);
  const auto bis = [&](int n) { return static_cast<int>(zufall() % static_cast<unsigned>(n)); };
  Bildsammler sammler;
  const auto strom = sitzung_.schirm().stream(KONFIGURATION);
  const auto bleibt = sitzung_.fenster({"--farbe", "10B030"});
  ASSERT_TRUE(strom->start(bleibt->id(), sammler).gelungen());
  for (int runde = 0; runde < 30; ++runde) {
    SCOPED_TRACE(runde);
    const auto programm = sitzung_.fenster({"--bewegt", "200", "--farbe", "2060A0"});
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
