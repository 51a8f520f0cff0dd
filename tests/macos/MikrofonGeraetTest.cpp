// The order of the calls into the audio engine, in every course that an opening can take.
#include <gtest/gtest.h>

#include <chrono>

#include "platform/macos/MikrofonGeraet.h"
#include "tests/macos/Buch.h"

namespace hallkorb {
namespace {

struct Mac {
  Buch buch;
  Erlaubnis erlaubnis = Erlaubnis::erteilt;
  std::optional<bool> antwort;  // of the user, when asked
  bool eingang = true;
  Ergebnis abgriffFehler;
  Ergebnis startFehler;
  std::function<void()> veraendert;
};

class Engine final : public EngineAufrufe {
 public:
  explicit Engine(Mac& mac) : mac_(mac) {}

  Erlaubnis erlaubnis() override { return mac_.erlaubnis; }
  void frageErlaubnis(std::function<void(bool)> antwort) override {
    mac_.buch.schreibe("frage");
    if (mac_.antwort) antwort(*mac_.antwort);
  }
  void baue() override { mac_.buch.schreibe("baue"); }
  void beobachte(std::function<void()> veraendert) override {
    mac_.buch.schreibe("beobachte");
    mac_.veraendert = std::move(veraendert);
  }
  bool hatEingang() override { return mac_.eingang; }
  Ergebnis setzeAbgriff(std::uint32_t frames, std::weak_ptr<BlockEmpfaenger>) override {
    mac_.buch.schreibe("abgriff " + std::to_string(frames));
    return mac_.abgriffFehler;
  }
  Ergebnis starte() override {
    mac_.buch.schreibe("starte");
    return mac_.startFehler;
  }
  void beobachteNichtMehr() override { mac_.buch.schreibe("beobachte nicht mehr"); }
  void entferneAbgriff() override { mac_.buch.schreibe("entferne abgriff"); }
  void stoppe() override { mac_.buch.schreibe("stoppe"); }
  void gibFrei() override { mac_.buch.schreibe("gib frei"); }

 private:
  Mac& mac_;
};

struct Empfaenger final : BlockEmpfaenger {
  void block(const PcmBlock&) override {}
  void ausgefallen(const Fehler& grund) override { gruende.push_back(grund.description); }
  Eintraege gruende;
};

class MikrofonGeraetTest : public testing::Test {
 protected:
  Ergebnis oeffne() { return geraet.oeffne(empfaenger, stelle, Wartestelle::Uhr::now()); }

  const Fehler kaputt{"AVFoundation", -10868, "geht nicht"};
  Mac mac;
  std::shared_ptr<Empfaenger> empfaenger = std::make_shared<Empfaenger>();
  std::shared_ptr<Wartestelle> stelle = std::make_shared<Wartestelle>();
  MikrofonGeraet geraet{std::make_unique<Engine>(mac)};
};

TEST_F(MikrofonGeraetTest, OpensAndClosesInOrder) {
  EXPECT_EQ(oeffne(), std::nullopt);
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "abgriff 4096", "starte"}));
  geraet.schliesse();
  EXPECT_EQ(mac.buch.nimm(),
            (Eintraege{"beobachte nicht mehr", "entferne abgriff", "stoppe", "gib frei"}));
  geraet.schliesse();
  EXPECT_EQ(mac.buch.nimm(), Eintraege{});
}

TEST_F(MikrofonGeraetTest, EveryOpeningHasAnEngineOfItsOwn) {
  EXPECT_EQ(oeffne(), std::nullopt);
  geraet.schliesse();
  static_cast<void>(mac.buch.nimm());
  EXPECT_EQ(oeffne(), std::nullopt);
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "abgriff 4096", "starte"}));
}

TEST_F(MikrofonGeraetTest, WithoutAnInputDeviceNoTapIsInstalled) {
  mac.eingang = false;
  EXPECT_EQ(oeffne(), (Fehler{"hallkorb", 2, "kein Mikrofon gefunden"}));
  geraet.schliesse();
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "beobachte nicht mehr", "gib frei"}));
}

TEST_F(MikrofonGeraetTest, ATapThatIsRefusedIsNotRemoved) {
  mac.abgriffFehler = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  geraet.schliesse();
  EXPECT_EQ(mac.buch.nimm(),
            (Eintraege{"baue", "beobachte", "abgriff 4096", "beobachte nicht mehr", "gib frei"}));
}

TEST_F(MikrofonGeraetTest, AnEngineThatDoesNotStartLosesItsTap) {
  mac.startFehler = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  geraet.schliesse();
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "abgriff 4096", "starte",
                                        "beobachte nicht mehr", "entferne abgriff", "gib frei"}));
}

TEST_F(MikrofonGeraetTest, AChangeOfTheDeviceIsTold) {
  EXPECT_EQ(oeffne(), std::nullopt);
  mac.veraendert();
  EXPECT_EQ(empfaenger->gruende, (Eintraege{"das Eingabegeraet hat gewechselt"}));
}

TEST_F(MikrofonGeraetTest, AChangeThatComesLateTellsNobody) {
  EXPECT_EQ(oeffne(), std::nullopt);
  empfaenger.reset();
  mac.veraendert();
}

TEST_F(MikrofonGeraetTest, ARefusedPermissionTouchesNoDevice) {
  mac.erlaubnis = Erlaubnis::verweigert;
  EXPECT_EQ(oeffne(), mikrofonNichtErlaubt(Erlaubnis::verweigert));
  mac.erlaubnis = Erlaubnis::eingeschraenkt;
  EXPECT_EQ(oeffne(), mikrofonNichtErlaubt(Erlaubnis::eingeschraenkt));
  EXPECT_EQ(mac.buch.nimm(), Eintraege{});
}

TEST_F(MikrofonGeraetTest, APermissionThatIsGivenWhenAskedOpensTheDevice) {
  mac.erlaubnis = Erlaubnis::nichtGefragt;
  mac.antwort = true;
  EXPECT_EQ(oeffne(), std::nullopt);
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"frage", "baue", "beobachte", "abgriff 4096", "starte"}));
}

TEST_F(MikrofonGeraetTest, APermissionThatIsRefusedWhenAskedSaysSo) {
  mac.erlaubnis = Erlaubnis::nichtGefragt;
  mac.antwort = false;
  EXPECT_EQ(oeffne(), mikrofonNichtErlaubt(Erlaubnis::verweigert));
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"frage"}));
}

TEST_F(MikrofonGeraetTest, AQuestionThatIsNotAnsweredInTimeSaysWhatToDo) {
  mac.erlaubnis = Erlaubnis::nichtGefragt;
  EXPECT_EQ(oeffne(), mikrofonNichtErlaubt(Erlaubnis::nichtGefragt));
}

TEST_F(MikrofonGeraetTest, AStopEndsTheWaitForTheUser) {
  mac.erlaubnis = Erlaubnis::nichtGefragt;
  stelle->brichAb();
  EXPECT_EQ(geraet.oeffne(empfaenger, stelle, Wartestelle::Uhr::now() + std::chrono::hours(1)),
            (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
}

}  // namespace
}  // namespace hallkorb
