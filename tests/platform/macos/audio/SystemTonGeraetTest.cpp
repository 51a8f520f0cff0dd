// The order of the calls into the capture service for the sound of the computer.
#include <gtest/gtest.h>

#include "platform/macos/audio/SystemTonGeraet.h"
#include "platform/macos/Fehlertexte.h"
#include "tests/platform/macos/screen/SckAttrappe.h"

namespace hallkorb {
namespace {

// Its record outlives it.
struct Empfaenger final : BlockEmpfaenger {
  explicit Empfaenger(std::shared_ptr<Eintraege> e) : eintraege(std::move(e)) {}
  void block(const PcmBlock& block) override {
    eintraege->push_back("block " + std::to_string(block.frames));
  }
  void ausgefallen(const Fehler& grund) override { eintraege->push_back(grund.description); }
  std::shared_ptr<Eintraege> eintraege;
};

class SystemTonGeraetTest : public testing::Test {
 protected:
  Ergebnis oeffne() { return geraet.oeffne(empfaenger, stelle, Wartestelle::Uhr::now()); }

  const Fehler kaputt{SCREEN_CAPTURE_DOMAIN, -3802, "startet nicht"};
  SckDienst dienst;
  std::shared_ptr<Eintraege> eintraege = std::make_shared<Eintraege>();
  std::shared_ptr<Empfaenger> empfaenger = std::make_shared<Empfaenger>(eintraege);
  std::shared_ptr<Wartestelle> stelle = std::make_shared<Wartestelle>();
  SystemTonGeraet geraet{std::make_shared<SckAttrappe>(dienst)};
};

TEST_F(SystemTonGeraetTest, OpensAndClosesInOrder) {
  EXPECT_EQ(oeffne(), Ergebnis());
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"inhalt", "baue display", "ton auf sck.audio", "starte"}));
  EXPECT_TRUE(geraet.laeuft());
  static_cast<void>(geraet.schliesse());
  EXPECT_FALSE(geraet.laeuft());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"stoppe", "gib frei"}));
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(dienst.buch.nimm(), Eintraege{});
}

TEST_F(SystemTonGeraetTest, BlocksReachTheReceiverWhileItIsThere) {
  EXPECT_EQ(oeffne(), Ergebnis());
  const auto strom = dienst.empfaenger.lock();
  PcmBlock block;
  block.frames = 960;
  strom->ton(block);
  EXPECT_EQ(*eintraege, (Eintraege{"block 960"}));
  empfaenger.reset();
  strom->ton(block);
  strom->beendet(kaputt);
  EXPECT_EQ(*eintraege, (Eintraege{"block 960"}));
}

TEST_F(SystemTonGeraetTest, WithoutADisplayNoStreamIsBuilt) {
  dienst.display = false;
  EXPECT_EQ(oeffne(), (Fehler{"hallkorb", 1, "kein Display gefunden"}));
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"inhalt"}));
}

TEST_F(SystemTonGeraetTest, ARefusedPermissionSaysWhereToGiveIt) {
  const Fehler verweigert{SCREEN_CAPTURE_DOMAIN, -3801, "declined"};
  dienst.inhalt = verweigert;
  EXPECT_EQ(oeffne(), erklaert(verweigert));
  EXPECT_NE(oeffne(), verweigert);
}

TEST_F(SystemTonGeraetTest, ASnapshotThatNeverComesEndsTheOpening) {
  dienst.inhalt.reset();
  EXPECT_EQ(oeffne(),
            (Fehler{"posix", ETIMEDOUT, "der Dienst fuer Bildschirmaufnahmen antwortet nicht"}));
}

TEST_F(SystemTonGeraetTest, AnAnswerWithoutASnapshotIsAnError) {
  dienst.ohneInhalt = true;
  EXPECT_EQ(oeffne(), (Fehler{"hallkorb", 6, "keine Liste der Fenster und Bildschirme"}));
}

TEST_F(SystemTonGeraetTest, AnOutputThatIsRefusedLeavesNothing) {
  dienst.verbinden = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"inhalt", "baue display", "ton auf sck.audio", "gib frei"}));
}

TEST_F(SystemTonGeraetTest, AStartThatFailsLeavesNothing) {
  dienst.start = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"inhalt", "baue display", "ton auf sck.audio", "starte", "gib frei"}));
}

TEST_F(SystemTonGeraetTest, AStartThatIsNotAnsweredIsTakenBack) {
  dienst.start.reset();
  EXPECT_EQ(oeffne(),
            (Fehler{"posix", ETIMEDOUT, "der Dienst fuer Bildschirmaufnahmen antwortet nicht"}));
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"inhalt", "baue display", "ton auf sck.audio", "starte",
                                           "stoppe", "gib frei"}));
}

TEST_F(SystemTonGeraetTest, AStreamThatTheServiceEndsIsReportedAndStoppedWithoutWaiting) {
  dienst.stopp.reset();
  EXPECT_EQ(oeffne(), Ergebnis());
  static_cast<void>(dienst.buch.nimm());
  dienst.empfaenger.lock()->beendet({SCREEN_CAPTURE_DOMAIN, -3821, "stopped"});
  EXPECT_EQ(*eintraege, (Eintraege{"macOS hat die Aufnahme beendet"}));
  EXPECT_FALSE(geraet.laeuft());
  EXPECT_EQ(geraet.schliesse(), Ergebnis());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"stoppe", "gib frei"}));
}

TEST_F(SystemTonGeraetTest, AStreamThatEndedIsReplacedByANewOne) {
  EXPECT_EQ(oeffne(), Ergebnis());
  dienst.empfaenger.lock()->beendet(kaputt);
  static_cast<void>(geraet.schliesse());
  static_cast<void>(dienst.buch.nimm());
  EXPECT_EQ(oeffne(), Ergebnis());
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"inhalt", "baue display", "ton auf sck.audio", "starte",
                                           "stoppe", "gib frei"}));
}

}  // namespace
}  // namespace hallkorb
