// The calls into the capture service and its answers, run.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/macos/screen/SckStrom.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/calls/SckLauf.h"

namespace hallkorb {
namespace {

namespace bildschirm = ersatz::bildschirm;
using bildschirm::Frage;

constexpr std::uint32_t EINS = 11;
constexpr std::uint32_t ZWEI = 12;
const char* const TEXT = "Der Stream wurde beendet";

// What came back from a query for the content, as often as it did.
struct Auskunft {
  std::vector<std::shared_ptr<const Inhalt>> inhalte;
  std::vector<Ergebnis> ergebnisse;
  [[nodiscard]] SckAufrufe::InhaltFertig empfang() {
    return [this](std::shared_ptr<const Inhalt> inhalt, Ergebnis ergebnis) {
      inhalte.push_back(std::move(inhalt));
      ergebnisse.push_back(std::move(ergebnis));
    };
  }
};

class ScreenCaptureKitTest : public SckLauf {
 protected:
  void SetUp() override {
    SckLauf::SetUp();
    bildschirm::inhalt({{.id = EINS}, {.id = ZWEI}}, 1);
  }
  Fehler wechsle(std::uint32_t fenster) {
    SckAntworten antworten;
    strom->wechsle(*inhalt(), fenster, antworten.empfang());
    EXPECT_TRUE(ersatz::ruhe());
    return antworten.einzigerFehler();
  }
  // A stream is kept for ten seconds after the answer to its stop.
  static void warteAb() {
    ASSERT_TRUE(ersatz::ruhe());
    ersatz::lassZeitVergehen(11);
  }
  Fehler stoppe() {
    SckAntworten antworten;
    strom->stoppe(antworten.empfang());
    EXPECT_TRUE(ersatz::ruhe());
    return antworten.einzigerFehler();
  }
};

const Fehler GELUNGEN = fehlerIn(Ergebnis{});
const Fehler OHNE_FEHLER{"hallkorb", 0, "Fehler ohne Beschreibung"};

// All that the service documents, and the next one.
std::vector<long> alleCodes() {
  return codes(-3801, -3822);
}
Fehler mitCode(long code) {
  return {"SCStreamErrorDomain", code, TEXT};
}

// --- What can be captured ---

TEST_F(ScreenCaptureKitTest, WindowsComeWithWhatTheSystemKnowsOfThem) {
  bildschirm::inhalt({{.id = 4294967295,
                       .titel = "Besprechung – Ärger",
                       .app = "us.zoom.xos",
                       .x = -10.5,
                       .y = 20,
                       .breite = 640,
                       .hoehe = 480,
                       .sichtbar = true,
                       .ebene = -2147483601},
                      {.id = 2, .titel = "", .sichtbar = false}},
                     1);
  const ScreenContent gefunden = inhalt()->fenster();
  ASSERT_EQ(gefunden.windows.size(), 2U);
  const ScreenWindow& erstes = gefunden.windows[0];
  EXPECT_EQ(erstes.id, 4294967295U);
  EXPECT_EQ(erstes.titel, "Besprechung – Ärger");
  ASSERT_TRUE(erstes.anwendung);
  EXPECT_EQ(erstes.anwendung->bundle, "us.zoom.xos");
  EXPECT_EQ(erstes.anwendung->name, "us.zoom.xos");
  EXPECT_EQ((std::vector{erstes.x, erstes.y, erstes.breite, erstes.hoehe}),
            (std::vector<double>{-10.5, 20, 640, 480}));
  EXPECT_TRUE(erstes.sichtbar);
  EXPECT_EQ(erstes.ebene, -2147483601);
  const ScreenWindow& zweites = gefunden.windows[1];
  EXPECT_EQ(zweites.titel, "");
  EXPECT_FALSE(zweites.anwendung);
  EXPECT_FALSE(zweites.sichtbar);
}

// As without the permission for the screen.
TEST_F(ScreenCaptureKitTest, AWindowWithoutATitleHasNone) {
  EXPECT_EQ(inhalt()->fenster().windows.at(0).titel, std::nullopt);
}

TEST_F(ScreenCaptureKitTest, ASnapshotKnowsItsWindowsAndDisplays) {
  auto da = inhalt();
  EXPECT_TRUE(da->hatFenster(EINS));
  EXPECT_TRUE(da->hatFenster(ZWEI));
  EXPECT_FALSE(da->hatFenster(13));
  EXPECT_TRUE(da->hatDisplay());
  bildschirm::inhalt({}, 0);
  EXPECT_TRUE(da->hatFenster(EINS));  // it is of its moment
  da = inhalt();
  EXPECT_FALSE(da->hatFenster(EINS));
  EXPECT_FALSE(da->hatDisplay());
  EXPECT_TRUE(da->fenster().windows.empty());
}

TEST_F(ScreenCaptureKitTest, AQueryThatFailsAnswersWithItsError) {
  for (const long code : alleCodes()) {
    Auskunft auskunft;
    bildschirm::fehler(Frage::inhalt, code);
    dienst->frageInhalt(true, auskunft.empfang());
    ASSERT_TRUE(ersatz::ruhe());
    ASSERT_EQ(auskunft.inhalte.size(), 1U);
    EXPECT_EQ(auskunft.inhalte[0], nullptr);
    EXPECT_EQ(fehlerIn(auskunft.ergebnisse[0]), mitCode(code));
  }
  Auskunft auskunft;
  bildschirm::fehler(Frage::inhalt, -3801, true);
  dienst->frageInhalt(true, auskunft.empfang());
  ASSERT_TRUE(ersatz::ruhe());
  ASSERT_EQ(auskunft.inhalte.size(), 1U);
  EXPECT_EQ(auskunft.inhalte[0], nullptr);
  EXPECT_EQ(fehlerIn(auskunft.ergebnisse[0]), (Fehler{"hallkorb", 0, "Fehler ohne Beschreibung"}));
}

TEST_F(ScreenCaptureKitTest, AQueryIsAnsweredAsOftenAsTheServiceDoes) {
  bildschirm::stumm(Frage::inhalt, true);
  Auskunft auskunft;
  dienst->frageInhalt(true, auskunft.empfang());
  dienst.reset();  // nobody is left who asked
  EXPECT_EQ(bildschirm::offeneFragen(), 1);
  EXPECT_TRUE(auskunft.inhalte.empty());
  bildschirm::antworte(2);
  ASSERT_EQ(auskunft.inhalte.size(), 2U);
  EXPECT_TRUE(auskunft.inhalte[1]->hatFenster(EINS));
}

// --- Making a stream ---

TEST_F(ScreenCaptureKitTest, WhatIsNotThereCannotBeCaptured) {
  const auto da = inhalt();
  EXPECT_EQ(fehlerIn(strom->baue(*da, 13, tonEinstellungen(), empfang)),
            (Fehler{"hallkorb", 4, "Fenster verschwunden"}));
  bildschirm::inhalt({{.id = EINS}}, 0);
  EXPECT_EQ(fehlerIn(strom->baue(*inhalt(), std::nullopt, tonEinstellungen(), empfang)),
            (Fehler{"hallkorb", 1, "kein Display gefunden"}));
  EXPECT_EQ(neue("SCStream"), 0);
  strom->gibFrei();  // nothing was made
}

TEST_F(ScreenCaptureKitTest, AnOutputThatIsNotTakenIsAnError) {
  ASSERT_TRUE(gelang(strom->baue(*inhalt(), EINS, tonEinstellungen(), empfang)));
  for (const StromAusgang ausgang : {StromAusgang::ton, StromAusgang::bild}) {
    for (const long code : alleCodes()) {
      bildschirm::ausgangFehler(code);
      EXPECT_EQ(fehlerIn(strom->verbinde(ausgang, "sck.audio")), mitCode(code));
    }
    bildschirm::ausgangFehler(0);
    EXPECT_EQ(fehlerIn(strom->verbinde(ausgang, "sck.audio")), OHNE_FEHLER);
  }
  strom->gibFrei();
}

TEST_F(ScreenCaptureKitTest, AStreamThatCannotBeMadeIsAnErrorWithItsOutput) {
  bildschirm::keinStrom(true);
  ASSERT_TRUE(gelang(strom->baue(*inhalt(), EINS, tonEinstellungen(), empfang)));
  EXPECT_EQ(fehlerIn(strom->verbinde(StromAusgang::ton, "sck.audio")), OHNE_FEHLER);
}

TEST_F(ScreenCaptureKitTest, TheSoundsSettingsAreSet) {
  verbinde();
  const auto k = bildschirm::konfiguration();
  EXPECT_EQ(k.at("capturesAudio"), 1);
  EXPECT_EQ(k.at("excludesCurrentProcessAudio"), 1);
  EXPECT_EQ(k.at("sampleRate"), 48000);
  EXPECT_EQ(k.at("channelCount"), 2);
  EXPECT_EQ(k.at("width"), 2);
  EXPECT_EQ(k.at("height"), 2);
  EXPECT_EQ(k.at("minimumFrameInterval"), 1);
  EXPECT_EQ(k.at("pixelFormat"), 0);  // left as it was
  EXPECT_EQ(k.at("queueDepth"), 0);
}

TEST_F(ScreenCaptureKitTest, ThePicturesSettingsAreSet) {
  verbinde(EINS);
  const auto k = bildschirm::konfiguration();
  EXPECT_EQ(k.at("capturesAudio"), 0);
  EXPECT_EQ(k.at("sampleRate"), 0);
  EXPECT_EQ(k.at("width"), 1280);
  EXPECT_EQ(k.at("height"), 800);
  EXPECT_DOUBLE_EQ(k.at("minimumFrameInterval"), 1.0 / 15);
  EXPECT_EQ(k.at("pixelFormat"), 0x42475241);
  EXPECT_EQ(k.at("showsCursor"), 1);
  EXPECT_EQ(k.at("queueDepth"), 5);
  EXPECT_EQ(k.at("scalesToFit"), 1);
}

// The platform's default is yes, so no is what shows whether it was set.
TEST_F(ScreenCaptureKitTest, TheAspectRatioIsSetOnlyOnSystemsThatKnowIt) {
  auto einstellungen = tonEinstellungen();
  einstellungen.preservesAspectRatio = false;
  for (const auto& [haupt, neben, erwartet] :
       {std::tuple{13, 0, 1.0}, {13, 6, 1.0}, {14, 0, 0.0}, {15, 2, 0.0}}) {
    ersatz::setzeSystem(haupt, neben);
    ASSERT_TRUE(gelang(strom->baue(*inhalt(), EINS, einstellungen, empfang)));
    EXPECT_EQ(bildschirm::konfiguration().at("preservesAspectRatio"), erwartet) << haupt;
  }
  einstellungen.preservesAspectRatio = std::nullopt;
  ASSERT_TRUE(gelang(strom->baue(*inhalt(), EINS, einstellungen, empfang)));
  EXPECT_EQ(bildschirm::konfiguration().at("preservesAspectRatio"), 1);
}

// --- Start, change, stop ---

TEST_F(ScreenCaptureKitTest, AStartThatFailsAnswersWithItsError) {
  verbinde(EINS);
  for (const long code : alleCodes()) {
    bildschirm::fehler(Frage::start, code);
    SckAntworten antworten;
    strom->starte(antworten.empfang());
    ASSERT_TRUE(ersatz::ruhe());
    EXPECT_EQ(antworten.einzigerFehler(), mitCode(code));
  }
}

TEST_F(ScreenCaptureKitTest, AStartIsAnsweredLateAndTwice) {
  verbinde(EINS);
  bildschirm::stumm(Frage::start, true);
  SckAntworten antworten;
  strom->starte(antworten.empfang());
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_TRUE(antworten.alle.empty());
  bildschirm::antworte(2);
  ASSERT_EQ(antworten.alle.size(), 2U);
  EXPECT_TRUE(gelang(antworten.alle[0]));
  EXPECT_EQ(fehlerIn(antworten.alle[1]).code, -3807);  // it runs already
  EXPECT_EQ(stoppe(), GELUNGEN);
}

// The service has dropped the question, and with it the stream.
TEST_F(ScreenCaptureKitTest, AStartThatIsNeverAnsweredLeavesNothing) {
  verbinde(EINS);
  bildschirm::stumm(Frage::start, true);
  auto fertig = std::make_shared<int>(0);
  strom->starte([fertig](const Ergebnis&) { ++*fertig; });
  strom->gibFrei();
  ersatz::setzeZurueck();
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(*fertig, 0);
  EXPECT_EQ(fertig.use_count(), 1);
  EXPECT_EQ(neue("SCStream"), 0);
}

TEST_F(ScreenCaptureKitTest, AnotherWindowIsGoneOverTo) {
  starte(EINS);
  EXPECT_EQ(wechsle(ZWEI), GELUNGEN);
  EXPECT_EQ(wechsle(ZWEI), GELUNGEN);
  EXPECT_TRUE(bildschirm::bild({}, {1}));
  EXPECT_EQ(empfang->bilder.size(), 1U);
}

TEST_F(ScreenCaptureKitTest, AChangeToAWindowThatHasVanishedIsAnErrorAtOnce) {
  starte(EINS);
  EXPECT_EQ(wechsle(13), (Fehler{"hallkorb", 4, "Fenster verschwunden"}));
}

TEST_F(ScreenCaptureKitTest, AChangeThatFailsAnswersWithItsError) {
  starte(EINS);
  for (const long code : alleCodes()) {
    bildschirm::fehler(Frage::wechsel, code);
    EXPECT_EQ(wechsle(ZWEI), mitCode(code));
  }
  EXPECT_EQ(stoppe(), GELUNGEN);
}

TEST_F(ScreenCaptureKitTest, AChangeIsAnsweredLateTwiceOrNever) {
  starte(EINS);
  bildschirm::stumm(Frage::wechsel, true);
  SckAntworten antworten;
  strom->wechsle(*inhalt(), ZWEI, antworten.empfang());
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_TRUE(antworten.alle.empty());
  bildschirm::antworte(2);
  EXPECT_EQ(antworten.alle.size(), 2U);
  auto fertig = std::make_shared<int>(0);
  strom->wechsle(*inhalt(), EINS, [fertig](const Ergebnis&) { ++*fertig; });
  EXPECT_EQ(stoppe(), GELUNGEN);
  strom->gibFrei();
  ersatz::setzeZurueck();  // the question is dropped
  warteAb();
  EXPECT_EQ(fertig.use_count(), 1);
  EXPECT_EQ(neue("SCStream"), 0);
}

TEST_F(ScreenCaptureKitTest, AStreamThatTheServiceEndedRefusesEverything) {
  starte(EINS);
  bildschirm::beende(-3821);
  EXPECT_EQ(wechsle(ZWEI).code, -3809);
  EXPECT_EQ(stoppe().code, -3808);
}

TEST_F(ScreenCaptureKitTest, SoundArrivesUntilTheStreamIsStopped) {
  starte();
  EXPECT_EQ(bildschirm::queue(), "sck.audio");
  EXPECT_TRUE(bildschirm::ton({.kanaele = {{1, 2}, {3, 4}}}, {}));
  EXPECT_EQ(empfang->toene.size(), 1U);
  EXPECT_EQ(stoppe(), GELUNGEN);
  strom->gibFrei();
  strom->gibFrei();  // may be repeated
  warteAb();
  EXPECT_EQ(neue("SCStream"), 0);
  EXPECT_EQ(bildschirm::zuFruehFreigegeben(), 0);
}

TEST_F(ScreenCaptureKitTest, AStopThatFailsAnswersWithItsErrorAndFreesTheStream) {
  for (const long code : alleCodes()) {
    strom = dienst->strom();
    starte();
    bildschirm::fehler(Frage::stopp, code);
    EXPECT_EQ(stoppe(), mitCode(code));
    strom->gibFrei();
    warteAb();
    EXPECT_EQ(neue("SCStream"), 0);
  }
}

// The answer comes in a call of the stream's own, which must not release it.
TEST_F(ScreenCaptureKitTest, AStreamAndItsReceiverAreKeptUntilAfterTheStopIsAnswered) {
  starte();
  bildschirm::stumm(Frage::stopp, true);
  SckAntworten antworten;
  strom->stoppe(antworten.empfang());
  strom->gibFrei();
  EXPECT_EQ(neue("SCStream"), 1);
  EXPECT_EQ(neue("HKStromEmpfaenger"), 1);
  bildschirm::antworte();
  EXPECT_TRUE(antworten.gelangEinmal());
  EXPECT_EQ(bildschirm::zuFruehFreigegeben(), 0);
  ersatz::lassZeitVergehen(9);
  EXPECT_EQ(neue("SCStream"), 1);
  EXPECT_EQ(neue("HKStromEmpfaenger"), 1);
  ersatz::lassZeitVergehen(2);
  EXPECT_EQ(neue("SCStream"), 0);
  EXPECT_EQ(neue("HKStromEmpfaenger"), 0);
}

TEST_F(ScreenCaptureKitTest, AStopThatIsAnsweredTwiceIsReportedTwiceAndFreesOnce) {
  starte();
  bildschirm::stumm(Frage::stopp, true);
  SckAntworten antworten;
  strom->stoppe(antworten.empfang());
  strom->gibFrei();
  bildschirm::antworte(2);
  EXPECT_EQ(antworten.alle.size(), 2U);
  warteAb();
  EXPECT_EQ(neue("SCStream"), 0);
}

// The service drops the request: nothing reports any more when the stream is out of use.
TEST_F(ScreenCaptureKitTest, AStreamWhoseStopIsNeverAnsweredIsKeptForGood) {
  starte();
  bildschirm::stumm(Frage::stopp, true);
  strom->stoppe([](const Ergebnis&) {});
  strom->gibFrei();
  ersatz::setzeZurueck();
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(neue("SCStream"), 1);
  for (const char* klasse : {"SCStream", "HKStromEmpfaenger", "SCContentFilter", "SCDisplay"})
    duldet(klasse, 1);
  if (neue("HKSchlange") > 0) duldet("HKSchlange", 1);  // where its samples came
}

TEST_F(ScreenCaptureKitTest, TheServicesReasonForTheEndArrives) {
  for (const long code : alleCodes()) {
    strom = dienst->strom();
    empfang->enden.clear();
    starte(EINS);
    bildschirm::beende(code);
    EXPECT_EQ(empfang->enden, (std::vector{mitCode(code)}));
    EXPECT_EQ(stoppe().code, -3808);
    strom->gibFrei();
  }
}

// The delegate's call is on the stack of the service, which holds neither, when the program gives
// the stream up.
TEST_F(ScreenCaptureKitTest, AStreamThatTheServiceEndedIsKeptWhileTheDelegateIsCalled) {
  struct Aufgebender final : StromEmpfaenger {
    SckStrom* strom = nullptr;
    std::function<void()> danach;
    void beendet(const Fehler&) override {
      strom->merkeEnde();
      EXPECT_TRUE(gelang(strom->beende()));
      danach();
    }
  };
  SckStrom ganzer(std::move(strom), std::chrono::minutes(1));
  const auto aufgebender = std::make_shared<Aufgebender>();
  aufgebender->strom = &ganzer;
  bool gerufen = false;
  aufgebender->danach = [&] {
    gerufen = true;
    EXPECT_EQ(neue("SCStream"), 1);
    EXPECT_EQ(neue("HKStromEmpfaenger"), 1);
  };
  ASSERT_TRUE(gelang(ganzer.starte(*inhalt(), EINS, tonEinstellungen(), StromAusgang::ton,
                                   "sck.audio", aufgebender, std::make_shared<Wartestelle>(),
                                   Wartestelle::Uhr::now() + std::chrono::minutes(1))));
  bildschirm::beende(-3821);
  EXPECT_TRUE(gerufen);
  EXPECT_EQ(bildschirm::zuFruehFreigegeben(), 0);
  warteAb();
  EXPECT_EQ(neue("SCStream"), 0);
  EXPECT_EQ(neue("HKStromEmpfaenger"), 0);
}

// The same with a stream that never ran: the service has called the delegate, which has not heard
// of it yet, and refuses the start meanwhile.
TEST_F(ScreenCaptureKitTest, AStreamWhoseStartIsRefusedIsKeptWhileTheDelegateIsCalled) {
  struct Spaeter final : StromEmpfaenger {
    std::function<void()> vorher;
    void beendet(const Fehler&) override { vorher(); }
  };
  const auto da = inhalt();
  bildschirm::stumm(Frage::start, true);
  bildschirm::fehler(Frage::start, -3802);
  SckStrom ganzer(std::move(strom), std::chrono::minutes(1));
  const auto spaeter = std::make_shared<Spaeter>();
  Ergebnis ergebnis;
  std::thread starter([&] {
    ergebnis = ganzer.starte(*da, EINS, tonEinstellungen(), StromAusgang::ton, "sck.audio", spaeter,
                             std::make_shared<Wartestelle>(),
                             Wartestelle::Uhr::now() + std::chrono::minutes(1));
  });
  bildschirm::warteAufFrage();
  bool gerufen = false;
  spaeter->vorher = [&] {
    bildschirm::antworte();
    starter.join();
    gerufen = true;
  };
  bildschirm::beendeVorDerAntwort(-3821);
  ASSERT_TRUE(gerufen);
  EXPECT_EQ(fehlerIn(ergebnis), mitCode(-3802));
  EXPECT_EQ(bildschirm::zuFruehFreigegeben(), 0);
  warteAb();
  EXPECT_EQ(neue("SCStream"), 0);
  EXPECT_EQ(neue("HKStromEmpfaenger"), 0);
}

}  // namespace
}  // namespace hallkorb
