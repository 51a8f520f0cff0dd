// Windows and the stream of one of them, in the order of the calls into the capture service.
#include <gtest/gtest.h>

#include <new>
#include <thread>

#include "base/Speichermangel.h"
#include "platform/macos/Fehlertexte.h"
#include "platform/macos/screen/MacScreenCapture.h"
#include "tests/platform/macos/screen/SckAttrappe.h"

namespace hallkorb {
namespace {

constexpr StreamKonfiguration KONFIGURATION{1280, 800, 1.0 / 15, true, 5};

struct Hoerer final : WindowStreamListener {
  bool bild(const Bild& bild) override {
    eintraege.push_back("bild " + std::to_string(bild.zeit()));
    fenster.push_back(bild.fenster());
    return true;
  }
  void gestoppt(const Fehler& fehler) override {
    eintraege.push_back("gestoppt: " + fehler.description);
  }
  Eintraege eintraege;
  std::vector<std::uint32_t> fenster;  // of the pictures
};

class MacScreenCaptureTest : public testing::Test {
 protected:
  MacScreenCaptureTest() {
    dienst.fensterMit(7);
    dienst.fensterMit(8);
  }
  void sieh() { EXPECT_EQ(capture.inventar(content), Ergebnis()); }

  const Fehler kaputt{SCREEN_CAPTURE_DOMAIN, -3802, "startet nicht"};
  const Fehler verschwunden{"hallkorb", 4, "Fenster verschwunden"};
  SckDienst dienst;
  ScreenContent content;
  Hoerer hoerer;
  MacScreenCapture capture{std::make_shared<SckAttrappe>(dienst)};
  std::unique_ptr<WindowStream> strom = capture.stream(KONFIGURATION);
};

TEST_F(MacScreenCaptureTest, TheInventoryLeavesTheDesktopOut) {
  sieh();
  ASSERT_EQ(content.windows.size(), 2U);
  EXPECT_EQ(content.windows[1].id, 8U);
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"inhalt ohne desktop"}));
}

TEST_F(MacScreenCaptureTest, ARefusedInventorySaysWhereToGiveThePermission) {
  dienst.inhalt = Fehler{SCREEN_CAPTURE_DOMAIN, -3801, "declined"};
  EXPECT_EQ(capture.inventar(content), erklaert({SCREEN_CAPTURE_DOMAIN, -3801, "declined"}));
}

TEST_F(MacScreenCaptureTest, AStreamStartsSwitchesAndStopsInOrder) {
  sieh();
  static_cast<void>(dienst.buch.nimm());
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  EXPECT_EQ(strom->wechsle(8), Ergebnis());
  strom->stop();
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"baue fenster 7", "bild auf sck.video", "starte",
                                           "wechsle 8", "stoppe", "gib frei"}));
  strom->stop();
  EXPECT_EQ(dienst.buch.nimm(), Eintraege{});
}

TEST_F(MacScreenCaptureTest, PicturesReachTheListenerUntilTheStop) {
  sieh();
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  const auto empfaenger = dienst.empfaenger.lock();
  empfaenger->bild({1.5, BildStatus::vollstaendig, nullptr});
  strom->stop();
  empfaenger->bild({2.5, BildStatus::vollstaendig, nullptr});
  empfaenger->beendet(kaputt);
  EXPECT_EQ(hoerer.eintraege, (Eintraege{"bild 1.500000"}));
}

TEST_F(MacScreenCaptureTest, APictureOfUncertainOriginIsTheOldWindowsAndAnotherOneIsAskedFor) {
  sieh();
  const auto bild = [this](double zeit) {
    dienst.empfaenger.lock()->bild({zeit, BildStatus::vollstaendig, nullptr});
  };
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  bild(1.0);
  static_cast<void>(dienst.buch.nimm());
  // Between the request and its answer.
  dienst.beimWechsel = [&] {
    dienst.beimWechsel = nullptr;
    bild(2.0);
  };
  EXPECT_EQ(strom->wechsle(8), Ergebnis());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"wechsle 8", "wechsle 8"}));
  bild(3.0);
  // To the window that is recorded already: it is certain.
  dienst.beimWechsel = [&] { bild(4.0); };
  EXPECT_EQ(strom->wechsle(8), Ergebnis());
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"wechsle 8"}));
  dienst.wechsel = kaputt;
  EXPECT_EQ(strom->wechsle(7), kaputt);
  bild(5.0);
  EXPECT_EQ(hoerer.fenster, (std::vector<std::uint32_t>{7, 7, 8, 8, 8, 8}));
}

TEST_F(MacScreenCaptureTest, AWindowThatTheLastInventoryDidNotHaveHasGone) {
  EXPECT_EQ(strom->start(7, hoerer), verschwunden);
  sieh();
  EXPECT_EQ(strom->start(9, hoerer), verschwunden);
  EXPECT_EQ(strom->wechsle(9), verschwunden);
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"inhalt ohne desktop"}));
}

TEST_F(MacScreenCaptureTest, AStartThatFailsLeavesNothing) {
  sieh();
  static_cast<void>(dienst.buch.nimm());
  dienst.start = kaputt;
  EXPECT_EQ(strom->start(7, hoerer), kaputt);
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"baue fenster 7", "bild auf sck.video", "starte", "stoppe", "gib frei"}));
  dienst.empfaenger.lock()->bild({1.5, BildStatus::vollstaendig, nullptr});
  EXPECT_EQ(hoerer.eintraege, Eintraege{});
}

TEST_F(MacScreenCaptureTest, ASwitchThatFailsLeavesTheStreamAsItWas) {
  sieh();
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  static_cast<void>(dienst.buch.nimm());
  dienst.wechsel = kaputt;
  EXPECT_EQ(strom->wechsle(8), kaputt);
  dienst.empfaenger.lock()->bild({3.0, BildStatus::vollstaendig, nullptr});
  EXPECT_EQ(hoerer.eintraege, (Eintraege{"bild 3.000000"}));
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"wechsle 8"}));
}

TEST_F(MacScreenCaptureTest, AStreamThatTheServiceEndsIsReportedOnceAndStopped) {
  sieh();
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  static_cast<void>(dienst.buch.nimm());
  const auto empfaenger = dienst.empfaenger.lock();
  empfaenger->beendet({SCREEN_CAPTURE_DOMAIN, -3817, "stopped"});
  empfaenger->beendet(kaputt);
  empfaenger->bild({3.0, BildStatus::vollstaendig, nullptr});
  strom->stop();
  EXPECT_EQ(hoerer.eintraege,
            (Eintraege{"gestoppt: die Aufnahme wurde in der Menueleiste beendet"}));
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"stoppe", "gib frei"}));
}

// Pictures come on a thread of the service, which no exception may leave.
TEST_F(MacScreenCaptureTest, WithoutMemoryForAPictureTheStreamEnds) {
  struct Speicherloser final : WindowStreamListener {
    bool bild(const Bild& /*bild*/) override { throw std::bad_alloc(); }
    void gestoppt(const Fehler& fehler) override { enden.push_back(fehler); }
    std::vector<Fehler> enden;
  } speicherloser;
  sieh();
  EXPECT_EQ(strom->start(7, speicherloser), Ergebnis());
  static_cast<void>(dienst.buch.nimm());
  const auto empfaenger = dienst.empfaenger.lock();
  empfaenger->bild({1.5, BildStatus::vollstaendig, nullptr});
  empfaenger->bild({2.5, BildStatus::vollstaendig, nullptr});
  EXPECT_EQ(speicherloser.enden, std::vector<Fehler>{keinSpeicher()});
  strom->stop();
  EXPECT_EQ(dienst.buch.nimm(), (Eintraege{"stoppe", "gib frei"}));
}

TEST_F(MacScreenCaptureTest, TheFirstPictureMayComeBeforeTheStartIsAnswered) {
  sieh();
  dienst.beimStart = [this] {
    dienst.empfaenger.lock()->bild({1.5, BildStatus::vollstaendig, nullptr});
    EXPECT_EQ(hoerer.eintraege, (Eintraege{"bild 1.500000"}));
  };
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  dienst.empfaenger.lock()->beendet(kaputt);
  EXPECT_EQ(hoerer.eintraege, (Eintraege{"bild 1.500000", "gestoppt: startet nicht"}));
}

TEST_F(MacScreenCaptureTest, AStreamThatEndsWhileItStartsHasNotStarted) {
  sieh();
  dienst.beimStart = [this] { dienst.empfaenger.lock()->beendet(kaputt); };
  EXPECT_EQ(strom->start(7, hoerer), kaputt);
  EXPECT_EQ(hoerer.eintraege, Eintraege{});
}

TEST_F(MacScreenCaptureTest, AStopEndsAStartThatWaits) {
  sieh();
  static_cast<void>(dienst.buch.nimm());
  dienst.start.reset();
  std::thread stopp([this] {
    static_cast<void>(dienst.buch.warteAuf(3));
    strom->stop();
  });
  EXPECT_EQ(strom->start(7, hoerer), (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
  stopp.join();
  EXPECT_EQ(strom->start(7, hoerer), (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
  EXPECT_EQ(strom->wechsle(7), (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
  EXPECT_EQ(dienst.buch.nimm(),
            (Eintraege{"baue fenster 7", "bild auf sck.video", "starte", "stoppe", "gib frei"}));
}

TEST_F(MacScreenCaptureTest, AWindowsStreamHasTheSettingsOfTheRecorder) {
  sieh();
  EXPECT_EQ(strom->start(7, hoerer), Ergebnis());
  const StromEinstellungen& e = dienst.einstellungen;
  EXPECT_FALSE(e.capturesAudio);
  EXPECT_EQ(e.width, 1280U);
  EXPECT_EQ(e.height, 800U);
  EXPECT_EQ(e.minimumFrameInterval, (StromEinstellungen::Abstand{1, 15}));
  EXPECT_EQ(e.pixelFormat, 0x42475241U);
  EXPECT_EQ(e.showsCursor, true);
  EXPECT_EQ(e.queueDepth, 5);
  EXPECT_EQ(e.scalesToFit, true);
  EXPECT_EQ(e.preservesAspectRatio, true);
  EXPECT_EQ(e.excludesCurrentProcessAudio, std::nullopt);
}

TEST(SckEinstellungenTest, TheSoundsStreamHasTheSmallestAndSlowestPicture) {
  const StromEinstellungen e = tonEinstellungen();
  EXPECT_TRUE(e.capturesAudio);
  EXPECT_EQ(e.excludesCurrentProcessAudio, true);
  EXPECT_EQ(e.sampleRate, 48000);
  EXPECT_EQ(e.channelCount, 2);
  EXPECT_EQ(e.width, 2U);
  EXPECT_EQ(e.height, 2U);
  EXPECT_EQ(e.minimumFrameInterval, (StromEinstellungen::Abstand{1, 1}));
  EXPECT_EQ(e.pixelFormat, std::nullopt);
  EXPECT_EQ(e.queueDepth, std::nullopt);
}

TEST(SckEinstellungenTest, AnIntervalThatIsNoUnitFractionIsCountedInMicroseconds) {
  StreamKonfiguration k = KONFIGURATION;
  k.kleinsterAbstand = 0.15;
  EXPECT_EQ(fensterEinstellungen(k).minimumFrameInterval,
            (StromEinstellungen::Abstand{150'000, 1'000'000}));
  k.kleinsterAbstand = 0;
  EXPECT_EQ(fensterEinstellungen(k).minimumFrameInterval, (StromEinstellungen::Abstand{0, 1}));
  k.kleinsterAbstand = 3;
  EXPECT_EQ(fensterEinstellungen(k).minimumFrameInterval,
            (StromEinstellungen::Abstand{3'000'000, 1'000'000}));
  k.kleinsterAbstand = 0.0005;
  EXPECT_EQ(fensterEinstellungen(k).minimumFrameInterval,
            (StromEinstellungen::Abstand{500, 1'000'000}));
}

TEST(MacBildTest, TheStatesOfAPictureHaveTheSystemsNumbers) {
  EXPECT_EQ(bildStatus(0), BildStatus::vollstaendig);
  EXPECT_EQ(bildStatus(1), BildStatus::unveraendert);
  EXPECT_EQ(bildStatus(2), BildStatus::leer);
  EXPECT_EQ(bildStatus(3), BildStatus::angehalten);
  EXPECT_EQ(bildStatus(4), BildStatus::begonnen);
  EXPECT_EQ(bildStatus(5), BildStatus::beendet);
  EXPECT_EQ(bildStatus(6), std::nullopt);
  EXPECT_EQ(bildStatus(-1), std::nullopt);
}

}  // namespace
}  // namespace hallkorb
