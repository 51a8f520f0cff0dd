// The life of one stream when the service refuses, or does not answer.
#include <gtest/gtest.h>

#include <chrono>

#include "platform/macos/screen/SckStrom.h"
#include "tests/platform/macos/screen/SckAttrappe.h"

namespace hallkorb {
namespace {

struct Empfaenger final : StromEmpfaenger {
  void beendet(const Fehler&) override {}
};

class SckStromTest : public testing::Test {
 protected:
  SckStromTest() {
    attrappe.frageInhalt(false, [this](std::shared_ptr<const Inhalt> gefunden, const Ergebnis&) {
      inhalt = std::move(gefunden);
    });
    static_cast<void>(dienst.buch.nimm());
  }

  Ergebnis starte(SckStrom& strom) {
    return strom.starte(*inhalt, std::nullopt, tonEinstellungen(), StromAusgang::ton, "probe",
                        empfaenger, stelle, Wartestelle::Uhr::now());
  }

  // A wait for the service that should not happen would run the test into its time limit.
  static constexpr std::chrono::hours EWIG{1};

  const Fehler kaputt{"SCStreamErrorDomain", -3802, "startet nicht"};
  const Fehler stumm{"posix", ETIMEDOUT, "der Dienst fuer Bildschirmaufnahmen antwortet nicht"};
  SckDienst dienst;
  SckAttrappe attrappe{dienst};
  std::shared_ptr<const Inhalt> inhalt;
  std::shared_ptr<Empfaenger> empfaenger = std::make_shared<Empfaenger>();
  std::shared_ptr<Wartestelle> stelle = std::make_shared<Wartestelle>();
};

TEST_F(SckStromTest, AStreamThatCannotBeBuiltIsNotTouchedAgain) {
  dienst.bauen = kaputt;
  SckStrom strom(attrappe.strom(), EWIG);
  EXPECT_EQ(starte(strom), kaputt);
  static_cast<void>(strom.beende());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"baue display"}));
}

// It never ran. But asked to stop, it is kept until the service has answered.
TEST_F(SckStromTest, AStartThatIsRefusedIsStoppedWithoutWaiting) {
  dienst.start = kaputt;
  dienst.stopp.reset();
  SckStrom strom(attrappe.strom(), EWIG);
  EXPECT_EQ(starte(strom), kaputt);
  static_cast<void>(strom.beende());
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"baue display", "ton auf probe", "starte", "stoppe", "gib frei"}));
}

TEST_F(SckStromTest, AnOutputThatIsRefusedIsNotStopped) {
  dienst.verbinden = kaputt;
  SckStrom strom(attrappe.strom(), EWIG);
  EXPECT_EQ(starte(strom), kaputt);
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"baue display", "ton auf probe", "gib frei"}));
}

TEST_F(SckStromTest, AStartThatIsNotAnsweredIsStoppedWithoutWaiting) {
  dienst.start.reset();
  dienst.stopp.reset();
  SckStrom strom(attrappe.strom(), EWIG);
  EXPECT_EQ(starte(strom), stumm);
  static_cast<void>(strom.beende());
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"baue display", "ton auf probe", "starte", "stoppe", "gib frei"}));
}

TEST_F(SckStromTest, AStreamThatEndsBeforeItsStartIsAnsweredIsStoppedWithoutWaiting) {
  dienst.stopp.reset();
  for (const SckDienst::Antwort& antwort : {SckDienst::Antwort(), SckDienst::Antwort(kaputt)}) {
    dienst.start = antwort;
    SckStrom strom(attrappe.strom(), EWIG);
    dienst.beimStart = [&] { strom.merkeEnde(); };
    EXPECT_EQ(starte(strom), antwort ? kaputt : stumm);
    EXPECT_EQ(strom.beende(), Ergebnis());
    EXPECT_EQ(dienst.buch.nimm(),
              (Eintraege{"baue display", "ton auf probe", "starte", "stoppe", "gib frei"}));
  }
}

TEST_F(SckStromTest, AStreamThatTheServiceHasEndedIsStoppedWithoutWaiting) {
  dienst.stopp.reset();
  SckStrom strom(attrappe.strom(), EWIG);
  EXPECT_FALSE(strom.laeuft());
  EXPECT_EQ(starte(strom), Ergebnis());
  EXPECT_TRUE(strom.laeuft());
  static_cast<void>(dienst.buch.nimm());
  strom.merkeEnde();
  EXPECT_FALSE(strom.laeuft());
  EXPECT_EQ(strom.beende(), Ergebnis());
  EXPECT_EQ(strom.beende(), Ergebnis());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"stoppe", "gib frei"}));
}

TEST_F(SckStromTest, AStopThatIsNotAnsweredIsNotWaitedForForEver) {
  dienst.stopp.reset();
  SckStrom strom(attrappe.strom(), std::chrono::milliseconds(0));
  EXPECT_EQ(starte(strom), Ergebnis());
  static_cast<void>(dienst.buch.nimm());
  EXPECT_EQ(strom.beende(), stumm);
  EXPECT_EQ(strom.beende(), Ergebnis());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"stoppe", "gib frei"}));
}

TEST_F(SckStromTest, WhatTheServiceSaysToTheStopIsReturned) {
  dienst.stopp = kaputt;
  SckStrom strom(attrappe.strom(), EWIG);
  EXPECT_EQ(starte(strom), Ergebnis());
  EXPECT_EQ(strom.beende(), kaputt);
}

}  // namespace
}  // namespace hallkorb
