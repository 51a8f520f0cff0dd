// What must not be seen: no picture of a window that shows no meeting gets into the file.
#include "tests/meeting/BildpauseTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "meeting/Film.h"
#include "meeting/WindowVideoCapture.h"

namespace hallkorb {
namespace {

class Einzelbild final : public Bild {
 public:
  explicit Einzelbild(double zeit) : zeit_(zeit) {}
  [[nodiscard]] double zeit() const override { return zeit_; }
  [[nodiscard]] BildStatus status() const override { return BildStatus::vollstaendig; }
  [[nodiscard]] std::uint32_t fenster() const override { return 7; }

 private:
  const double zeit_;
};

TEST_P(BildpauseTest, WhileAPauseIsReportedNoPictureGetsIntoTheFile) {
  schirm.windows = {tab("Meet")};
  zeige(3, {tab("Meine Bank")});
  zeige(9, {tab("Meet")});
  bewegtBis(13);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(13.0));
  EXPECT_EQ(anzahl(0, 4), 8U);
  EXPECT_EQ(anzahl(4, 10), 0U);
  EXPECT_EQ(anzahl(10, 13), 6U);
  // The stream goes on all the time.
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 7", "wechsle 7", "stop"}));
}

// A browser draws the other page first and changes the title afterwards.
TEST_P(BildpauseTest, PicturesFromJustBeforeThePauseAreTakenBack) {
  schirm.windows = {tab("Meet")};
  schirm.schreiberHaelt = true;
  for (const double t : {1.0, 2.0, 2.25, 2.625, 2.875})
    welt.am(t, [this] { schirm.bild(); });
  welt.am(3.0, [this] {
    schirm.windows = {tab("Meine Bank")};
    schirm.titelNeu();
  });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(6.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(bilder(), (Bilder{{1.0, 7}, {2.0, 7}, {2.25, 7}}));
  EXPECT_EQ(ergebnis->frames, 3);
}

TEST_P(BildpauseTest, PicturesFromJustBeforeAReplacementAreTakenBack) {
  schirm.windows = {tab("Meet")};
  schirm.schreiberHaelt = true;
  for (const double t : {1.0, 2.0, 2.9})
    welt.am(t, [this] { schirm.bild(); });
  welt.am(3.0, [this] {
    schirm.windows = {tab("Meine Bank"), sim::fenster(8, "us.zoom.xos", "Zoom Meeting")};
    schirm.titelNeu();
  });
  welt.am(4.0, [this] { schirm.bild(); });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(6.0));
  EXPECT_EQ(bilder(), (Bilder{{1.0, 7}, {2.0, 7}, {4.0, 8}}));
}

TEST_P(BildpauseTest, TheFirstPictureIsTakenBackToo) {
  schirm.windows = {tab("Meet")};
  schirm.schreiberHaelt = true;
  welt.am(2.875, [this] { schirm.bild(); });
  welt.am(3.0, [this] {
    schirm.windows = {tab("Meine Bank")};
    schirm.titelNeu();
  });
  video->starteGeduldig(120);
  EXPECT_FALSE(stoppe(6.0));
  EXPECT_EQ(bilder(), Bilder{});
}

// The user leaves the meeting while its stream starts, which loads a hundred libraries: too late
// for the look that found the window, too early for the events of its titles.
TEST_P(BildpauseTest, ATitleThatChangesDuringTheStartIsSeenBeforeAnyPictureCounts) {
  wieAufX11();
  schirm.windows = {tab("Meet")};
  schirm.bildNachStart = true;
  schirm.startDauer = 1.0;
  zeige(0.5, {tab("Meine Bank")});
  zeige(7, {tab("Meet")});
  bewegtBis(11);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(11.0));
  EXPECT_GT(anzahl(7, 11), 2U);
  EXPECT_EQ(anzahl(-1, 7), 0U);
  // The film begins with what is left of it.
  EXPECT_EQ(schirm.filme.at(0).basis, bilder().front().first);
  EXPECT_EQ(ereignisse("video_start"), 1U);
}

TEST_P(BildpauseTest, ATitleThatChangesDuringASwitchIsSeenBeforeAnyPictureCounts) {
  wieAufX11();
  schirm.windows = {zoom(4)};
  schirm.bildNachStart = true;
  schirm.wechselDauer = 1.0;
  zeige(2.5, {tab("Meet")});
  zeige(4.5, {tab("Meine Bank")});
  bewegtBis(9);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.0));
  for (const auto& [zeit, fenster] : bilder())
    EXPECT_EQ(fenster, 4U) << zeit;
  EXPECT_GT(bilder().size(), 2U);
}

// A screen that is slow to answer leaves the new page more time than pictures are held back for.
TEST_P(BildpauseTest, ALookThatTakesLongIsNotTooLate) {
  wieAufX11();
  schirm.windows = {tab("Meet")};
  for (const double t : {1.0, 2.25, 2.75, 3.25, 3.75})
    welt.am(t, [this] { schirm.bild(); });
  welt.am(2.6, [this] { schirm.inventarDauer = 2.0; });
  welt.am(3.0, [this] {
    schirm.windows = {tab("Meine Bank")};
    schirm.titelNeu(7);
  });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(9.0));
  EXPECT_EQ(bilder(), (Bilder{{1.0, 7}, {2.25, 7}}));
}

TEST_P(BildpauseTest, ATitleThatIsStillAMeetingsCostsNoPictures) {
  wieAufX11();
  schirm.inventarDauer = 0.1;
  schirm.windows = {tab("Meet")};
  for (int i = 0; i < 80; ++i) {
    welt.am(2.05 + i * 0.1, [this, i] {
      schirm.windows = {tab("Meet - " + std::to_string(i))};
      schirm.titelNeu(7);
    });
  }
  bewegtBis(12);
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(12.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(bilder().size(), 24U);
  EXPECT_EQ(ergebnis->frames, 24);
}

// The user leaves the meeting and ends the recording before anybody has looked.
TEST_P(BildpauseTest, WhatIsInDoubtAtTheStopIsLeftOut) {
  wieAufX11();
  schirm.windows = {tab("Meet")};
  for (const double t : {1.0, 2.25, 2.75})
    welt.am(t, [this] { schirm.bild(); });
  welt.am(2.6, [this] { schirm.inventarDauer = 1.0; });
  welt.am(3.0, [this] {
    schirm.windows = {tab("Meine Bank")};
    schirm.titelNeu(7);
  });
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(3.1);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(bilder(), (Bilder{{1.0, 7}, {2.25, 7}}));
  EXPECT_EQ(ergebnis->frames, 2);
}

// In a window that stands still no other picture would come by itself.
TEST_P(BildpauseTest, APictureThatWasNotTakenIsOfferedAgain) {
  wieAufX11();
  schirm.windows = {tab("Meet")};
  welt.am(1.0, [this] { schirm.bild(); });
  welt.am(3.0, [this] { schirm.bild(); });
  welt.am(2.9, [this] { schirm.schreiberBereit = false; });
  welt.am(3.5, [this] { schirm.schreiberBereit = true; });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(6.0));
  ASSERT_EQ(bilder().size(), 2U);
  EXPECT_GE(bilder().back().first, 3.5);
  EXPECT_LT(bilder().back().first, 3.6);
}

TEST_P(BildpauseTest, APictureThatCountsForNothingIsNotOfferedAgain) {
  wieAufX11();
  schirm.windows = {tab("Meet")};
  schirm.schreiberSchreibt = false;
  zeige(5, {tab("Meine Bank")});
  for (const double t : {1.0, 7.0})
    welt.am(t, [this] { schirm.bild(); });
  video->starteGeduldig(120);
  bis(9.0);
  const std::uint64_t rufe = welt.rufe;
  bis(9.9);
  EXPECT_EQ(welt.rufe, rufe);  // nobody reads a picture
  EXPECT_FALSE(stoppe(9.9));
}

// A replacement fails, and meanwhile the still window has become a meeting again.
TEST_P(BildpauseTest, AStillWindowThatIsAMeetingAgainGivesAnotherPicture) {
  wieAufX11();
  schirm.bildNachStart = true;
  schirm.windows = {tab("Meet"), zoom(4, "")};
  schirm.wechselFehler = Fehler{"xcb", 3, "BadWindow"};
  zeige(3, {tab("Meine Bank"), zoom(4, "")});
  welt.am(3.75, [this] { schirm.bild(); });
  welt.am(5, [this] {
    schirm.windows = {tab("Meet"), zoom(4, "")};
    schirm.wechselFehler = std::nullopt;
  });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(10.0));
  EXPECT_EQ(schirm.aufrufe, (Zeilen{"start 7", "wechsle 4", "wechsle 7", "stop"}));
  ASSERT_FALSE(bilder().empty());
  EXPECT_EQ(bilder().back(), (std::pair<double, std::uint32_t>{6.0, 7}));
  EXPECT_EQ(ereignisse("video_wechsel"), 0U);
}

// A picture that was let in may be on its way to the file when the others are taken back.
TEST_P(BildpauseTest, APictureOnItsWayIsTakenBackToo) {
  Film film(ordner / "video.mp4", welt, posixDateien());
  ASSERT_TRUE(film.writerAnlegen().gelungen());
  const double unterwegs = hostSekunden();
  EXPECT_TRUE(film.nimm(Einzelbild(unterwegs)));
  bis(1.0);
  film.nimmZurueck();
  EXPECT_FALSE(film.nimm(Einzelbild(unterwegs + 0.5)));
  EXPECT_TRUE(film.nimm(Einzelbild(hostSekunden())));
  EXPECT_EQ(bilder(), (Bilder{{0.0, 7}, {1.0, 7}}));
  EXPECT_EQ(film.entnimm().frames, 2);
}

// A look decides what came before it: a title that changes meanwhile may be too new for it.
TEST_P(BildpauseTest, ATitleThatChangesDuringALookStaysInDoubt) {
  schirm.schreiberHaelt = true;
  Film film(ordner / "video.mp4", welt, posixDateien());
  ASSERT_TRUE(film.writerAnlegen().gelungen());
  const auto nimm = [&](double zeit) {
    bis(zeit);
    EXPECT_TRUE(film.nimm(Einzelbild(hostSekunden())));
  };
  nimm(1.0);
  film.zweifle();
  film.beginneBlick();
  nimm(2.0);
  nimm(2.75);
  bis(3.0);
  film.zweifle();
  nimm(4.0);
  film.klaere();
  nimm(5.0);
  EXPECT_EQ(film.entnimm().frames, 2);
  EXPECT_EQ(bilder(), (Bilder{{1.0, 7}, {2.0, 7}}));
}

TEST_P(BildpauseTest, WhatTheEncoderLeftOutIsNotCounted) {
  schirm.windows = {tab("Meet")};
  schirm.schreiberLaesstAus = 2;
  bewegtBis(3);
  video->starteGeduldig(120);
  const auto ergebnis = stoppe(4.0);
  ASSERT_TRUE(ergebnis);
  EXPECT_EQ(ergebnis->frames, 4);
}

TEST_P(BildpauseTest, APictureThatWasReadInThePauseIsTooOldAfterIt) {
  schirm.windows = {tab("Meet")};
  schirm.bildVerzug = 0.5;
  zeige(3, {tab("Meine Bank")});
  zeige(9, {tab("Meet")});
  welt.am(9.75, [this] { schirm.bild(); });
  welt.am(10.75, [this] { schirm.bild(); });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(13.0));
  EXPECT_EQ(bilder(), (Bilder{{10.75, 7}}));
}

TEST_P(BildpauseTest, TheFirstPictureAfterAPauseCountsAlsoOfAStillWindow) {
  schirm.windows = {tab("Meet")};
  schirm.bildNachStart = true;
  zeige(3, {});
  zeige(9, {zoom(4)});
  zeige(15, {});
  zeige(21, {zoom(4)});
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(25.0));
  EXPECT_EQ(bilder(), (Bilder{{0.0, 7}, {10.0, 4}, {22.0, 4}}));
}

TEST_P(BildpauseTest, ASlowChangeToAnotherWindowShowsNothingOfTheOldOne) {
  schirm.windows = {tab("Meet")};
  schirm.wechselDauer = 1.5;
  zeige(3, {tab("Meine Bank")});
  zeige(9, {tab("Meine Bank"), zoom(4)});
  bewegtBis(13);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(13.0));
  EXPECT_EQ(anzahl(4, 11.5), 0U);
  EXPECT_EQ(bilder().back(), (std::pair<double, std::uint32_t>{12.75, 4}));
}

TEST_P(BildpauseTest, AWindowThatStoppedBeingAMeetingIsNotRecordedDuringItsReplacement) {
  schirm.windows = {tab("Meet"), zoom(4, "")};
  schirm.wechselDauer = 1.5;
  zeige(3, {tab("Meine Bank"), zoom(4, "")});
  bewegtBis(7);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(7.0));
  EXPECT_EQ(anzahl(4, 5.5), 0U);
  EXPECT_EQ(anzahl(5.5, 7), 3U);
  EXPECT_EQ(ereignisse("video_pause"), 0U);
}

TEST_P(BildpauseTest, AReplacementThatFailsShowsNothingOfTheOldWindow) {
  schirm.windows = {tab("Meet"), zoom(4, "")};
  schirm.wechselFehler = Fehler{"xcb", 3, "BadWindow"};
  zeige(3, {tab("Meine Bank"), zoom(4, "")});
  welt.am(7, [this] { schirm.wechselFehler = std::nullopt; });
  bewegtBis(10);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(10.0));
  EXPECT_EQ(anzahl(4, 8), 0U);
  EXPECT_EQ(anzahl(8, 10), 4U);
}

TEST_P(BildpauseTest, AWindowThatIsAMeetingAgainBeforeItIsReplacedIsRecordedAgain) {
  schirm.windows = {tab("Meet"), zoom(4, "")};
  schirm.wechselFehler = Fehler{"xcb", 3, "BadWindow"};
  zeige(3, {tab("Meine Bank"), zoom(4, "")});
  zeige(5, {tab("Meet"), zoom(4, "")});
  bewegtBis(10);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(10.0));
  EXPECT_EQ(anzahl(4, 6), 0U);
  EXPECT_EQ(anzahl(6, 10), 8U);
}

// Its title says so, but it may still show what it showed.
TEST_P(BildpauseTest, AWindowThatIsAMeetingAgainWaitsForTheNextRegularCheck) {
  schirm.windows = {tab("Meet"), zoom(4, "")};
  schirm.wechselFehler = Fehler{"xcb", 3, "BadWindow"};
  zeige(3, {tab("Meine Bank"), zoom(4, "")});
  zeige(4.5, {tab("Meet"), zoom(4, "")});
  welt.am(4.5, [this] { schirm.titelNeu(); });
  bewegtBis(8);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(8.0));
  EXPECT_EQ(anzahl(4, 6), 0U);
  EXPECT_EQ(anzahl(6, 8), 4U);
}

TEST_P(BildpauseTest, APictureThatWasReadBeforeACheckCountsAlsoAfterIt) {
  schirm.windows = {tab("Meet")};
  schirm.bildVerzug = 0.5;
  welt.am(3.75, [this] { schirm.bild(); });
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(6.0));
  EXPECT_EQ(bilder(), (Bilder{{3.75, 7}}));
}

TEST_P(BildpauseTest, AFailedChangeToABetterWindowKeepsTheOldOneOnThePicture) {
  schirm.windows = {zoom(4)};
  schirm.wechselFehler = Fehler{"xcb", 3, "BadWindow"};
  zeige(3, {zoom(4), teams(5)});
  bewegtBis(10);
  video->starteGeduldig(120);
  EXPECT_TRUE(stoppe(10.0));
  EXPECT_EQ(bilder().size(), 20U);
}

INSTANTIATE_TEST_SUITE_P(Saaten, BildpauseTest, testing::Range<std::uint64_t>(1, 6));

}  // namespace
}  // namespace hallkorb
