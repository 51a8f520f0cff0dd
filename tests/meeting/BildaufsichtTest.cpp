// The supervision: which window is recorded when, what is reported, and what is booked.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meeting/WindowVideoCapture.h"
#include "tests/support/Bildszene.h"

namespace hallkorb {
namespace {

std::string wechsel(const std::string& ereignis, const std::string& quelle,
                    const std::string& grund, const std::string& zeit, int rang = 1) {
  return R"({"event":")" + ereignis + R"(","quelle":")" + quelle + R"(","art":"fenster","rang":)" +
         std::to_string(rang) + R"(,"grund":")" + grund + R"(","t_s":)" + zeit + "}";
}

std::string pause(const std::string& grund, const std::string& zeit) {
  return R"({"event":"video_pause","message":")" + grund + R"(","t_s":)" + zeit + "}";
}

std::string keins(const std::string& text) {
  return R"({"event":"video_none","message":")" + text + "\"}";
}

const std::string NICHTS = "kein Meetingfenster – kein Bild (keine Meeting-App offen)";
const std::string ZOOM = "Zoom · Zoom Meeting";
const std::string ZOOM_GRUND = "Zoom-Meetingfenster";
const std::string TEAMS = "Teams · Besprechung";
const std::string TEAMS_GRUND = "Teams-Meetingfenster";

class BildaufsichtTest : public Bildszene {};

TEST_P(BildaufsichtTest, AWindowThatComesLateIsFoundAfterOneReport) {
  zeige(20, {zoom(4)});
  video->starteGeduldig(10);
  const auto ergebnis = stoppe(30.5);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{keins(NICHTS), wechsel("video_start", ZOOM, ZOOM_GRUND, "21.0")}));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{"[hallkorb] Bild: " + NICHTS + " — suche weiter, Ton laeuft",
                    "[hallkorb] Bild: " + ZOOM + " (" + ZOOM_GRUND + ") ab 21.0 s",
                    "[hallkorb] Bildquelle: " + ZOOM + " — 9 s"}));
  EXPECT_EQ(schirm.inventare, 8U + 4U);  // every 3 s from 0 to 21, every 2 s from 23 to 29
}

TEST_P(BildaufsichtTest, TheReportComesAtTheFirstLookAfterTheDeadline) {
  video->starteGeduldig(10);
  bis(11.9);
  EXPECT_EQ(faenger.ausgabe(), "");
  bis(12.1);
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{keins(NICHTS)}));
  bis(600.0);
  EXPECT_EQ(faenger.ausgabeZeilen().size(), 1U);
  EXPECT_FALSE(stoppe(600.5));
}

TEST_P(BildaufsichtTest, ADeadlineThatIsReachedHasPassed) {
  video->starteGeduldig(9);
  bis(9.1);
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{keins(NICHTS)}));
  EXPECT_FALSE(stoppe(9.5));
}

TEST_P(BildaufsichtTest, WithoutPatienceTheReportComesAtOnce) {
  schirm.windows = {sim::fenster(1, "com.microsoft.teams2", "Chat | Microsoft Teams")};
  video->starteGeduldig(0);
  EXPECT_FALSE(stoppe(0.5));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{keins("kein Meetingfenster – kein Bild (Teams offen, aber kein Meeting "
                          "sichtbar)")}));
}

TEST_P(BildaufsichtTest, AWindowThatIsThereIsRecordedAtOnceWithoutAReport) {
  schirm.windows = {zoom(4)};
  video->starteGeduldig(0);
  EXPECT_TRUE(stoppe(0.5));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0")}));
}

TEST_P(BildaufsichtTest, EventsCarryRankAndReasonWithTheirTextsEscaped) {
  schirm.windows = {zoom(4, "Anna \"A\\B\"\t's Screen")};
  zeige(9, {zoom(5, "")});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(11.0));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", R"(Zoom · Anna \"A\\B\" 's Screen)",
                            "geteilter Bildschirm eines Teilnehmers (Zoom-Fenster)", "0.0", 2),
                    wechsel("video_wechsel", "Zoom · Warteraum/Vorschau", "Zoom-Warteraum/Vorschau",
                            "10.0", 4)}));
}

TEST_P(BildaufsichtTest, ABetterWindowTakesOverWhenItIsTheBestAtTwoChecks) {
  schirm.windows = {zoom(4)};
  zeige(3, {zoom(4), teams(5)});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.0));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "6.0")}));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "wechsle 5", "stop"}));
}

TEST_P(BildaufsichtTest, ABetterWindowAtOneCheckOnlyDoesNotTakeOver) {
  schirm.windows = {zoom(4)};
  for (const double t : {3.0, 7.0, 11.0}) {
    zeige(t, {zoom(4), teams(5)});
    zeige(t + 2, {zoom(4)});
  }
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(20.0));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0")}));
}

TEST_P(BildaufsichtTest, TwoBetterWindowsInTurnsDoNotTakeOver) {
  schirm.windows = {zoom(4)};
  zeige(3, {zoom(4), teams(5)});
  zeige(5, {zoom(4), teams(6)});
  zeige(7, {zoom(4), teams(5)});
  zeige(9, {zoom(4), teams(6)});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(11.0));
  EXPECT_EQ(faenger.ausgabeZeilen().size(), 1U);
}

TEST_P(BildaufsichtTest, AVanishedWindowIsReplacedAtOnce) {
  schirm.windows = {zoom(4), sim::fenster(7, "com.google.Chrome", "Meet - abc-defg-hij")};
  zeige(3, {sim::fenster(7, "com.google.Chrome", "Meet - abc-defg-hij")});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(5.0));
  EXPECT_EQ(
      faenger.ausgabeZeilen(),
      (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
              wechsel("video_wechsel", "App · Meet - abc-defg-hij", "Meeting im Browser", "4.0")}));
}

TEST_P(BildaufsichtTest, AWindowThatIsNoCandidateAnyMoreHasVanished) {
  schirm.windows = {zoom(4), teams(5)};
  zeige(3, {zoom(4), teams(5, "Chat | Microsoft Teams")});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(5.0));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", TEAMS, TEAMS_GRUND, "0.0"),
                                             wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "4.0")}));
}

TEST_P(BildaufsichtTest, AWindowOfALowerRankThanOthersIsStillThere) {
  // Zoom's window has become a shared screen of rank 2; the browser's rank 1 needs two checks.
  schirm.windows = {zoom(4)};
  zeige(3, {zoom(4, "Annas Bildschirm"), sim::fenster(7, "com.google.Chrome", "Meet")});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(7.0));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                    wechsel("video_wechsel", "App · Meet", "Meeting im Browser", "6.0")}));
}

TEST_P(BildaufsichtTest, WithoutAMeetingThePicturePausesUntilThereIsOneAgain) {
  schirm.windows = {zoom(4)};
  zeige(9, {});
  zeige(31, {teams(5)});
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(45.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->quelle, TEAMS + " (+1 weitere)");
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"), pause(NICHTS, "10.0"),
                    wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "32.0")}));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{"[hallkorb] Bild: " + ZOOM + " (" + ZOOM_GRUND + ") ab 0.0 s",
                    "[hallkorb] Bild: " + NICHTS + " ab 10.0 s — Ton laeuft weiter",
                    "[hallkorb] Bild: " + TEAMS + " (" + TEAMS_GRUND + ") ab 32.0 s",
                    "[hallkorb] Bildquelle: " + TEAMS + " — 13 s",
                    "[hallkorb] Bildquelle: " + ZOOM + " — 10 s"}));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "wechsle 5", "stop"}));
}

TEST_P(BildaufsichtTest, TheSameWindowResumesAfterAPause) {
  schirm.windows = {zoom(4)};
  zeige(9, {zoom(4, "Zoom")});
  zeige(31, {zoom(4)});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(45.0));
  EXPECT_EQ(
      faenger.ausgabeZeilen(),
      (Zeilen{
          wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
          pause("kein Meetingfenster – kein Bild (Zoom offen, aber kein Meeting sichtbar)", "10.0"),
          wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "32.0")}));
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Bildquelle: " + ZOOM + " — 23 s");
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "wechsle 4", "stop"}));
}

// The booking of a new title knows no pause; that of a new window does.
TEST_P(BildaufsichtTest, APauseInWhichTheTitleChangedBelongsToTheOldTitle) {
  schirm.windows = {zoom(4)};
  zeige(9, {});
  zeige(31, {zoom(4, "Zoom Webinar")});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(45.0));
  const Zeilen zeilen = faenger.fehlerZeilen();
  EXPECT_EQ(Zeilen(zeilen.end() - 2, zeilen.end()),
            (Zeilen{"[hallkorb] Bildquelle: " + ZOOM + " — 32 s",
                    "[hallkorb] Bildquelle: Zoom · Zoom Webinar — 13 s"}));
}

TEST_P(BildaufsichtTest, AStopInAPauseBooksThePauseToTheLastSource) {
  schirm.windows = {zoom(4)};
  zeige(9, {});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(45.0));
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Bildquelle: " + ZOOM + " — 45 s");
}

TEST_P(BildaufsichtTest, ASleepOfTheComputerIsBooked) {
  schirm.windows = {zoom(4)};
  welt.am(5, [this] { welt.wanduhrVor = 3600; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.0));
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Bildquelle: " + ZOOM + " — 3609 s");
}

TEST_P(BildaufsichtTest, AWallClockThatIsSetBackTakesNothingAway) {
  schirm.windows = {zoom(4, "Meeting A")};
  zeige(9, {zoom(4, "Meeting B")});
  welt.am(11, [this] { welt.wanduhrVor = -3600; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(15.0));
  const Zeilen zeilen = faenger.fehlerZeilen();
  EXPECT_EQ(Zeilen(zeilen.end() - 2, zeilen.end()),
            (Zeilen{"[hallkorb] Bildquelle: Zoom · Meeting A — 10 s",
                    "[hallkorb] Bildquelle: Zoom · Meeting B — 0 s"}));
}

TEST_P(BildaufsichtTest, EverySecondIsBookedToItsSource) {
  // The screen answers slowly, so that checks lie 2.26 s apart and the second window comes after
  // 40 of them: 90.4 s and then 12.9 s.
  schirm.inventarDauer = 0.26;
  schirm.windows = {zoom(4, "Meeting A")};
  zeige(90.0, {zoom(5, "Meeting B")});
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(0.26 + 40 * 2.26 + 12.9);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->quelle, "Zoom · Meeting A (+1 weitere)");
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", "Zoom · Meeting A", ZOOM_GRUND, "0.3"),
                    wechsel("video_wechsel", "Zoom · Meeting B", ZOOM_GRUND, "90.7")}));
  const Zeilen zeilen = faenger.fehlerZeilen();
  EXPECT_EQ(Zeilen(zeilen.end() - 2, zeilen.end()),
            (Zeilen{"[hallkorb] Bildquelle: Zoom · Meeting A — 90 s",
                    "[hallkorb] Bildquelle: Zoom · Meeting B — 12 s"}));
}

TEST_P(BildaufsichtTest, ANewTitleIsBookedAsItsOwnSourceWithoutAnEvent) {
  schirm.windows = {zoom(4, "Meeting A")};
  zeige(5, {zoom(4, "Meeting B")});
  zeige(15, {zoom(4, "Meeting A")});
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(19.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->quelle, "Zoom · Meeting B (+1 weitere)");
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", "Zoom · Meeting A", ZOOM_GRUND, "0.0")}));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{"[hallkorb] Bild: Zoom · Meeting A (" + ZOOM_GRUND + ") ab 0.0 s",
                    "[hallkorb] Bildquelle: Zoom · Meeting B — 10 s",
                    "[hallkorb] Bildquelle: Zoom · Meeting A — 9 s"}));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop"}));
}

TEST_P(BildaufsichtTest, AStreamThatTheServiceEndsIsReplacedAtTheNextCheck) {
  schirm.windows = {zoom(4)};
  welt.am(5, [this] { schirm.beende({"xcb", 1, "Verbindung verloren"}); });
  welt.am(7, [this] { schirm.bild(); });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(9.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 3);
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "6.0")}));
  EXPECT_EQ(faenger.fehlerZeilen()[1], "[hallkorb] Video-SCStream gestoppt: Verbindung verloren");
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop", "start 4", "stop"}));
  EXPECT_EQ(schirm.filme.size(), 1U);
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Bildquelle: " + ZOOM + " — 9 s");
}

TEST_P(BildaufsichtTest, AfterTheServiceEndedTheStreamABetterWindowNeedsNoConfirmation) {
  schirm.windows = {zoom(4)};
  zeige(5, {zoom(4), teams(5)});
  welt.am(5, [this] { schirm.beende({"xcb", 1, "weg"}); });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(7.0));
  EXPECT_EQ(faenger.ausgabeZeilen().back(), wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "6.0"));
}

TEST_P(BildaufsichtTest, ARestartThatFailsIsTriedAgainAtTheNextCheck) {
  schirm.windows = {zoom(4)};
  welt.am(5, [this] {
    schirm.beende({"xcb", 1, "weg"});
    schirm.startFehler = Fehler{"xcb", 8, "BadMatch"};
  });
  welt.am(7, [this] { schirm.startFehler = std::nullopt; });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(9.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 2);
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "8.0")}));
  EXPECT_EQ(faenger.fehlerZeilen()[2], "[hallkorb] Fensterpruefung: BadMatch");
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop", "start 4", "stop", "start 4", "stop"}));
}

TEST_P(BildaufsichtTest, AfterARestartThatFailedABetterWindowNeedsNoConfirmation) {
  schirm.windows = {zoom(4)};
  welt.am(5, [this] {
    schirm.beende({"xcb", 1, "weg"});
    schirm.startFehler = Fehler{"xcb", 8, "BadMatch"};
  });
  zeige(7, {zoom(4), teams(5)});
  welt.am(7, [this] { schirm.startFehler = std::nullopt; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.0));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "8.0")}));
}

TEST_P(BildaufsichtTest, AStreamThatEndsAsItsWindowVanishesIsReplacedWithTheNextWindow) {
  schirm.windows = {zoom(4)};
  zeige(5, {teams(5)});
  welt.am(5, [this] {
    schirm.beende({"xcb", 1, "weg"});
    schirm.startFehler = Fehler{"xcb", 8, "BadMatch"};
  });
  welt.am(7, [this] { schirm.startFehler = std::nullopt; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.0));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "8.0")}));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop", "start 5", "stop", "start 5", "stop"}));
}

TEST_P(BildaufsichtTest, AStreamThatEndsAsTheLastWindowVanishesIsAPause) {
  schirm.windows = {zoom(4)};
  zeige(5, {});
  welt.am(5, [this] { schirm.beende({"xcb", 1, "weg"}); });
  zeige(9, {zoom(4)});
  welt.am(9, [this] { schirm.startFehler = Fehler{"xcb", 8, "BadMatch"}; });
  welt.am(11, [this] { schirm.startFehler = std::nullopt; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(13.0));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"), pause(NICHTS, "6.0"),
                    wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "12.0")}));
  EXPECT_EQ(faenger.fehlerZeilen().back(), "[hallkorb] Bildquelle: " + ZOOM + " — 7 s");
}

TEST_P(BildaufsichtTest, AStreamThatEndsInAPauseIsReplacedWhenTheMeetingIsBack) {
  schirm.windows = {zoom(4)};
  zeige(3, {});
  welt.am(5, [this] { schirm.beende({"xcb", 1, "weg"}); });
  zeige(9, {zoom(4)});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(11.0));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"), pause(NICHTS, "4.0"),
                    wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "10.0")}));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop", "start 4", "stop"}));
}

TEST_P(BildaufsichtTest, AStreamThatEndsRightAfterItsStartIsNotOverlooked) {
  schirm.windows = {zoom(4)};
  schirm.endeNachStart = Fehler{"xcb", 1, "gleich wieder weg"};
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(5.0));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 4", "stop", "start 4", "stop"}));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", ZOOM, ZOOM_GRUND, "2.0")}));
}

TEST_P(BildaufsichtTest, AStartThatFailsIsRetriedAndItsReasonIsInTheReport) {
  schirm.windows = {zoom(4)};
  schirm.startFehler = Fehler{"xcb", 8, "BadMatch"};
  welt.am(14, [this] { schirm.startFehler = std::nullopt; });
  video->starteGeduldig(10);
  EXPECT_TRUE(stoppe(16.0));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{keins(ZOOM_GRUND + " (BadMatch)"),
                                             wechsel("video_start", ZOOM, ZOOM_GRUND, "15.0")}));
  const std::string zeile = "[hallkorb] Video-Start fehlgeschlagen: BadMatch";
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{zeile, zeile, zeile, zeile, zeile,
                    "[hallkorb] Bild: " + ZOOM_GRUND + " (BadMatch) — suche weiter, Ton laeuft",
                    "[hallkorb] Bild: " + ZOOM + " (" + ZOOM_GRUND + ") ab 15.0 s",
                    "[hallkorb] Bildquelle: " + ZOOM + " — 1 s"}));
  EXPECT_EQ(schirm.aufrufe.front(), "start 4");
  EXPECT_EQ(schirm.filme.size(), 1U);  // the writer is made once
}

TEST_P(BildaufsichtTest, TheReportHasAnEarlierStartErrorBesideTheReason) {
  schirm.windows = {zoom(4)};
  schirm.startFehler = Fehler{"xcb", 8, "Fenster \"weg\""};
  zeige(5, {zoom(4, "Zoom")});
  video->starteGeduldig(10);
  EXPECT_FALSE(stoppe(13.0));
  EXPECT_EQ(
      faenger.ausgabeZeilen(),
      (Zeilen{keins("kein Meetingfenster – kein Bild (Zoom offen, aber kein Meeting sichtbar) "
                    R"((Fenster \"weg\"))")}));
}

TEST_P(BildaufsichtTest, AWriterThatCannotBeMadeIsAFailedStart) {
  schirm.windows = {zoom(4)};
  schirm.schreiberFehlt = Fehler{"hallkorb", 3, "AVAssetWriter nimmt den Video-Eingang nicht an"};
  video->starteGeduldig(5);
  EXPECT_FALSE(stoppe(7.0));
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{keins(ZOOM_GRUND + " (AVAssetWriter nimmt den Video-Eingang nicht an)")}));
  EXPECT_EQ(
      faenger.fehlerZeilen()[0],
      "[hallkorb] Video-Start fehlgeschlagen: AVAssetWriter nimmt den Video-Eingang nicht an");
  EXPECT_EQ(faenger.fehlerZeilen().size(), 2U);  // not with every attempt
  EXPECT_TRUE(schirm.aufrufe.empty());
}

TEST_P(BildaufsichtTest, AScreenThatCannotBeRecordedIsReportedOnce) {
  schirm.windows = {zoom(4)};
  schirm.startFehler = nichtAufnehmbar("die Farbtiefe 8 wird nicht aufgenommen");
  video->starteGeduldig(10);
  EXPECT_FALSE(stoppe(60.0));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (Zeilen{"[hallkorb] Video-Start fehlgeschlagen: die Farbtiefe 8 wird nicht aufgenommen",
                    "[hallkorb] Bild: " + ZOOM_GRUND +
                        " (die Farbtiefe 8 wird nicht aufgenommen) — suche weiter, Ton laeuft"}));
}

TEST_P(BildaufsichtTest, WindowsThatCannotBeNamedAreReported) {
  schirm.windows = {zoom(4), zoom(5)};
  for (ScreenWindow& fenster : schirm.windows)
    fenster.anwendung.reset();
  video->starteGeduldig(10);
  EXPECT_FALSE(stoppe(60.0));
  EXPECT_EQ(
      faenger.fehlerZeilen(),
      (Zeilen{"[hallkorb] Bild: " + NICHTS + " — suche weiter, Ton laeuft",
              "[hallkorb] Bild: kein Fenster nennt seine Anwendung — ein Meeting ist so nicht "
              "zu erkennen"}));
}

TEST_P(BildaufsichtTest, AScreenThatDoesNotAnswerIsReportedOnce) {
  schirm.inventarFehler = Fehler{"xcb", 1, "kein X-Server"};
  video->starteGeduldig(10);
  bis(60.0);
  const Zeilen einmal{"[hallkorb] Video-Start fehlgeschlagen: kein X-Server",
                      "[hallkorb] Bild: kein Meetingfenster – kein Bild (kein X-Server) — suche "
                      "weiter, Ton laeuft"};
  EXPECT_EQ(faenger.fehlerZeilen(), einmal);
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (Zeilen{keins("kein Meetingfenster – kein Bild (kein X-Server)")}));
  schirm.inventarFehler = Fehler{"xcb", 2, "Zugriff verweigert"};  // another error is reported
  bis(64.0);
  EXPECT_EQ(faenger.fehlerZeilen().back(),
            "[hallkorb] Video-Start fehlgeschlagen: Zugriff verweigert");
  schirm.inventarFehler = std::nullopt;
  schirm.windows = {zoom(4)};
  EXPECT_TRUE(stoppe(70.0));
  EXPECT_EQ(faenger.ausgabeZeilen().back(), wechsel("video_start", ZOOM, ZOOM_GRUND, "66.0"));
}

TEST_P(BildaufsichtTest, AFailedCheckIsLoggedAndTheNextOneGoesOn) {
  schirm.windows = {zoom(4)};
  zeige(7, {zoom(4), teams(5)});
  welt.am(3, [this] { schirm.inventarFehler = Fehler{"xcb", 1, "keine Antwort"}; });
  welt.am(7, [this] { schirm.inventarFehler = std::nullopt; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(11.0));
  const std::string zeile = "[hallkorb] Fensterpruefung: keine Antwort";
  const Zeilen zeilen = faenger.fehlerZeilen();
  EXPECT_EQ(Zeilen(zeilen.begin() + 1, zeilen.begin() + 3), (Zeilen{zeile, zeile}));
  EXPECT_EQ(faenger.ausgabeZeilen().back(), wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "10.0"));
}

TEST_P(BildaufsichtTest, WhatThisComputerLacksIsReportedAgainOnlyAfterSomethingElse) {
  schirm.windows = {zoom(4)};
  const Fehler lacks = nichtAufnehmbar("die Farbtiefe 8 wird nicht aufgenommen");
  welt.am(1, [&] { schirm.inventarFehler = lacks; });
  welt.am(7, [&] { schirm.inventarFehler = Fehler{"xcb", 1, "keine Antwort"}; });
  welt.am(9, [&] { schirm.inventarFehler = lacks; });
  welt.am(13, [&] { schirm.inventarFehler = std::nullopt; });
  welt.am(15, [&] { schirm.inventarFehler = lacks; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(19.0));
  Zeilen zeilen = faenger.fehlerZeilen();
  std::erase_if(
      zeilen, [](const std::string& z) { return z.find("Fensterpruefung") == std::string::npos; });
  const std::string einmal = "[hallkorb] Fensterpruefung: die Farbtiefe 8 wird nicht aufgenommen";
  EXPECT_EQ(zeilen, (Zeilen{einmal, "[hallkorb] Fensterpruefung: keine Antwort", einmal, einmal}));
}

TEST_P(BildaufsichtTest, ASwitchThatFailsIsTriedAgainAtTheNextCheck) {
  schirm.windows = {zoom(4)};
  zeige(3, {teams(5)});
  schirm.wechselFehler = Fehler{"xcb", 3, "BadWindow"};
  welt.am(7, [this] { schirm.wechselFehler = std::nullopt; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.5));
  EXPECT_EQ(faenger.ausgabeZeilen(), (Zeilen{wechsel("video_start", ZOOM, ZOOM_GRUND, "0.0"),
                                             wechsel("video_wechsel", TEAMS, TEAMS_GRUND, "8.0")}));
  const Zeilen zeilen = faenger.fehlerZeilen();
  EXPECT_EQ(zeilen[1], "[hallkorb] Fensterpruefung: BadWindow");
  EXPECT_EQ(zeilen[2], "[hallkorb] Fensterpruefung: BadWindow");
  // Meanwhile the old source was on the picture.
  EXPECT_EQ(Zeilen(zeilen.end() - 2, zeilen.end()),
            (Zeilen{"[hallkorb] Bildquelle: " + ZOOM + " — 8 s",
                    "[hallkorb] Bildquelle: " + TEAMS + " — 1 s"}));
}

INSTANTIATE_TEST_SUITE_P(Saaten, BildaufsichtTest, testing::Range<std::uint64_t>(1, 6));

}  // namespace
}  // namespace hallkorb
