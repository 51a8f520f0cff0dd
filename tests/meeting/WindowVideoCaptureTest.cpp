// The recorder: from the stream's pictures to the file.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "meeting/WindowVideoCapture.h"
#include "tests/support/Bildszene.h"

namespace hallkorb {
namespace {

using Bilder = std::vector<std::pair<double, std::uint32_t>>;

class WindowVideoCaptureTest : public Bildszene {
 protected:
  WindowVideoCaptureTest() {
    schirm.windows = {zoom(4)};
    schirm.bildNachStart = false;
  }

  void bild(double zeit, BildStatus status = BildStatus::vollstaendig) {
    welt.am(zeit, [this, status] { schirm.bild(status); });
  }

  const std::string START = "[hallkorb] Bild: Zoom · Zoom Meeting (Zoom-Meetingfenster) ab 0.0 s";
};

TEST_P(WindowVideoCaptureTest, RecordsTheWindowIntoOneFile) {
  for (const double zeit : {0.5, 1.0, 3.5})
    bild(zeit);
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(5.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->pfad, ordner / "video.mp4");
  EXPECT_EQ(ergebnis->frames, 3);
  EXPECT_EQ(ergebnis->quelle, "Zoom · Zoom Meeting");
  ASSERT_EQ(schirm.filme.size(), 1U);
  const sim::Film& film = schirm.filme[0];
  EXPECT_EQ(film.pfad, ordner / "video.mp4");
  EXPECT_EQ(film.basis, 0.5);
  EXPECT_EQ(film.bilder, (Bilder{{0.5, 4}, {1.0, 4}, {3.5, 4}}));
  EXPECT_EQ(film.ende, 5.0);  // the last picture lasts until the stop
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop"}));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 5 s"}));
}

TEST_P(WindowVideoCaptureTest, StreamAndFileHaveTheirFixedSettings) {
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  ASSERT_EQ(schirm.konfigurationen.size(), 1U);
  const StreamKonfiguration& k = schirm.konfigurationen[0];
  EXPECT_EQ(k.breite, 1280);
  EXPECT_EQ(k.hoehe, 800);
  EXPECT_EQ(k.kleinsterAbstand, 1.0 / 15);
  EXPECT_TRUE(k.mitZeiger);
  EXPECT_EQ(k.warteschlange, 5);
  ASSERT_EQ(schirm.filme.size(), 1U);
  const VideoEinstellungen& e = schirm.filme[0].einstellungen;
  EXPECT_EQ(e.breite, 1280);
  EXPECT_EQ(e.hoehe, 800);
  EXPECT_EQ(e.bitrate, 1'400'000);
  EXPECT_EQ(e.schluesselbildAbstand, 30);
  EXPECT_EQ(e.bilderJeSekunde, 15.0);
  EXPECT_EQ(e.haltezeit, 0.5);
}

TEST_P(WindowVideoCaptureTest, OnlyCompletePicturesCountAndTheFirstOneBeginsTheFile) {
  bild(0.5, BildStatus::unveraendert);
  bild(0.6, BildStatus::leer);
  bild(0.7, BildStatus::angehalten);
  bild(0.8, BildStatus::begonnen);
  bild(0.9, BildStatus::beendet);
  bild(1.5);
  bild(1.6, BildStatus::unveraendert);
  bild(1.75);
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(2.5);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 2);
  EXPECT_EQ(schirm.filme[0].basis, 1.5);
  EXPECT_EQ(schirm.filme[0].bilder, (Bilder{{1.5, 4}, {1.75, 4}}));
}

TEST_P(WindowVideoCaptureTest, PicturesAreDroppedWithoutAWordWhileTheWriterIsNotReady) {
  for (const double zeit : {0.5, 1.0, 1.25, 1.5})
    bild(zeit);
  welt.am(0.9, [this] { schirm.schreiberBereit = false; });
  welt.am(1.4, [this] { schirm.schreiberBereit = true; });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(2.5);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 2);
  EXPECT_EQ(schirm.filme[0].bilder, (Bilder{{0.5, 4}, {1.5, 4}}));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 2 s"}));
}

TEST_P(WindowVideoCaptureTest, APictureThatIsNotTakenDoesNotCount) {
  for (const double zeit : {0.5, 1.0, 1.5})
    bild(zeit);
  welt.am(0.9, [this] { schirm.schreiberNimmt = false; });
  welt.am(1.4, [this] { schirm.schreiberNimmt = true; });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(2.5);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 2);
}

TEST_P(WindowVideoCaptureTest, AFileThatCannotBeBegunIsTriedOnce) {
  schirm.schreiberStartet = false;
  schirm.schreiberFehler = Fehler{"posix", 28, "video.mp4: No space left on device"};
  bild(0.5);
  bild(1.0);
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(2.5));
  EXPECT_EQ(schirm.filme[0].basis, 0.5);
  EXPECT_TRUE(schirm.filme[0].bilder.empty());
  EXPECT_FALSE(schirm.filme[0].ende);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START,
                    "[hallkorb] Video-Schreiber startete nicht: video.mp4: No space left on device",
                    "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 2 s"}));
}

TEST_P(WindowVideoCaptureTest, AWriterWithoutAReasonIsUnknown) {
  schirm.schreiberStartet = false;
  bild(0.5);
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  EXPECT_EQ(faenger.fehlerZeilen()[1], "[hallkorb] Video-Schreiber startete nicht: unbekannt");
}

TEST_P(WindowVideoCaptureTest, WithoutAPictureThereIsNoVideoButTheTimesAreLogged) {
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(7.9));
  EXPECT_FALSE(schirm.filme[0].basis);
  EXPECT_FALSE(schirm.filme[0].ende);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 7 s"}));
}

TEST_P(WindowVideoCaptureTest, AFileThatCannotBeFinishedIsNoVideo) {
  schirm.schreiberSchliesst = false;
  bild(0.5);
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  EXPECT_EQ(schirm.filme[0].ende, 1.0);
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Video-Abschluss fehlgeschlagen: unbekannt");
}

// What is left of the sound is written after it.
TEST_P(WindowVideoCaptureTest, WithoutMemoryForItsEndThereIsNoVideo) {
  bild(0.5);
  schirm.abschlussBelegt = schirm.stopBelegt = [] { throw std::bad_alloc(); };
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(5.0));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 5 s",
                    "[hallkorb] Video-Abschluss fehlgeschlagen: kein Speicher"}));
}

TEST_P(WindowVideoCaptureTest, ACheckWithoutMemoryIsReportedAndTheNextOneFollowsTheMeeting) {
  schirm.inventarBelegt = [this] {
    if (welt.jetzt() > 3 && welt.jetzt() < 5) throw std::bad_alloc();
  };
  bild(0.5);
  zeige(5.5, {teams(5)});
  bild(7.0);
  video->starteGeduldig(120);
  ASSERT_TRUE(stoppe(7.5));
  EXPECT_EQ(schirm.filme[0].bilder, (Bilder{{0.5, 4}, {7.0, 5}}));
  const Zeilen fehler = faenger.fehlerZeilen();
  EXPECT_EQ(std::count(fehler.begin(), fehler.end(), "[hallkorb] Fensterpruefung: kein Speicher"),
            1);
}

TEST_P(WindowVideoCaptureTest, ASearchWithoutMemoryIsReportedAndTriedAgain) {
  schirm.inventarBelegt = [this] {
    if (welt.jetzt() < 2) throw std::bad_alloc();
  };
  bild(4.0);
  video->starteGeduldig(0);
  EXPECT_TRUE(stoppe(5.0));
  EXPECT_EQ(
      faenger.ausgabeZeilen().front(),
      R"x({"event":"video_none","message":"kein Meetingfenster – kein Bild (kein Speicher)"})x");
  EXPECT_EQ(faenger.fehlerZeilen().front(), "[hallkorb] Video-Start fehlgeschlagen: kein Speicher");
}

TEST_P(WindowVideoCaptureTest, AFileThatIsNotThereIsNoVideo) {
  bild(0.5);
  video->starteGeduldig(120);
  bis(1.0);
  std::filesystem::remove(ordner / "video.mp4");
  EXPECT_FALSE(stoppe(1.5));
  EXPECT_EQ(faenger.fehlerZeilen().back(),
            "[hallkorb] Video-Abschluss fehlgeschlagen: " + (ordner / "video.mp4") +
                ": No such file or directory");
}

TEST_P(WindowVideoCaptureTest, AFileThatIsTakenAwayIsReportedOnceAtTheNextCheck) {
  bild(0.5);
  welt.am(1.0, [this] { std::filesystem::remove(ordner / "video.mp4"); });
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(9.0));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START,
                    "[hallkorb] Video-Datei entfernt, verschoben oder ersetzt: " +
                        (ordner / "video.mp4") + " — Ton laeuft weiter",
                    "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 9 s",
                    "[hallkorb] Video-Abschluss fehlgeschlagen: " + (ordner / "video.mp4") +
                        ": No such file or directory"}));
}

TEST_P(WindowVideoCaptureTest, AnotherFileInItsPlaceIsReportedAtTheNextCheckToo) {
  bild(0.5);
  welt.am(1.0, [this] {
    std::ofstream(ordner / "anderes") << "bleibt";
    std::filesystem::rename(ordner / "anderes", ordner / "video.mp4");
  });
  video->starteGeduldig(120);
  bis(5.0);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Video-Datei entfernt, verschoben oder ersetzt: " +
                               (ordner / "video.mp4") + " — Ton laeuft weiter"}));
  EXPECT_FALSE(stoppe(5.5));
}

TEST_P(WindowVideoCaptureTest, AFileInPlaceOfItsFolderTakesItAway) {
  const std::string unter = ordner / "unter";
  std::filesystem::create_directory(unter);
  video = WindowVideoCapture::baue(unter, sim::NULLZEIT, welt);
  bild(0.5);
  welt.am(1.0, [&] {
    std::filesystem::rename(unter, ordner / "weg");
    std::ofstream(unter) << "bleibt";
  });
  video->starteGeduldig(120);
  bis(5.0);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Video-Datei entfernt, verschoben oder ersetzt: " + unter +
                               "/video.mp4 — Ton laeuft weiter"}));
  EXPECT_FALSE(stoppe(5.5));
}

TEST_P(WindowVideoCaptureTest, AnotherFileInItsPlaceIsNeitherFinishedNorReportedAsTheVideo) {
  bild(0.5);
  welt.am(1.0, [this] {
    std::ofstream(ordner / "anderes") << "bleibt";
    std::filesystem::rename(ordner / "anderes", ordner / "video.mp4");
  });
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.5));
  EXPECT_EQ(faenger.fehlerZeilen().back(),
            "[hallkorb] Video-Abschluss fehlgeschlagen: an ihrem Ort ist eine andere Datei");
  EXPECT_EQ(schirm.filme[0].ende, std::nullopt);
}

TEST_P(WindowVideoCaptureTest, WithoutAThreadThereIsNoVideoAndOneLine) {
  welt.hoechstensUnabhaengige = 1;  // the one that is kept for the stop
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  EXPECT_EQ(stopDauer, 0.0);
  const std::string grund = "das System gibt keinen Thread mehr her";
  EXPECT_EQ(faenger.fehlerZeilen(), (Zeilen{"[hallkorb] Video-Start fehlgeschlagen: " + grund}));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{R"({"event":"video_none","message":")" + grund + "\"}"}));
}

TEST_P(WindowVideoCaptureTest, TheStopNeedsNoThreadThatIsNotThereAlready) {
  bild(0.5);
  video->starteGeduldig(120);
  welt.am(0.9, [this] { welt.hoechstensUnabhaengige = 0; });
  EXPECT_TRUE(stoppe(1.5));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop"}));
}

// A picture that comes while the sources are being listed must find the file closed.
TEST_P(WindowVideoCaptureTest, TheWritersFailureIsReportedBeforeTheSources) {
  bild(0.5);
  welt.am(0.9, [this] { schirm.schreiberSchreibt = false; });
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.5));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Video-Schreiber ausgefallen: unbekannt",
                    "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 1 s"}));
}

TEST_P(WindowVideoCaptureTest, AWriterThatFailsOnTheWayIsReportedOnceAtTheNextPicture) {
  for (const double zeit : {0.5, 1.0, 1.5})
    bild(zeit);
  welt.am(0.9, [this] {
    schirm.schreiberSchreibt = false;
    schirm.schreiberFehler = Fehler{"posix", 28, "kein Platz"};
  });
  video->starteGeduldig(120);
  bis(1.1);
  const std::string zeile = "[hallkorb] Video-Schreiber ausgefallen: kein Platz";
  EXPECT_EQ(faenger.fehlerZeilen(), (Zeilen{START, zeile}));
  EXPECT_FALSE(stoppe(4.5));
  EXPECT_EQ(schirm.filme[0].bilder, (Bilder{{0.5, 4}}));
  EXPECT_FALSE(schirm.filme[0].ende);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, zeile, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 4 s"}));
}

TEST_P(WindowVideoCaptureTest, AWriterThatFailsInAStillPictureIsReportedAtTheNextCheck) {
  bild(0.5);
  welt.am(2.9, [this] { schirm.schreiberSchreibt = false; });
  video->starteGeduldig(120);
  bis(4.1);
  const std::string zeile = "[hallkorb] Video-Schreiber ausgefallen: unbekannt";
  EXPECT_EQ(faenger.fehlerZeilen(), (Zeilen{START, zeile}));
  EXPECT_FALSE(stoppe(8.5));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, zeile, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 8 s"}));
}

TEST_P(WindowVideoCaptureTest, AWriterThatFailsWhileItTakesAPictureIsReportedThen) {
  bild(0.5);
  bild(1.0);
  welt.am(0.9, [this] { schirm.schreiberScheitert = Fehler{"libav", 1, "kein Bild"}; });
  video->starteGeduldig(120);
  bis(1.1);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Video-Schreiber ausgefallen: kein Bild"}));
  EXPECT_FALSE(stoppe(1.5));
}

TEST_P(WindowVideoCaptureTest, AnEarlierFileGoesWhenTheFirstWindowIsFoundAndNotBefore) {
  std::ofstream(ordner / "video.mp4") << "alt";
  schirm.windows = {};
  zeige(10, {zoom(4)});
  video->starteGeduldig(120);
  bis(11.9);
  EXPECT_TRUE(std::filesystem::exists(ordner / "video.mp4"));
  bis(12.1);
  EXPECT_FALSE(std::filesystem::exists(ordner / "video.mp4"));
  EXPECT_FALSE(stoppe(13.0));
}

TEST_P(WindowVideoCaptureTest, AllSourcesGoIntoTheSameFile) {
  zeige(3, {teams(5)});
  zeige(5, {});
  zeige(9, {zoom(6, "Zoom Webinar")});
  for (const double zeit : {0.5, 4.5, 10.5})
    bild(zeit);
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(11.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 3);
  ASSERT_EQ(schirm.filme.size(), 1U);
  EXPECT_EQ(schirm.filme[0].bilder, (Bilder{{0.5, 4}, {4.5, 5}, {10.5, 6}}));
  EXPECT_EQ(schirm.konfigurationen.size(), 1U);
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "wechsle 5", "wechsle 6", "stop"}));
}

TEST_P(WindowVideoCaptureTest, ASlashAtTheFoldersEndIsNotDoubled) {
  bild(0.5);
  const auto anderes = WindowVideoCapture::baue(ordner.pfad() + "/", sim::NULLZEIT, welt);
  anderes->starteGeduldig(120);
  bis(1.0);
  const auto ergebnis = anderes->stop();
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->pfad, ordner / "video.mp4");
}

INSTANTIATE_TEST_SUITE_P(Saaten, WindowVideoCaptureTest, testing::Range<std::uint64_t>(1, 6));

}  // namespace
}  // namespace hallkorb
