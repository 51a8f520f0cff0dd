// A live recording whose folder, files, start or host is not as it should be.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Ausgabe.h"
#include "driver/modes/LiveAufnahme.h"
#include "tests/driver/modes/LiveLauf.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/Gespraech.h"
#include "tests/support/SimPlattform.h"

namespace hallkorb {
namespace {

namespace fs = std::filesystem;
using sim::SimPlattform;
using sim::stetig;

class LiveStoerungTest : public LiveLauf {
 protected:
  [[nodiscard]] std::ptrdiff_t anzahl(const std::string& text) const {
    const auto zeilen = faenger.fehlerZeilen();
    return std::count_if(zeilen.begin(), zeilen.end(),
                         [&](const std::string& z) { return z.find(text) != std::string::npos; });
  }
  // Whether another recording could begin in the folder.
  [[nodiscard]] bool istFrei() const {
    const int griff = ::open(config.outDir.c_str(), O_RDONLY | O_DIRECTORY);
    const bool frei = ::flock(griff, LOCK_EX | LOCK_NB) == 0;
    ::close(griff);
    return frei;
  }
};

// The folder and its files.

TEST_F(LiveStoerungTest, AFolderMadeAgainIsNotFreeForAnotherRecording) {
  config.outDir = ordner / "aufnahme";
  config.maxSeconds = 2.0;
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 12.0);
  bool frei = true;
  welt.am(4.0, [&] {
    fs::remove_all(config.outDir);
    fs::create_directory(config.outDir);
  });
  welt.am(10.0, [&] { frei = istFrei(); });
  welt.signal(12.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_FALSE(frei);
  EXPECT_TRUE(istFrei());
  EXPECT_EQ(anzahl("WAV-Schreibfehler"), 0);
}

TEST_F(LiveStoerungTest, WhereAnotherRecordingHasBegunNothingIsWritten) {
  config.outDir = ordner / "aufnahme";
  config.maxSeconds = 2.0;
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 12.0);
  int andere = -1;
  welt.am(4.0, [&] {
    fs::remove_all(config.outDir);
    fs::create_directory(config.outDir);
    andere = ::open(config.outDir.c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(::flock(andere, LOCK_EX | LOCK_NB), 0);
  });
  welt.signal(12.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  ::close(andere);
  EXPECT_TRUE(fs::is_empty(config.outDir));
  EXPECT_EQ(anzahl("[hallkorb] Ordner ausgetauscht: " + config.outDir +
                   " gehoert einer anderen Aufnahme, dort wird nichts geschrieben"),
            1);
  EXPECT_GE(anzahl("WAV-Schreibfehler (me #"), 3);
}

TEST_F(LiveStoerungTest, ARawFileThatCouldNotBeCreatedIsCreatedLater) {
  for (const bool echo : {false, true}) {
    SCOPED_TRACE(echo);
    config.echo = echo;
    SimPlattform welt;
    stetig(welt.mikrofonGeraet, 0.0, 4.0);
    FehlerDateien dateien;
    dateien.scheitere(FehlerDateien::Ruf::oeffnen, 1, EMFILE, 2);  // 0 is the folder
    welt.signal(4.001, SIGINT);
    EXPECT_EQ(LiveAufnahme(config, welt, dateien).laufe(), 0);
    const auto roh = liesWav(ordner / "mikro_roh.wav");
    ASSERT_TRUE(roh);
    ASSERT_EQ(roh->size(), 4U * 16000U);
    const auto erster =
        std::find_if(roh->begin(), roh->end(), [](float sample) { return sample != 0; });
    const auto verloren = static_cast<double>(erster - roh->begin());
    EXPECT_NEAR(verloren, 2 * 16000, 400);  // at the start and after one second
    for (std::size_t i = static_cast<std::size_t>(verloren); i < roh->size(); ++i)
      ASSERT_NEAR((*roh)[i], sim::klang(static_cast<double>(i) / 16000.0), 2e-4) << i;
    fs::remove(ordner / "mikro_roh.wav");
  }
  EXPECT_EQ(anzahl("[hallkorb] mikro_roh.wav kann nicht angelegt werden: "), 2);
  EXPECT_EQ(anzahl("[hallkorb] mikro_roh.wav: Schreiben geht wieder, "), 2);
}

// The writer is made when a window is found; the first picture may come much later.
TEST_F(LiveStoerungTest, NoVideoIsBegunInAFolderThatWasExchangedMeanwhile) {
  const std::string anderswo = ordner / "anderswo";
  const std::vector<std::uint8_t> fremdes{1, 2, 3};
  fs::create_directory(anderswo);
  legeAn(anderswo + "/video.mp4", fremdes);
  config.outDir = ordner / "aufnahme";
  config.video = true;
  for (const bool spaet : {false, true}) {
    SCOPED_TRACE(spaet);
    SimPlattform welt;
    stetig(welt.mikrofonGeraet, 0.1, 10.0);
    sim::Bildschirm& schirm = welt.bildschirm;
    schirm.windows = {sim::fenster(4, "us.zoom.xos", "Zoom Meeting")};
    schirm.bildNachStart = false;
    if (!spaet) schirm.startFehler = Fehler{"sim", 9, "noch nicht"};  // tried again after 3 s
    welt.am(2.0, [&] {
      fs::rename(config.outDir, ordner / "weg");
      fs::create_directory_symlink(anderswo, config.outDir);
      schirm.startFehler.reset();
    });
    for (const double t : {8.0, 8.5})
      welt.am(t, [&] { schirm.bild(); });
    welt.signal(10.001, SIGINT);
    EXPECT_EQ(laufe(welt), 0);
    EXPECT_EQ(dateiBytes(anderswo + "/video.mp4"), fremdes);
    fs::remove(config.outDir);
    fs::remove_all(ordner / "weg");
  }
  EXPECT_EQ(anzahl("[hallkorb] Video-Schreiber startete nicht: " + config.outDir + "/video.mp4: "),
            2);
  const auto folge = ereignisse();
  EXPECT_EQ(std::count(folge.begin(), folge.end(), "video"), 0);
}

// A stop that begins right after the system audio's start has failed: the line about that failure
// is the first one that finds standard error closed, which lets the recorder wait.
class StoppNachFehlstartTest : public LiveStoerungTest {
 protected:
  StoppNachFehlstartTest() {
    EXPECT_EQ(::pipe(rohr_.data()), 0);
    std::signal(SIGPIPE, SIG_IGN);
    vorher_ = std::exchange(strom_.handle, rohr_[1]);
    welt.systemGeraet.startFehler = Fehler{"sim", 6, "kein Ton"};
    welt.am(0.03, [this] { ::close(rohr_[0]); });
    strom_.leserWeg([this] {
      gewartet = true;
      welt.warteBis([this] { return welt.jetzt() >= 0.06; });
    });
    welt.signal(0.05, SIGINT);
    welt.am(0.06, [] {});
  }
  void TearDown() override {
    strom_.leserWeg(nullptr);
    strom_.handle = vorher_;
    ::close(rohr_[1]);
  }

  SimPlattform welt;
  bool gewartet = false;

 private:
  FileHandleTextOutput& strom_ = FileHandleTextOutput::standardError();
  std::array<int, 2> rohr_{};
  int vorher_ = -1;
};

TEST_F(StoppNachFehlstartTest, AMissingSystemAudioIsReported) {
  stetig(welt.mikrofonGeraet, 0.02, 1.0);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_TRUE(gewartet);
  const auto zeilen = faenger.ausgabeZeilen();
  ASSERT_GE(zeilen.size(), 2U);
  EXPECT_EQ(zeilen[0], R"({"event":"degraded","channel":"them","message":"kein Ton"})");
  EXPECT_NE(zeilen[1].find(R"("event":"started","mic":true,"system":false)"), std::string::npos);
  EXPECT_EQ(zeilen.back(), R"({"event":"done"})");
}

TEST_F(StoppNachFehlstartTest, WithNeitherChannelTheRunEndsWithAnErrorAllTheSame) {
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
  welt.systemGeraet.startFehler->description = "";
  EXPECT_EQ(laufe(welt), 2);
  EXPECT_TRUE(gewartet);
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{R"({"event":"error","message":"kein Mikrofon"})"}));
}

TEST_F(LiveStoerungTest, AMicrophoneThatFailedIsReportedAlsoIfTheStopCancelsTheRest) {
  SimPlattform welt;
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
  welt.systemGeraet.startHaengt = true;
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(ereignisse(), (std::vector<std::string>{"degraded", "zeitachse", "done"}));
  EXPECT_EQ(faenger.ausgabeZeilen()[0],
            R"({"event":"degraded","channel":"me","message":"kein Mikrofon"})");
  EXPECT_EQ(anzahl("Mikrofon verweigert: kein Mikrofon"), 1);
}

// The computer sleeps: its clock stands still, and only the wall clock goes on.
TEST_F(LiveStoerungTest, ASleepIsInNoChannel) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.0, 4.0);
  welt.am(2.0, [&] { welt.wanduhrVor = 3600.0; });
  welt.signal(4.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto roh = liesWav(ordner / "mikro_roh.wav");
  ASSERT_TRUE(roh);
  ASSERT_EQ(roh->size(), 4U * 16000U);
  for (std::size_t i = 400; i < roh->size(); ++i)
    ASSERT_NEAR((*roh)[i], sim::klang(static_cast<double>(i) / 16000.0), 2e-4) << i;
  EXPECT_EQ(anzahl("Zeitachse me"), 0);
  EXPECT_NE(faenger.ausgabe().find(R"("t1":4.00})"), std::string::npos) << faenger.ausgabe();
}

// As long as at the stop: with nobody who reads, the lines about the refusal are given up then.
TEST_F(LiveStoerungTest, TheReasonForARefusalWaitsForAHostThatDoesNotRead) {
  const int andere = ::open(config.outDir.c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(::flock(andere, LOCK_EX), 0);
  std::array<int, 2> rohr{};
  ASSERT_EQ(::pipe(rohr.data()), 0);
  ASSERT_EQ(::fcntl(rohr[1], F_SETFL, O_NONBLOCK), 0);
  const std::string viel(65536, 'x');
  while (::write(rohr[1], viel.data(), viel.size()) > 0) {
  }
  FileHandleTextOutput& ausgabe = FileHandleTextOutput::standardOutput();
  const int vorher = std::exchange(ausgabe.handle, rohr[1]);
  SimPlattform welt;
  EXPECT_EQ(laufe(welt), 2);
  // Nothing waits any more.
  ausgabe.begrenze(0.0);
  EXPECT_TRUE(ausgabe.leere());
  ausgabe.begrenze(std::nullopt);
  ausgabe.handle = vorher;
  for (const int griff : {rohr[0], rohr[1], andere})
    ::close(griff);
}

}  // namespace
}  // namespace hallkorb
