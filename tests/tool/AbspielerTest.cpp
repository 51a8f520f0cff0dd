// A recording played to a host, on a simulated platform: the moments, the files, the stop.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "audiofiles/Wav.h"
#include "session/Spieldateien.h"
#include "session/Spielplan.h"
#include "tests/session/Ordnerbau.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Niemand.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"
#include "tool/Abspieler.h"

namespace hallkorb {
namespace {

using sim::SimPlattform;

constexpr char ECHO[] =
    R"({"event":"echo","verzoegerung_ms":12.0,"versatz_bloecke":0,"versatz_wechsel":1,)"
    R"("leck":0.1000,"tor_anteil":0.100,"nah_anteil":0.500,"vg_kopien":3,"hg_reset":0,"resets":0,)"
    R"("ohne_referenz":0,"ausfaelle":0,"bloecke":500,"chunks_ohne_sprache":0})";
constexpr char ZEITACHSE[] =
    R"({"event":"zeitachse","them":{"luecken":1,"luecken_ms":40,"ueberlappungen":0,"verworfen_ms":0},)"
    R"("me":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0}})";

class AbspielerTest : public testing::Test {
 protected:
  static constexpr std::array VERWEISE{"chunk_me_000.wav", "video.mp4", "mikro_roh.wav"};
  inline static const Bytes WICHTIG{1, 2, 3};

  // Ten seconds: three chunks of "me", two of "them", a window from second 2 on.
  void nimmAuf() {
    bau.start();
    bau.zeile(
        R"({"event":"video_start","quelle":"Zoom \"A\"","art":"zoom","rang":0,"grund":"x","t_s":2.0})");
    bau.chunk("me", 0, 0.0, 4.0);
    bau.chunk("them", 0, 1.0, 4.5);
    bau.chunk("me", 1, 4.0, 8.0);
    bau.zeile(R"({"event":"video","path":"/weg/video.mp4","frames":80,"quelle":"Zoom \"A\""})");
    bau.chunk("them", 1, 6.0, 10.0);
    bau.chunk("me", 2, 8.0, 10.0);
    bau.zeile(ECHO);
    bau.zeile(ZEITACHSE);
    bau.ende();
    bau.wav("mikro_roh.wav", 0, 10 * Ordnerbau::RATE);
    legeAn(bau / "video.mp4", Bytes(5000, 7));
  }

  int spiele(SimPlattform& welt, double tempo = 1.0) {
    const auto ordner = liesSitzungsordner(bau.ordner().pfad());
    auto plan = planeSpiel(*ordner);
    EXPECT_TRUE(plan);
    Spieldateien dateien(*ordner, ziel.pfad());
    return Abspieler(std::move(*plan), dateien, welt, tempo).laufe();
  }

  // The kept lines, with the paths of this playback.
  std::vector<std::string> erwartet() const {
    std::vector<std::string> alle;
    const auto gelesen = liesZeilen(bau / EREIGNISSE, [&](std::string&& zeile, bool) {
      const std::size_t ab = zeile.find("/weg/");
      if (ab != std::string::npos) zeile.replace(ab, 4, ziel.pfad());
      alle.push_back(std::move(zeile));
    });
    EXPECT_EQ(gelesen, Lesbarkeit::ganz);
    return alle;
  }

  // Links in the target to files in `fremd` that must stay as they are.
  void pflanzeVerweise(const TempOrdner& fremd) const {
    for (const char* name : VERWEISE) {
      legeAn(fremd / name, WICHTIG);
      std::filesystem::create_symlink(fremd / name, ziel / name);
    }
  }

  std::vector<std::string> dateien() const {
    std::vector<std::string> namen;
    for (const auto& eintrag : std::filesystem::directory_iterator(ziel.pfad()))
      namen.push_back(eintrag.path().filename().string());
    std::sort(namen.begin(), namen.end());
    return namen;
  }

  Ordnerbau bau;
  TempOrdner ziel;
  AusgabeFaenger faenger;
};

TEST_F(AbspielerTest, TheLinesAndFilesOfTheRecordingComeBack) {
  nimmAuf();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  EXPECT_NEAR(welt.jetzt(), 10.0, 0.01);
  EXPECT_EQ(faenger.ausgabeZeilen(), erwartet());
  EXPECT_EQ(faenger.fehler(), "[hallkorb] Stop — schreibe Rest-Chunks\n");
  for (const char* name :
       {"chunk_me_000.wav", "chunk_me_001.wav", "chunk_me_002.wav", "chunk_them_000.wav",
        "chunk_them_001.wav", "mikro_roh.wav", "video.mp4"})
    EXPECT_EQ(dateiBytes(ziel / name), dateiBytes(bau / name)) << name;
  EXPECT_EQ(dateien().size(), 7U);
}

TEST_F(AbspielerTest, EachLineComesAtItsMomentAfterItsFile) {
  nimmAuf();
  SimPlattform welt;
  const auto stand = [&](double zeit, std::size_t zeilen, std::size_t bisher, double roh) {
    welt.am(zeit, [=, this] {
      EXPECT_EQ(faenger.ausgabeZeilen().size(), zeilen) << zeit;
      EXPECT_EQ(dateien().size(), bisher) << zeit;
      EXPECT_GE(std::filesystem::file_size(ziel / "mikro_roh.wav"), 44 + roh * 32000) << zeit;
    });
  };
  stand(0.5, 1, 1, 0.0);
  stand(2.1, 2, 1, 2.0);
  stand(4.1, 3, 2, 4.0);
  stand(4.6, 4, 3, 4.5);
  stand(8.1, 5, 4, 8.0);
  EXPECT_EQ(spiele(welt), 0);
}

TEST_F(AbspielerTest, LinksInTheTargetAreReplacedAndNotFollowed) {
  nimmAuf();
  const TempOrdner fremd;
  pflanzeVerweise(fremd);
  SimPlattform welt;
  spiele(welt, 0.0);
  for (const char* name : VERWEISE) {
    EXPECT_EQ(dateiBytes(fremd / name), WICHTIG) << name;
    EXPECT_EQ(dateiBytes(ziel / name), dateiBytes(bau / name)) << name;
  }
}

// A folder in which nothing may be changed: the real thing, with permissions.
TEST_F(AbspielerTest, ATargetThatAllowsNoChangeLeadsNowhere) {
  nimmAuf();
  const TempOrdner fremd;
  pflanzeVerweise(fremd);
  for (const std::string& pfad : {fremd.pfad(), ziel.pfad(), bau.ordner().pfad()})
    ASSERT_TRUE(Niemand::gehoere(pfad));
  ASSERT_EQ(::chmod(ziel.pfad().c_str(), 0555), 0);
  {
    const Niemand niemand;
    ASSERT_TRUE(niemand.gelungen());
    SimPlattform welt;
    EXPECT_EQ(spiele(welt, 0.0), 0);
  }
  ASSERT_EQ(::chmod(ziel.pfad().c_str(), 0755), 0);
  EXPECT_EQ(fremd.namen().size(), VERWEISE.size());
  for (const char* name : VERWEISE)
    EXPECT_EQ(dateiBytes(fremd / name), WICHTIG) << name;
}

TEST_F(AbspielerTest, QuickTimeTakesAsMuchLess) {
  nimmAuf();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt, 4.0), 0);
  EXPECT_NEAR(welt.jetzt(), 2.5, 0.01);
  EXPECT_EQ(faenger.ausgabeZeilen(), erwartet());
}

TEST_F(AbspielerTest, AsFastAsPossibleTakesNoTime) {
  nimmAuf();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt, 0.0), 0);
  EXPECT_EQ(welt.jetzt(), 0.0);
  EXPECT_EQ(faenger.ausgabeZeilen(), erwartet());
}

TEST_F(AbspielerTest, ASignalStopsWithWhatTheChunksHeldUntilThen) {
  nimmAuf();
  SimPlattform welt;
  welt.signal(6.5, SIGINT);
  welt.signal(6.5, SIGINT);
  welt.signal(6.5, SIGTERM);
  EXPECT_EQ(spiele(welt), 0);
  const auto alle = erwartet();
  const std::string& pfad = ziel.pfad();
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{alle[0], alle[1], alle[2], alle[3], alle[5],
                                      R"({"chunk":1,"channel":"them","path":")" + pfad +
                                          R"(/chunk_them_001.wav","t0":6.00,"t1":6.50})",
                                      R"({"chunk":1,"channel":"me","path":")" + pfad +
                                          R"(/chunk_me_001.wav","t0":4.00,"t1":6.50})",
                                      ECHO, ZEITACHSE, alle.back()}));
  EXPECT_EQ(faenger.fehler(), "[hallkorb] Stop — schreibe Rest-Chunks\n");
  const auto rest = dateiBytes(ziel / "chunk_me_001.wav");
  const auto ganz = dateiBytes(bau / "chunk_me_001.wav");
  ASSERT_EQ(rest.size(), 44U + 40000U * 2U);
  EXPECT_TRUE(std::equal(rest.begin() + 44, rest.end(), ganz.begin() + 44));
  EXPECT_EQ(liesWav(ziel / "chunk_them_001.wav")->size(), 8000U);
  EXPECT_EQ(liesWav(ziel / "mikro_roh.wav")->size(), 104000U);
  EXPECT_FALSE(std::filesystem::exists(ziel / "chunk_me_002.wav"));
}

TEST_F(AbspielerTest, AStopBeforeTheFirstChunkHasNoVideo) {
  nimmAuf();
  SimPlattform welt;
  welt.signal(1.5, SIGTERM);
  EXPECT_EQ(spiele(welt), 0);
  EXPECT_EQ(dateien(),
            (std::vector<std::string>{"chunk_me_000.wav", "chunk_them_000.wav", "mikro_roh.wav"}));
  EXPECT_EQ(liesWav(ziel / "chunk_them_000.wav")->size(), 8000U);
  EXPECT_EQ(faenger.ausgabeZeilen().size(), 6U);
}

TEST_F(AbspielerTest, AHostThatGoesAwayEndsIt) {
  nimmAuf();
  SimPlattform welt;
  welt.leserGeht(5.0);
  EXPECT_EQ(spiele(welt), 0);
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] Standardausgabe geschlossen — Aufnahme endet\n"
            "[hallkorb] Stop — schreibe Rest-Chunks\n");
  EXPECT_NEAR(welt.jetzt(), 5.0, 0.01);
}

TEST_F(AbspielerTest, TheSpeechOfARestIsNotLongerThanTheRest) {
  bau.start();
  bau.wav("chunk_me_000.wav", 0, 4 * Ordnerbau::RATE);
  bau.zeile(
      R"({"chunk":0,"channel":"me","path":"/weg/a\b".wav","t0":0.00,"t1":4.00,"sprache_ms":3000})");
  bau.ende();
  SimPlattform welt;
  welt.signal(1.0, SIGINT);
  EXPECT_EQ(spiele(welt), 0);
  EXPECT_EQ(faenger.ausgabeZeilen()[1],
            R"({"chunk":0,"channel":"me","path":")" + ziel.pfad() +
                R"(/chunk_me_000.wav","t0":0.00,"t1":1.00,"sprache_ms":1000})");
  EXPECT_EQ(faenger.ausgabeZeilen()[2].substr(0, 21), R"({"event":"zeitachse",)");
}

TEST_F(AbspielerTest, AMissingDeviceIsReportedAsInTheRecording) {
  bau.zeile(R"({"event":"degraded","channel":"me","message":"kein \"Mikrofon\""})");
  bau.start();
  bau.ende();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  EXPECT_EQ(faenger.ausgabeZeilen(), erwartet());
  EXPECT_EQ(faenger.fehlerZeilen()[0],
            "[hallkorb] WARNUNG: nur System-Audio — Mikrofon verweigert: kein \"Mikrofon\"");
}

TEST_F(AbspielerTest, ARecordingThatDidNotStartEndsWithItsStatus) {
  bau.zeile(R"({"event":"error","message":"nichts da"})");
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 2);
  EXPECT_EQ(faenger.ausgabeZeilen(), erwartet());
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(AbspielerTest, ARecordingThatWasKilledBreaksOff) {
  bau.start();
  bau.chunk("me", 0, 0.0, 1.0);
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 1);
  EXPECT_EQ(faenger.ausgabeZeilen(), erwartet());
}

TEST_F(AbspielerTest, ARefusedAttemptBesideTheRecordingIsNoneOfItsLines) {
  const std::string abgelehnt = R"({"event":"error","message":"hier wird schon aufgenommen"})";
  bau.start();
  bau.chunk("me", 0, 0.0, 1.0);
  bau.zeile(abgelehnt);
  bau.chunk("me", 1, 1.0, 2.0);
  bau.ende();
  bau.zeile(abgelehnt);
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  const auto alle = erwartet();
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{alle[0], alle[1], alle[3], alle[4]}));
}

TEST_F(AbspielerTest, WhatWasMissingIsPlayedWhateverStandsBehindIt) {
  bau.start();
  bau.chunk("me", 0, 0.0, 3.0);  // then it was killed
  bau.zeile(R"({"event":"degraded","channel":"them","message":"stumm"})");
  bau.zeile(R"({"event":"neu"})");
  bau.zeile(R"({"event":"error","message":"hier wird schon aufgenommen"})");
  bau.start(false);
  bau.chunk("me", 0, 0.0, 1.0);
  bau.ende();
  bau.zeile(R"({"event":"degraded","channel":"me","message":"nie begonnen"})");
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  const auto alle = erwartet();
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{alle[2], alle[5], alle[6], alle[7]}));
}

TEST_F(AbspielerTest, OnlyTheLastRecordingAndOnlyLinesOfTheRecorder) {
  bau.start();
  bau.chunk("me", 0, 0.0, 3.0);
  bau.ende();
  bau.zeile(R"({"event":"degraded","channel":"them","message":"stumm"})");
  bau.start(false);
  bau.zeile(R"({"mein":"Wirt"})");
  bau.zeile("kein JSON");
  bau.chunk("me", 0, 0.0, 1.0);
  bau.ende();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  const auto alle = erwartet();
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{alle[3], alle[4], alle[7], alle[8]}));
  EXPECT_NEAR(welt.jetzt(), 1.0, 0.01);
}

// Hosts must skip them, which can be tried out this way.
TEST_F(AbspielerTest, EventsOfALaterVersionComeAsTheyAre) {
  const auto neu = [&](const char* stelle) {
    bau.zeile(std::string(R"({"event":"neu","channel":"me","stelle":")") + stelle + R"("})");
  };
  neu("before the recording");
  bau.zeile(R"({"event":"degraded","channel":"them","message":"stumm"})");
  neu("before it has started");
  bau.start();
  neu("at its beginning");
  bau.chunk("me", 0, 0.0, 3.0);
  neu("after a chunk");
  bau.chunk("me", 1, 3.0, 6.0);
  bau.zeile(ZEITACHSE);
  neu("in the stop");
  bau.ende();
  neu("after the recording");
  SimPlattform welt;
  welt.am(2.9, [&] { EXPECT_EQ(faenger.ausgabeZeilen().size(), 3U); });
  welt.am(3.1, [&] { EXPECT_EQ(faenger.ausgabeZeilen().size(), 5U); });
  EXPECT_EQ(spiele(welt), 0);
  const auto alle = erwartet();
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{alle[1], alle[3], alle[4], alle[5], alle[6], alle[7], alle[8],
                                      alle[9], alle[10]}));
}

// The host's own lines may stand between, and the recording before may have been killed.
TEST_F(AbspielerTest, WhatWasMissingIsReportedWhateverStandsBehindIt) {
  bau.start();
  bau.zeile(R"({"event":"neu","nummer":1})");
  bau.zeile(R"({"event":"degraded","channel":"them","message":"stumm"})");
  bau.zeile(R"({"event":"neu","nummer":2})");
  bau.start(false);
  bau.ende();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  const auto alle = erwartet();
  EXPECT_EQ(faenger.ausgabeZeilen(), (std::vector<std::string>{alle[2], alle[4], alle[5]}));
}

TEST_F(AbspielerTest, AStopLeavesOutEventsThatWouldHaveComeLater) {
  bau.start();
  bau.zeile(R"({"event":"neu","nummer":1})");
  bau.chunk("me", 0, 0.0, 4.0);
  bau.zeile(R"({"event":"neu","nummer":2})");
  bau.ende();
  SimPlattform welt;
  welt.signal(2.0, SIGTERM);
  EXPECT_EQ(spiele(welt), 0);
  const auto zeilen = faenger.ausgabeZeilen();
  EXPECT_EQ(zeilen.size(), 5U);
  EXPECT_EQ(zeilen[1], R"({"event":"neu","nummer":1})");
  EXPECT_EQ(zeilen[2].substr(0, 10), R"({"chunk":0)");
}

TEST_F(AbspielerTest, AChunkWithoutItsFileIsNotAnnounced) {
  bau.start();
  bau.chunkZeile("me", 0, 0.0, 1.0, "/weg/chunk_me_000.wav");
  bau.ende();
  SimPlattform welt;
  EXPECT_EQ(spiele(welt), 0);
  EXPECT_EQ(faenger.ausgabeZeilen().size(), 2U);
  EXPECT_EQ(
      faenger.fehlerZeilen()[0],
      "[hallkorb] WAV-Schreibfehler (me #0): chunk_me_000.wav ist in der Aufnahme nicht lesbar");
}

TEST_F(AbspielerTest, WithoutLinesThereIsNothingToPlay) {
  bau.wav("chunk_me_000.wav", 0, 100);
  EXPECT_FALSE(planeSpiel(*liesSitzungsordner(bau.ordner().pfad())));
}

}  // namespace
}  // namespace hallkorb
