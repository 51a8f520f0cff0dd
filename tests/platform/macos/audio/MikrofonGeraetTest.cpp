// The order of the calls into the audio engine, in every course that an opening can take.
#include <gtest/gtest.h>

#include <chrono>

#include "platform/macos/audio/MikrofonGeraet.h"
#include "tests/platform/macos/Buch.h"

namespace hallkorb {
namespace {

struct Mac {
  Buch buch;
  Erlaubnis erlaubnis = Erlaubnis::erteilt;
  std::optional<bool> antwort;  // of the user, when asked
  EngineFormat format{48000, 1};
  Ergebnis formatErgebnis;
  Ergebnis abgriffErgebnis;
  Ergebnis startErgebnis;
  Ergebnis abbauErgebnis;
  bool laeuft = true;
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
  Ergebnis liesFormat(EngineFormat& format) override {
    format = mac_.format;
    return mac_.formatErgebnis;
  }
  Ergebnis setzeAbgriff(std::uint32_t frames, std::weak_ptr<BlockEmpfaenger>) override {
    mac_.buch.schreibe("abgriff " + std::to_string(frames));
    return mac_.abgriffErgebnis;
  }
  Ergebnis starte() override {
    mac_.buch.schreibe("starte");
    return mac_.startErgebnis;
  }
  void beobachteNichtMehr() override { mac_.buch.schreibe("beobachte nicht mehr"); }
  bool laeuft() override { return mac_.laeuft; }
  Ergebnis entferneAbgriff() override {
    mac_.buch.schreibe("entferne abgriff");
    return mac_.abbauErgebnis;
  }
  Ergebnis stoppe() override {
    mac_.buch.schreibe("stoppe");
    return mac_.abbauErgebnis;
  }
  void gibFrei() override { mac_.buch.schreibe("gib frei"); }

 private:
  Mac& mac_;
};

// Its record outlives it.
struct Empfaenger final : BlockEmpfaenger {
  explicit Empfaenger(std::shared_ptr<Eintraege> g) : gruende(std::move(g)) {}
  void block(const PcmBlock&) override {}
  void ausgefallen(const Fehler& grund) override { gruende->push_back(grund.description); }
  std::shared_ptr<Eintraege> gruende;
};

class MikrofonGeraetTest : public testing::Test {
 protected:
  Ergebnis oeffne() { return geraet.oeffne(empfaenger, stelle, Wartestelle::Uhr::now()); }

  const Fehler kaputt{"AVFoundation", -10868, "geht nicht"};
  Mac mac;
  std::shared_ptr<Eintraege> gruende = std::make_shared<Eintraege>();
  std::shared_ptr<Empfaenger> empfaenger = std::make_shared<Empfaenger>(gruende);
  std::shared_ptr<Wartestelle> stelle = std::make_shared<Wartestelle>();
  MikrofonGeraet geraet{std::make_unique<Engine>(mac)};
};

TEST_F(MikrofonGeraetTest, OpensAndClosesInOrder) {
  EXPECT_EQ(oeffne(), Ergebnis());
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "abgriff 4096", "starte"}));
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(mac.buch.nimm(),
            (Eintraege{"beobachte nicht mehr", "entferne abgriff", "stoppe", "gib frei"}));
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(mac.buch.nimm(), Eintraege{});
}

TEST_F(MikrofonGeraetTest, EveryOpeningHasAnEngineOfItsOwn) {
  EXPECT_EQ(oeffne(), Ergebnis());
  static_cast<void>(geraet.schliesse());
  static_cast<void>(mac.buch.nimm());
  EXPECT_EQ(oeffne(), Ergebnis());
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "abgriff 4096", "starte"}));
}

TEST_F(MikrofonGeraetTest, WithoutAnInputDeviceNoTapIsInstalled) {
  for (const EngineFormat& format : {EngineFormat{0, 1}, EngineFormat{48000, 0}}) {
    mac.format = format;
    EXPECT_EQ(oeffne(), (Fehler{"hallkorb", 2, "kein Mikrofon gefunden"}));
    static_cast<void>(geraet.schliesse());
    EXPECT_EQ(mac.buch.nimm(),
              (Eintraege{"baue", "beobachte", "beobachte nicht mehr", "gib frei"}));
  }
}

TEST_F(MikrofonGeraetTest, ATapThatIsRefusedIsNotRemoved) {
  mac.abgriffErgebnis = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(mac.buch.nimm(),
            (Eintraege{"baue", "beobachte", "abgriff 4096", "beobachte nicht mehr", "gib frei"}));
}

TEST_F(MikrofonGeraetTest, AnEngineThatDoesNotStartLosesItsTap) {
  mac.startErgebnis = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "abgriff 4096", "starte",
                                        "beobachte nicht mehr", "entferne abgriff", "gib frei"}));
}

TEST_F(MikrofonGeraetTest, AChangeOfTheDeviceIsReported) {
  EXPECT_EQ(oeffne(), Ergebnis());
  mac.veraendert();
  EXPECT_EQ(*gruende, (Eintraege{"das Eingabegeraet hat gewechselt"}));
}

TEST_F(MikrofonGeraetTest, AChangeThatComesLateReachesNobody) {
  EXPECT_EQ(oeffne(), Ergebnis());
  mac.veraendert();
  empfaenger.reset();
  mac.veraendert();
  EXPECT_EQ(*gruende, (Eintraege{"das Eingabegeraet hat gewechselt"}));
}

TEST_F(MikrofonGeraetTest, ItRunsFromTheOpeningToTheClosingWhileTheEngineDoes) {
  EXPECT_FALSE(geraet.laeuft());
  EXPECT_EQ(oeffne(), Ergebnis());
  EXPECT_TRUE(geraet.laeuft());
  mac.laeuft = false;
  EXPECT_FALSE(geraet.laeuft());
  mac.laeuft = true;
  static_cast<void>(geraet.schliesse());
  EXPECT_FALSE(geraet.laeuft());
}

TEST_F(MikrofonGeraetTest, ATakeDownThatFailsGoesOn) {
  mac.abbauErgebnis = kaputt;
  EXPECT_EQ(oeffne(), Ergebnis());
  static_cast<void>(mac.buch.nimm());
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(mac.buch.nimm(),
            (Eintraege{"beobachte nicht mehr", "entferne abgriff", "stoppe", "gib frei"}));
}

TEST_F(MikrofonGeraetTest, ADeviceThatCannotBeAskedIsNotTapped) {
  mac.formatErgebnis = kaputt;
  EXPECT_EQ(oeffne(), kaputt);
  static_cast<void>(geraet.schliesse());
  EXPECT_EQ(mac.buch.nimm(), (Eintraege{"baue", "beobachte", "beobachte nicht mehr", "gib frei"}));
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
  EXPECT_EQ(oeffne(), Ergebnis());
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
