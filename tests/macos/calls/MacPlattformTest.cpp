// What the platform keeps awake, connects and makes, run.
#include <atomic>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/HostClock.h"
#include "platform/macos/MacAufrufe.h"
#include "platform/macos/MacPlattform.h"
#include "platform/macos/screen/MacBild.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/doubles/Bildschirm.h"
#include "tests/macos/doubles/Mikrofon.h"
#include "tests/macos/doubles/Proben.h"
#include "tests/macos/doubles/Schreiber.h"
#include "tests/macos/doubles/System.h"
#include "tests/macos/doubles/Wandler.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

struct Hoerer final : AudioInputListener {
  std::atomic<int> bloecke{0};
  void block(const PcmBlock&) override { ++bloecke; }
  void unterbrochen(const Fehler&) override {}
  void fortgesetzt() override {}
  void verloren(std::uint64_t) override {}
  void hinweis(const Fehler&) override {}
};

struct Zuschauer final : WindowStreamListener {
  std::atomic<std::uint32_t> fenster{0};
  bool bild(const Bild& bild) override {
    fenster = bild.fenster();
    return true;
  }
  void gestoppt(const Fehler&) override {}
};

class MacPlattformTest : public ErsatzTest {};

// On this thread, which has no pool: the base class looks for what went into none.
TEST_F(MacPlattformTest, TheComputerIsKeptAwakeFromTheFirstInputToTheEnd) {
  const long vorher = ersatz::aktivitaeten();
  {
    MacPlattform plattform;
    EXPECT_EQ(ersatz::aktivitaeten(), vorher);
    const auto mikrofon = plattform.mikrofon();
    EXPECT_EQ(ersatz::aktivitaeten(), vorher + 1);
    const auto system = plattform.systemAudio();
    EXPECT_EQ(ersatz::aktivitaeten(), vorher + 1);
  }
  EXPECT_EQ(ersatz::aktivitaeten(), vorher);
  {
    MacPlattform plattform;
    const auto system = plattform.systemAudio();
    EXPECT_EQ(ersatz::aktivitaeten(), vorher + 1);
    const auto mikrofon = plattform.mikrofon();
    EXPECT_EQ(ersatz::aktivitaeten(), vorher + 1);
  }
  EXPECT_EQ(ersatz::aktivitaeten(), vorher);
}

TEST_F(MacPlattformTest, TheWindowServerIsAskedForAtOnce) {
  const long vorher = ersatz::fensterserver();
  const MacPlattform plattform;
  EXPECT_EQ(ersatz::fensterserver(), vorher + 1);
}

TEST_F(MacPlattformTest, ClockLoopAndThreadsAreThere) {
  MacPlattform plattform;
  EXPECT_GT(plattform.uhr().sekunden(), 0);
  EXPECT_GT(plattform.uhr().unixMs(), 1'500'000'000'000);
  plattform.runLoop().post([&] { plattform.runLoop().quit(3); });
  EXPECT_EQ(plattform.runLoop().run(), 3);
  EXPECT_EQ(&plattform.executor(), &plattform.executor());
}

TEST_F(MacPlattformTest, TheMicrophoneRecords) {
  ersatz::mikrofon::geraet(48000, 1);
  ersatz::mikrofon::erlaubnis(3);
  MacPlattform plattform;
  setzeHostClock(plattform.uhr());
  const auto mikrofon = plattform.mikrofon();
  Hoerer hoerer;
  ASSERT_TRUE(gelang(mikrofon->start(hoerer)));
  EXPECT_TRUE(ersatz::mikrofon::liefere({std::vector<float>(480, 0.5F)}, 24'000'000));
  EXPECT_TRUE(gelang(mikrofon->stop()));
  EXPECT_EQ(hoerer.bloecke, 1);
}

TEST_F(MacPlattformTest, TheSoundOfTheComputerIsRecorded) {
  MacPlattform plattform;
  setzeHostClock(plattform.uhr());
  const auto system = plattform.systemAudio();
  Hoerer hoerer;
  ASSERT_TRUE(gelang(system->start(hoerer)));
  EXPECT_TRUE(ersatz::bildschirm::ton({.kanaele = {{1, 2}, {3, 4}}}, {1}));
  EXPECT_TRUE(gelang(system->stop()));
  EXPECT_EQ(hoerer.bloecke, 1);
}

TEST_F(MacPlattformTest, RefusedInputsSayWhy) {
  ersatz::mikrofon::erlaubnis(2);
  ersatz::bildschirm::fehler(ersatz::bildschirm::Frage::inhalt, -3801);
  MacPlattform plattform;
  Hoerer hoerer;
  const auto mikrofon = plattform.mikrofon();
  EXPECT_EQ(fehlerIn(mikrofon->start(hoerer)).domain, "AVAuthorizationStatus");
  const auto system = plattform.systemAudio();
  const Fehler fehler = fehlerIn(system->start(hoerer));
  EXPECT_EQ(fehler.code, -3801);
  EXPECT_NE(fehler.description.find("Systemeinstellungen"), std::string::npos);
}

// A machine that is busy may take longer than the question waits.
Geraetenamen beantwortet(MacPlattform& plattform) {
  auto antwort = plattform.geraetenamen();
  while (std::holds_alternative<Fehler>(antwort))
    antwort = plattform.geraetenamen();
  return std::get<Geraetenamen>(antwort);
}

TEST_F(MacPlattformTest, BothNamesAreGiven) {
  ersatz::geraetenamen("Kopfhörer", "Studiomonitor");
  MacPlattform plattform;
  const Geraetenamen namen = beantwortet(plattform);
  EXPECT_EQ(namen.mikrofon, "Kopfhörer");
  EXPECT_EQ(namen.lautsprecher, "Studiomonitor");
}

TEST_F(MacPlattformTest, AnAudioServiceThatHangsIsReported) {
  ersatz::geraetenamen(std::nullopt, std::nullopt);
  ersatz::stummerTondienst(true);
  MacPlattform plattform;
  const auto antwort = plattform.geraetenamen();
  ASSERT_TRUE(std::holds_alternative<Fehler>(antwort));
  EXPECT_EQ(std::get<Fehler>(antwort).description, "der Audiodienst antwortet nicht");
  ersatz::stummerTondienst(false);
  EXPECT_EQ(beantwortet(plattform).mikrofon, std::nullopt);
  ersatz::warteAufTondienst(4);  // the question that was left alone comes to its end, too
}

TEST_F(MacPlattformTest, WhatTheUserHasPermitted) {
  using Stand = Genehmigung::Stand;
  MacPlattform plattform;
  const auto erwarte = [&](Stand mikrofon, Stand bildschirm) {
    const std::vector<Genehmigung> ist = plattform.genehmigungen();
    ASSERT_EQ(ist.size(), 2U);
    EXPECT_EQ(ist[0].wofuer, "Mikrofon");
    EXPECT_EQ(ist[0].stand, mikrofon);
    EXPECT_EQ(ist[0].mangel, Mangel::mikrofon);
    EXPECT_EQ(ist[1].wofuer, "Bildschirm und Systemton");
    EXPECT_EQ(ist[1].stand, bildschirm);
    EXPECT_EQ(ist[1].mangel, Mangel::bildschirm);
  };
  erwarte(Stand::erteilt, Stand::erteilt);
  ersatz::bildschirmErlaubt(false);
  erwarte(Stand::erteilt, Stand::fehlt);
  constexpr long KUENFTIGE = 4;  // none of today's
  for (const auto& [nummer, stand] : {std::pair{0L, Stand::ungefragt},
                                      {1L, Stand::gesperrt},
                                      {2L, Stand::fehlt},
                                      {KUENFTIGE, Stand::fehlt}}) {
    ersatz::mikrofon::erlaubnis(nummer);
    erwarte(stand, Stand::fehlt);
  }
  EXPECT_FALSE(ersatz::mikrofon::gefragt());
}

TEST_F(MacPlattformTest, EveryLackHasARemedy) {
  const MacPlattform plattform;
  for (const auto& [mangel, wort] :
       {std::pair{Mangel::tondienst, "neu starten"},
        {Mangel::mikrofon, "> Mikrofon das Programm erlauben"},
        {Mangel::stummesMikrofon, "Ton > Eingabe ein Mikrofon waehlen"},
        {Mangel::systemAudio, "Bildschirm- & Systemaudioaufnahme"},
        {Mangel::vorrang, "andere Programme beenden"},
        {Mangel::bildschirm, "(bis macOS 14: Bildschirmaufnahme)"},
        {Mangel::encoder, "neuesten Stand"}})
    EXPECT_NE(plattform.abhilfe(mangel).find(wort), std::string::npos) << wort;
}

// In place of the player a program that fails if the file is not there.
TEST_F(MacPlattformTest, ASoundIsPlayedByTheSystemsPlayer) {
  const TempOrdner ordner;
  MacPlattform plattform;
  EXPECT_EQ(fehlerIn(plattform.spieleVor(ordner.pfad())).description, "das Programm afplay fehlt");
  ersatz::abspielprogramm("/bin/ls");
  EXPECT_TRUE(gelang(plattform.spieleVor(ordner.pfad())));
  const Fehler fehler = fehlerIn(plattform.spieleVor(ordner / "keine.wav"));
  EXPECT_EQ(fehler.description, "afplay ist gescheitert");
  EXPECT_GT(fehler.code, 0);
}

TEST_F(MacPlattformTest, AConverterIsThereIfTheSystemHasOne) {
  MacPlattform plattform;
  EXPECT_NE(plattform.konverter({.rate = 44100, .channels = 2}, 48000), nullptr);
  EXPECT_EQ(plattform.konverter({.rate = 0, .channels = 2}, 48000), nullptr);
  EXPECT_EQ(plattform.konverter({.rate = std::nan(""), .channels = 1}, 48000), nullptr);
}

// The screen's windows and one's picture, from a service that outlives the platform.
TEST_F(MacPlattformTest, WindowsAreListedAndOneIsCaptured) {
  ersatz::bildschirm::inhalt({{.id = 5, .titel = "Besprechung"}, {.id = 6}}, 1);
  std::unique_ptr<ScreenCapture> schirm = MacPlattform().screenCapture();
  Zuschauer zuschauer;
  {
    const auto strom = schirm->stream({1280, 800, 1.0 / 15, true, 5});
    EXPECT_EQ(fehlerIn(strom->start(5, zuschauer)).code, 4);  // nothing was listed
  }
  ScreenContent content;
  ASSERT_TRUE(gelang(schirm->inventar(content)));
  ASSERT_EQ(content.windows.size(), 2U);
  EXPECT_EQ(content.windows[0].titel, "Besprechung");
  const auto strom = schirm->stream({1280, 800, 1.0 / 15, true, 5});
  ASSERT_TRUE(gelang(strom->start(5, zuschauer)));
  EXPECT_TRUE(ersatz::bildschirm::bild({}, {1}));
  EXPECT_EQ(zuschauer.fenster, 5U);
  ASSERT_TRUE(gelang(strom->wechsle(6)));
  EXPECT_TRUE(ersatz::bildschirm::bild({}, {2}));
  EXPECT_EQ(zuschauer.fenster, 6U);
  strom->stop();
  EXPECT_FALSE(ersatz::bildschirm::bild({}, {3}));
}

TEST_F(MacPlattformTest, AVideoIsWritten) {
  const TempOrdner ordner;
  MacPlattform plattform;
  Fehler fehler;
  const auto video =
      plattform.videoWriter(ordner / "video.mp4", {1280, 800, 1'400'000, 30, 15}, fehler);
  ASSERT_NE(video, nullptr);
  ASSERT_TRUE(video->starte(1));
  EXPECT_TRUE(video->bereit());
  const auto probe = ersatz::bildprobe({}, {1});
  EXPECT_TRUE(video->haengeAn(MacBild(1, BildStatus::vollstaendig, probe.get())));
  EXPECT_TRUE(video->schliesseAb(2));
  EXPECT_FALSE(video->fehler().has_value());
}

TEST_F(MacPlattformTest, WithoutAnEncoderThereIsNoVideo) {
  ersatz::schreiber::keiner(true);
  MacPlattform plattform;
  Fehler fehler;
  EXPECT_EQ(plattform.videoWriter("/tmp/video.mp4", {1280, 800, 1'400'000, 30, 15}, fehler),
            nullptr);
  EXPECT_EQ(fehler.code, -11841);
}

}  // namespace
}  // namespace hallkorb
