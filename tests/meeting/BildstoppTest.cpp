// The stop of the window video, in every state, and with a screen that hangs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "meeting/Bildzustand.h"
#include "meeting/FensterInfo.h"
#include "meeting/Rangfolge.h"
#include "meeting/WindowVideoCapture.h"
#include "tests/support/Bildszene.h"

namespace hallkorb {
namespace {

class BildstoppTest : public Bildszene {
 protected:
  // A call that returns after the stop must not be reported, nor use a platform that may be gone.
  void lassAusklingen() {
    const std::uint64_t rufe = welt.rufe;
    const std::string ausgabe = faenger.ausgabe();
    const std::string fehler = faenger.fehler();
    bis(welt.jetzt() + 60);
    EXPECT_EQ(faenger.ausgabe(), ausgabe);
    EXPECT_EQ(faenger.fehler(), fehler);
    EXPECT_EQ(welt.rufe, rufe);
    EXPECT_EQ(video.use_count(), 1);
  }

  const std::string OHNE_SIE = "[hallkorb] Bild: Fensteraufnahme antwortet nicht — Stop ohne sie";
  const std::string START = "[hallkorb] Bild: Zoom · Zoom Meeting (Zoom-Meetingfenster) ab 0.0 s";
};

TEST_P(BildstoppTest, BeforeTheSupervisionItIsSilentAndNothingStartsAfterIt) {
  schirm.windows = {zoom(4)};
  EXPECT_FALSE(stoppe(1.0));
  video->starteGeduldig(0);
  bis(10.0);
  EXPECT_EQ(schirm.inventare, 0U);
  EXPECT_EQ(faenger.ausgabe() + faenger.fehler(), "");
}

// A check that is under way when the stop comes must not begin anything.
TEST_P(BildstoppTest, AfterItTheStateLetsNothingBegin) {
  ScreenContent content;
  content.windows = {zoom(4)};
  const MeetingKandidaten eins = meetingKandidaten(metadaten(content));
  const MeetingKandidaten keins = meetingKandidaten({});
  Bildzustand stand;
  ASSERT_TRUE(stand.beginneAufsicht());
  ASSERT_TRUE(stand.uebernimm(besteWahl(eins)));
  const Bildzustand::Ende ende = stand.brichAb();
  EXPECT_TRUE(ende.lief);
  EXPECT_TRUE(ende.beaufsichtigt);
  EXPECT_EQ(stand.entscheide(keins, besteWahl(keins), Bildzustand::Anlass::takt),
            Bildzustand::Schritt::nichts);
  EXPECT_FALSE(stand.pausiere());
  EXPECT_FALSE(stand.uebernimm(besteWahl(eins)));
  EXPECT_FALSE(stand.merkeStrom(nullptr));
  EXPECT_FALSE(stand.beginneAufsicht());
  EXPECT_FALSE(stand.brichAb().lief);
}

TEST_P(BildstoppTest, WhileSearchingItEndsTheSleepAndIsSilent) {
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(4.0));
  EXPECT_EQ(stopDauer, 0.0);
  EXPECT_EQ(faenger.ausgabe() + faenger.fehler(), "");
  lassAusklingen();
}

TEST_P(BildstoppTest, WhileRecordingItEndsTheSleepAndBooksTheLastSource) {
  schirm.windows = {zoom(4)};
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(5.9));
  EXPECT_EQ(stopDauer, 0.0);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 5 s"}));
  lassAusklingen();
}

TEST_P(BildstoppTest, WithACandidateSeenOnlyTheRecordedSourceIsBooked) {
  schirm.windows = {zoom(4)};
  zeige(3, {zoom(4), teams(5)});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(5.0));
  EXPECT_EQ(stopDauer, 0.0);
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 5 s");
  lassAusklingen();
}

TEST_P(BildstoppTest, InAPauseItFinishesTheVideo) {
  schirm.windows = {zoom(4)};
  zeige(3, {});
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(9.0);
  EXPECT_EQ(stopDauer, 0.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 1);
  EXPECT_EQ(schirm.filme[0].ende, 9.0);
  lassAusklingen();
}

TEST_P(BildstoppTest, AfterTheServiceEndedTheStreamItFinishesTheVideo) {
  schirm.windows = {zoom(4)};
  video->starteGeduldig(120);
  welt.am(5, [this] {
    schirm.inventarFehler = Fehler{"xcb", 1, "kein X-Server"};
    schirm.beende({"xcb", 1, "kein X-Server"});
  });
  const auto ergebnis = stoppe(9.0);
  EXPECT_EQ(stopDauer, 0.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 1);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Video-SCStream gestoppt: kein X-Server",
                    "[hallkorb] Fensterpruefung: kein X-Server",
                    "[hallkorb] Fensterpruefung: kein X-Server",
                    "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 9 s"}));
  lassAusklingen();
}

TEST_P(BildstoppTest, AStartUnderWayIsCancelledWithoutAWord) {
  schirm.windows = {zoom(4)};
  schirm.startDauer = 3.0;
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  EXPECT_EQ(stopDauer, 0.0);
  EXPECT_EQ(faenger.ausgabe() + faenger.fehler(), "");
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop"}));
  lassAusklingen();
}

// Its first pictures come before the start returns. Nobody has looked again at what they show.
TEST_P(BildstoppTest, PicturesOfAStartUnderWayAreDroppedWithTheirDoubt) {
  schirm.windows = {zoom(4)};
  schirm.meldetAnfang = schirm.schreiberHaelt = true;
  schirm.startEnde = 1.0;
  std::size_t genommen = 0;
  welt.am(0.1, [&] { genommen = schirm.filme.at(0).bilder.size(); });
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(0.25));
  EXPECT_EQ(genommen, 1U);
  EXPECT_TRUE(schirm.filme.at(0).bilder.empty());
  EXPECT_EQ(faenger.ausgabe() + faenger.fehler(), "");
}

// Its lack must not end the sound. What was filmed stays.
TEST_P(BildstoppTest, ASupervisionWithoutMemoryEndsThePictureAlone) {
  schirm.windows = {zoom(4)};
  zeige(3, {teams(5)});
  schirm.wechselBelegt = [] { throw std::bad_alloc(); };
  for (const double t : {1.0, 2.0, 5.0})
    welt.am(t, [this] { schirm.bild(); });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(7.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 3);  // the one of the start, and two
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, "[hallkorb] Bild: kein Speicher mehr — Bild endet, Ton laeuft weiter",
                    "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 7 s"}));
  lassAusklingen();
}

TEST_P(BildstoppTest, ASnapshotThatHangsWhileSearchingIsGivenUp) {
  welt.am(2, [this] { schirm.inventarDauer = 10.0; });
  zeige(2, {zoom(4)});
  video->starteGeduldig(1);
  EXPECT_FALSE(stoppe(4.0));
  EXPECT_EQ(stopDauer, 2.0);
  EXPECT_EQ(faenger.fehlerZeilen(), (Zeilen{OHNE_SIE}));
  lassAusklingen();
  EXPECT_TRUE(schirm.aufrufe.empty());
}

TEST_P(BildstoppTest, ASnapshotThatHangsWhileRecordingIsGivenUp) {
  schirm.windows = {zoom(4)};
  welt.am(3, [this] { schirm.inventarDauer = 10.0; });
  zeige(5, {teams(5)});
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(6.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(stopDauer, 2.0);
  EXPECT_EQ(faenger.ausgabeZeilen().size(), 1U);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{START, OHNE_SIE, "[hallkorb] Bildquelle: Zoom · Zoom Meeting — 8 s"}));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop"}));
  lassAusklingen();
}

TEST_P(BildstoppTest, AStartThatHangsIsGivenUp) {
  schirm.windows = {zoom(4)};
  schirm.startDauer = 10.0;
  schirm.startHaengt = true;
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  EXPECT_EQ(stopDauer, 2.0);
  EXPECT_EQ(faenger.ausgabe(), "");
  EXPECT_EQ(faenger.fehlerZeilen(), (Zeilen{OHNE_SIE}));
  lassAusklingen();
}

TEST_P(BildstoppTest, AStartAndAStopThatHangAreGivenUpWithinFiveSeconds) {
  schirm.windows = {zoom(4)};
  schirm.startDauer = 10.0;
  schirm.startHaengt = true;
  schirm.stopDauer = 10.0;
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(1.0));
  EXPECT_EQ(stopDauer, 4.0);
  lassAusklingen();
}

TEST_P(BildstoppTest, AStreamThatDoesNotStopReachesTheFileNoMore) {
  schirm.windows = {zoom(4)};
  schirm.stopDauer = 10.0;
  video->starteGeduldig(120);
  welt.am(6.9, [this] { schirm.bild(); });
  for (const double zeit : {7.5, 8.0, 12.0})
    welt.am(zeit, [this] { schirm.bild(); });
  const auto ergebnis = stoppe(5.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(stopDauer, 2.0);
  EXPECT_EQ(schirm.filme[0].ende, 7.0);
  bis(13.0);
  lassAusklingen();
  EXPECT_LE(schirm.filme[0].bilder.back().first, 7.0);
}

INSTANTIATE_TEST_SUITE_P(Saaten, BildstoppTest, testing::Range<std::uint64_t>(1, 6));

// What the recording's lines say in sum.
struct Erzaehlung {
  int starts = 0;
  int wechsel = 0;
  double gezeigt = 0.0;     // seconds with a source on the picture, from the events
  double seitAnfang = 0.0;  // seconds since the first source
  double gebucht = 0.0;     // whole seconds, from the sources' lines
  std::size_t quellen = 0;
};

Erzaehlung lies(const Zeilen& ausgabe, const Zeilen& fehler, double ende) {
  Erzaehlung e;
  double seit = -1;
  double anfang = -1;
  for (const std::string& zeile : ausgabe) {
    const auto stelle = zeile.find(R"("t_s":)");
    if (stelle == std::string::npos) continue;
    const double t = std::stod(zeile.substr(stelle + 6));
    if (seit >= 0) e.gezeigt += t - seit;
    if (anfang < 0) anfang = t;
    const bool pause = zeile.find("video_pause") != std::string::npos;
    EXPECT_FALSE(pause && seit < 0) << zeile;
    seit = pause ? -1 : t;
    e.starts += zeile.find("video_start") != std::string::npos ? 1 : 0;
    e.wechsel += zeile.find("video_wechsel") != std::string::npos ? 1 : 0;
  }
  if (seit >= 0) e.gezeigt += ende - seit;
  if (anfang >= 0) e.seitAnfang = ende - anfang;
  for (const std::string& zeile : fehler) {
    if (zeile.find("Bildquelle: ") == std::string::npos) continue;
    e.gebucht += std::stod(zeile.substr(zeile.rfind(" — ") + 5));
    ++e.quellen;
  }
  return e;
}

// Sets random windows and faults, and may end the stream.
void wuerfle(sim::Bildschirm& schirm, std::uint64_t saat) {
  std::mt19937_64 z(saat);
  schirm.windows.clear();
  for (std::uint32_t id = 1; id <= 3; ++id) {
    if (z() % 3 == 0) continue;
    schirm.windows.push_back(sim::fenster(id, id == 1 ? "us.zoom.xos" : "com.google.Chrome",
                                          z() % 4 == 0 ? "Nachrichten" : "Zoom Meeting"));
    if (z() % 4 == 0) *schirm.windows.back().titel += " 2";
    schirm.windows.back().breite = 400.0 + static_cast<double>(z() % 1000);
  }
  const Fehler fehler{"sim", 7, "Fehler"};
  schirm.inventarFehler = z() % 8 == 0 ? std::optional(fehler) : std::nullopt;
  schirm.startFehler = z() % 6 == 0 ? std::optional(fehler) : std::nullopt;
  schirm.wechselFehler = z() % 6 == 0 ? std::optional(fehler) : std::nullopt;
  schirm.endeNachStart = z() % 6 == 0 ? std::optional(fehler) : std::nullopt;
  schirm.schreiberBereit = z() % 5 != 0;
  schirm.inventarDauer = static_cast<double>(z() % 3) * 0.25;
  schirm.startDauer = static_cast<double>(z() % 3) * 0.25;
  if (z() % 6 == 0) schirm.beende(fehler);
}

// Windows come, go and change their titles, faults of every kind happen, and the stop comes at any
// moment. The lines always fit together, the times add up, and the stop is quick.
TEST(BildaufsichtZufallTest, TheLinesFitTogetherWhateverHappens) {
  std::map<std::string, int> gesehen;
  for (std::uint64_t saat = 1; saat <= 300; ++saat) {
    SCOPED_TRACE(saat);
    std::mt19937_64 zufall(saat);
    const auto einheit = [&] { return std::uniform_real_distribution<double>(0, 1)(zufall); };
    const TempOrdner ordner;
    const AusgabeFaenger faenger;
    sim::SimPlattform welt(saat);
    sim::Bildschirm& schirm = welt.bildschirm;
    setzeHostClock(welt);
    schirm.meldetAnfang = schirm.bietetAn = schirm.schreiberHaelt = saat % 2 == 0;
    for (double t = 0; t < 60; t += einheit() * 8)
      welt.am(t, [&schirm, r = zufall()] { wuerfle(schirm, r); });
    for (double t = 0.5; t < 60; t += 0.5)
      welt.am(t, [&schirm] { schirm.bild(); });

    const auto video = WindowVideoCapture::baue(ordner.pfad(), sim::NULLZEIT, welt);
    video->starteGeduldig(einheit() * 20);
    const double stopp = einheit() * 50;
    welt.am(stopp, [] {});
    welt.warteBis([&] { return welt.jetzt() >= stopp; });
    const auto ergebnis = video->stop();
    EXPECT_LT(welt.jetzt() - stopp, 1.0);

    const Zeilen ausgabe = faenger.ausgabeZeilen();
    const Erzaehlung e = lies(ausgabe, faenger.fehlerZeilen(), stopp);
    EXPECT_EQ(e.starts, e.wechsel > 0 ? 1 : std::min(e.starts, 1));
    const auto keins = std::count_if(ausgabe.begin(), ausgabe.end(), [](const std::string& z) {
      return z.find("video_none") != std::string::npos;
    });
    EXPECT_LE(keins, 1);
    EXPECT_EQ(e.starts == 0, e.quellen == 0);
    // Events are in tenths, the sources' lines in whole seconds, truncated; and the last source
    // ends when the stream has stopped.
    // Of the pauses only those count in which the title changed or the stop came.
    EXPECT_LE(e.gebucht, e.seitAnfang + 1.05);
    EXPECT_GE(e.gebucht, e.gezeigt - 0.05 * (e.wechsel + 1) - static_cast<double>(e.quellen));
    if (ergebnis) {
      const auto& bilder = schirm.filme.at(0).bilder;
      EXPECT_EQ(static_cast<std::size_t>(ergebnis->frames), bilder.size());
      EXPECT_TRUE(std::is_sorted(bilder.begin(), bilder.end(),
                                 [](const auto& a, const auto& b) { return a.first < b.first; }));
      EXPECT_GE(*schirm.filme[0].ende, bilder.back().first);
    }
    gesehen["start"] += e.starts;
    gesehen["wechsel"] += e.wechsel;
    gesehen["video"] += ergebnis ? 1 : 0;
    gesehen["none"] += static_cast<int>(keins);
  }
  for (const auto& [was, wie_oft] : gesehen)
    EXPECT_GT(wie_oft, 20) << was;
}

// Once a window stays and nothing fails any more, its picture is there within a few checks, and
// stays, whatever happened before.
TEST(BildaufsichtZufallTest, ThePictureIsBackSoonAfterTheLastFault) {
  constexpr double RUHE = 40.0;
  constexpr double BALD = 6.5;  // two slow looks or checks
  std::size_t gestoert = 0;
  for (std::uint64_t saat = 1; saat <= 300; ++saat) {
    SCOPED_TRACE(saat);
    std::mt19937_64 zufall(saat);
    const TempOrdner ordner;
    const AusgabeFaenger faenger;
    sim::SimPlattform welt(saat);
    sim::Bildschirm& schirm = welt.bildschirm;
    setzeHostClock(welt);
    schirm.meldetAnfang = schirm.bietetAn = schirm.schreiberHaelt = saat % 2 == 0;
    for (double t = 0; t < RUHE; t += std::uniform_real_distribution<double>(0, 8)(zufall))
      welt.am(t, [&schirm, r = zufall()] { wuerfle(schirm, r); });
    const auto bleibt = static_cast<std::uint32_t>(1 + zufall() % 4);
    welt.am(RUHE, [&schirm, bleibt] {
      schirm.windows = {sim::fenster(bleibt, "us.zoom.xos", "Zoom Meeting")};
      for (auto* fehler : {&schirm.inventarFehler, &schirm.startFehler, &schirm.wechselFehler,
                           &schirm.endeNachStart})
        fehler->reset();
      schirm.schreiberBereit = true;
      schirm.inventarDauer = schirm.startDauer = 0.25;
    });
    for (double t = 0.5; t < RUHE + 20; t += 0.5)
      welt.am(t, [&schirm] { schirm.bild(); });

    const auto video = WindowVideoCapture::baue(ordner.pfad(), sim::NULLZEIT, welt);
    video->starteGeduldig(0);
    welt.am(RUHE + 16, [] {});
    welt.warteBis([&] { return welt.jetzt() >= RUHE + 16; });
    EXPECT_TRUE(video->stop());
    gestoert += faenger.fehler().find("Fensterpruefung") != std::string::npos ? 1U : 0U;
    std::size_t danach = 0;
    for (const auto& [zeit, fenster] : schirm.filme.at(0).bilder) {
      if (zeit < RUHE + BALD) continue;
      EXPECT_EQ(fenster, bleibt) << zeit;
      ++danach;
    }
    EXPECT_GE(danach, 18U);  // two a second
  }
  EXPECT_GT(gestoert, 100U);
}

}  // namespace
}  // namespace hallkorb
