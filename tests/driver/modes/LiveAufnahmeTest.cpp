#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Ausgabe.h"
#include "driver/modes/LiveAufnahme.h"
#include "tests/driver/modes/LiveLauf.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/Gespraech.h"
#include "tests/support/Rohr.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using sim::aufnahme;
using sim::klang;
using sim::MONO16;
using sim::SimPlattform;
using sim::stetig;

class LiveAufnahmeTest : public LiveLauf {};

TEST_F(LiveAufnahmeTest, ARunReportsItsStartItsChunksItsTimelinesAndItsEnd) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 10.0);
  stetig(welt.systemGeraet, 0.2, 10.0);
  welt.signal(6.5, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto zeilen = faenger.ausgabeZeilen();
  ASSERT_GE(zeilen.size(), 6U);
  EXPECT_EQ(zeilen[0], R"({"event":"started","mic":true,"system":true,"video":false,"echo":false,)"
                       R"("null_unix_ms":1700000000123})");
  EXPECT_EQ(zeilen[zeilen.size() - 2],
            R"({"event":"zeitachse",)"
            R"("them":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0},)"
            R"("me":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0}})");
  EXPECT_EQ(zeilen.back(), R"({"event":"done"})");
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] Mikrofon-Capture gestartet\n"
            "[hallkorb] System-Audio-Capture gestartet\n"
            "[hallkorb] Stop — schreibe Rest-Chunks\n");
}

TEST_F(LiveAufnahmeTest, EverySampleOfBothChannelsIsInTheChunksAtItsTime) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 20.0);
  stetig(welt.systemGeraet, 0.2, 20.0);
  welt.signal(13.001, SIGTERM);
  EXPECT_EQ(laufe(welt), 0);
  for (const std::string kanal : {"me", "them"}) {
    const auto strom = ausChunks(kanal);
    ASSERT_EQ(strom.size(), 13U * 16000U) << kanal;
    for (std::size_t i = 4000; i < strom.size(); ++i) {
      ASSERT_NEAR(strom[i], klang(static_cast<double>(i) / 16000.0), 2e-4) << kanal << i;
    }
  }
  EXPECT_EQ(std::filesystem::file_size(ordner.pfad() + "/mikro_roh.wav"), 44U + 13U * 32000U);
}

TEST_F(LiveAufnahmeTest, TheRestIsWrittenThemFirst) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 2.0);
  stetig(welt.systemGeraet, 0.1, 2.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(ereignisse(),
            (std::vector<std::string>{"started", "chunk them", "chunk me", "zeitachse", "done"}));
}

TEST_F(LiveAufnahmeTest, FurtherSignalsDuringTheStopChangeNothing) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 2.0);
  welt.signal(1.001, SIGINT);
  welt.signal(1.001, SIGINT);
  welt.signal(1.001, SIGTERM);
  EXPECT_EQ(laufe(welt), 0);
  const std::string fehler = faenger.fehler();
  EXPECT_EQ(fehler.find("Stop"), fehler.rfind("Stop"));
  EXPECT_EQ(ereignisse().back(), "done");
}

TEST_F(LiveAufnahmeTest, SigintSigtermAndSighupAreTaken) {
  SimPlattform welt;
  welt.signal(1.001, SIGHUP);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(welt.gefangeneSignale(), (std::set<int>{SIGHUP, SIGINT, SIGTERM}));
}

// As under nohup.
TEST_F(LiveAufnahmeTest, ASighupThatIsIgnoredStaysSo) {
  const auto bisheriger = std::signal(SIGHUP, SIG_IGN);
  SimPlattform welt;
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(welt.gefangeneSignale(), (std::set<int>{SIGINT, SIGTERM}));
  std::signal(SIGHUP, bisheriger);
}

TEST_F(LiveAufnahmeTest, WithoutTheThreadsItNeedsNothingIsBegun) {
  for (const std::string queue : {"chunks.them", "echo", "start", "stop"}) {
    SCOPED_TRACE(queue);
    const AusgabeFaenger eigener;
    SimPlattform welt;
    welt.ohneFaden = {queue};
    welt.signal(1.001, SIGINT);
    EXPECT_EQ(laufe(welt), 2);
    const std::string grund = "das System gibt keinen Thread mehr her";
    EXPECT_EQ(eigener.ausgabe(), R"({"event":"error","message":")" + grund + "\"}\n");
    EXPECT_EQ(eigener.fehler(), "[hallkorb] Aufnahme nicht moeglich: " + grund + "\n");
  }
  EXPECT_TRUE(ordner.namen().empty());
}

TEST_F(LiveAufnahmeTest, AMissingMicrophoneDegradesTheRun) {
  SimPlattform welt;
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein \"Mikrofon\"\nda"};
  stetig(welt.systemGeraet, 0.1, 2.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto zeilen = faenger.ausgabeZeilen();
  EXPECT_EQ(zeilen[0], R"({"event":"degraded","channel":"me","message":"kein \"Mikrofon\" da"})");
  EXPECT_EQ(zeilen[1], R"({"event":"started","mic":false,"system":true,"video":false,"echo":false,)"
                       R"("null_unix_ms":1700000000123})");
  EXPECT_EQ(ereignisse(),
            (std::vector<std::string>{"degraded", "started", "chunk them", "zeitachse", "done"}));
  EXPECT_EQ(faenger.fehlerZeilen()[0],
            "[hallkorb] Mikrofon nicht verfuegbar: sim 5: kein \"Mikrofon\"");
  EXPECT_NE(faenger.fehler().find("[hallkorb] WARNUNG: nur System-Audio — Mikrofon verweigert: "
                                  "kein \"Mikrofon\"\nda\n"),
            std::string::npos);
  EXPECT_EQ(std::filesystem::file_size(ordner.pfad() + "/mikro_roh.wav"), 44U);
}

TEST_F(LiveAufnahmeTest, MissingSystemAudioDegradesTheRun) {
  SimPlattform welt;
  welt.systemGeraet.startFehler = Fehler{"hallkorb", 1, "kein Display gefunden"};
  stetig(welt.mikrofonGeraet, 0.1, 2.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(faenger.ausgabeZeilen()[0],
            R"({"event":"degraded","channel":"them","message":"kein Display gefunden"})");
  EXPECT_EQ(faenger.ausgabeZeilen()[1],
            R"({"event":"started","mic":true,"system":false,"video":false,"echo":false,)"
            R"("null_unix_ms":1700000000123})");
  EXPECT_NE(faenger.fehler().find(
                "[hallkorb] System-Audio nicht verfuegbar: hallkorb 1: kein Display gefunden\n"
                "[hallkorb] WARNUNG: nur Mikrofon — System-Audio verweigert: kein Display "
                "gefunden\n"),
            std::string::npos);
}

TEST_F(LiveAufnahmeTest, WithBothMissingTheRunEndsWithAnError) {
  SimPlattform welt;
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
  welt.systemGeraet.startFehler = Fehler{"sim", 6, "kein Ton"};
  EXPECT_EQ(laufe(welt), 2);
  EXPECT_EQ(faenger.ausgabe(), R"({"event":"error","message":"kein Ton"})"
                               "\n");
}

TEST_F(LiveAufnahmeTest, AnErrorWithoutADescriptionIsReplacedByTheMicrophones) {
  SimPlattform welt;
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
  welt.systemGeraet.startFehler = Fehler{"sim", 6, ""};
  EXPECT_EQ(laufe(welt), 2);
  EXPECT_EQ(faenger.ausgabe(), R"({"event":"error","message":"kein Mikrofon"})"
                               "\n");
}

TEST_F(LiveAufnahmeTest, ASignalWhileADeviceStartsStopsAtOnceAndInOrder) {
  SimPlattform welt;
  welt.mikrofonGeraet.startHaengt = true;
  welt.systemGeraet.startHaengt = true;
  welt.signal(0.05, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(ereignisse(), (std::vector<std::string>{"zeitachse", "done"}));
  EXPECT_EQ(faenger.fehler(), "[hallkorb] Stop — schreibe Rest-Chunks\n");
  EXPECT_LT(welt.jetzt(), 0.2);
}

TEST_F(LiveAufnahmeTest, ASignalWhileTheSecondDeviceStartsKeepsWhatTheFirstRecorded) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 2.0);
  welt.systemGeraet.startHaengt = true;
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(ereignisse(), (std::vector<std::string>{"started", "chunk me", "zeitachse", "done"}));
  EXPECT_NE(faenger.ausgabe().find(R"("mic":true,"system":false)"), std::string::npos);
}

// The stop begins at the very moment when the system audio is ready: which comes first is drawn.
TEST_F(LiveAufnahmeTest, AMicrophoneThatFailedBeforeTheStopIsReportedWhateverComesNext) {
  int nachDemStop = 0;
  for (std::uint64_t saat = 1; saat <= 60; ++saat) {
    SCOPED_TRACE(saat);
    const TempOrdner eigener;
    config.outDir = eigener.pfad();
    const AusgabeFaenger eigenerFaenger;
    SimPlattform welt(saat);
    welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
    stetig(welt.systemGeraet, 0.1, 2.0);
    welt.signal(welt.mikrofonGeraet.startDauer + welt.systemGeraet.startDauer, SIGINT);
    EXPECT_EQ(laufe(welt), 0);
    const std::string fehler = eigenerFaenger.fehler();
    const std::size_t grund = fehler.find("[hallkorb] Mikrofon nicht verfuegbar: sim 5: ");
    const std::size_t stop = fehler.find("[hallkorb] Stop");
    EXPECT_LT(grund, stop);
    const auto zeilen = eigenerFaenger.ausgabeZeilen();
    const auto started = std::find_if(zeilen.begin(), zeilen.end(), [](const auto& z) {
      return z.find(R"("event":"started","mic":false)") != std::string::npos;
    });
    if (started == zeilen.end()) continue;  // the stop cancelled the system audio's start
    ASSERT_NE(started, zeilen.begin());
    EXPECT_EQ(*(started - 1), R"({"event":"degraded","channel":"me","message":"kein Mikrofon"})");
    const std::size_t warnung = fehler.find("[hallkorb] WARNUNG: nur System-Audio");
    ASSERT_NE(warnung, std::string::npos);
    nachDemStop += warnung > stop;
  }
  EXPECT_GT(nachDemStop, 0);
}

TEST_F(LiveAufnahmeTest, AHostThatIsGoneEndsTheRunInOrder) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 9.0);
  stetig(welt.systemGeraet, 0.1, 9.0);
  welt.leserGeht(5.001);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_NE(faenger.fehler().find("[hallkorb] Standardausgabe geschlossen — Aufnahme endet\n"
                                  "[hallkorb] Stop — schreibe Rest-Chunks\n"),
            std::string::npos);
  EXPECT_EQ(ausChunks("me").size(), 5U * 16000U);
}

TEST_F(LiveAufnahmeTest, AHostThatIsFoundGoneByALineEndsTheRunToo) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 60.0);
  FileHandleTextOutput& ausgabe = FileHandleTextOutput::standardOutput();
  const int vorher = ausgabe.handle;
  int rohr[2];
  ASSERT_EQ(::pipe(rohr), 0);
  std::signal(SIGPIPE, SIG_IGN);
  ausgabe.handle = rohr[1];
  welt.am(3.0, [&] { ::close(rohr[0]); });
  EXPECT_EQ(laufe(welt), 0);
  ausgabe.handle = vorher;
  ::close(rohr[1]);
  EXPECT_LT(welt.jetzt(), 10.0);
  EXPECT_NE(faenger.fehler().find("Standardausgabe geschlossen"), std::string::npos);
  EXPECT_TRUE(std::filesystem::exists(ordner.pfad() + "/chunk_me_001.wav"));
}

TEST_F(LiveAufnahmeTest, WithoutTheRawMicrophoneThereIsNoFile) {
  config.rohMikro = false;
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_FALSE(std::filesystem::exists(ordner.pfad() + "/mikro_roh.wav"));
  EXPECT_TRUE(std::filesystem::exists(ordner.pfad() + "/chunk_me_000.wav"));
}

TEST_F(LiveAufnahmeTest, AtAnotherRateThereIsNoEchoPath) {
  config.echo = true;
  config.sampleRate = 48000.0;
  SimPlattform welt;
  welt.mikrofonGeraet.block(0.1, {48000.0, 2, true}, std::vector<float>(9600, 0.25F));
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_NE(faenger.ausgabe().find(R"("echo":false)"), std::string::npos);
  EXPECT_EQ(faenger.ausgabe().find(R"("event":"echo")"), std::string::npos);
}

// White noise, which is what an echo canceller can be measured with.
std::vector<float> rauschen(std::uint64_t saat, std::size_t n) {
  std::mt19937_64 zufall(saat);
  std::uniform_real_distribution<float> verteilung(-0.3F, 0.3F);
  std::vector<float> samples(n);
  for (float& x : samples)
    x = verteilung(zufall);
  return samples;
}

TEST_F(LiveAufnahmeTest, TheFarEndIsTakenOutOfTheMicrophoneAndTheRawFileKeepsIt) {
  config.echo = true;
  SimPlattform welt;
  const auto fern = rauschen(7, 30 * 16000);
  for (int b = 0; b < 1400; ++b) {
    const double t = 0.1 + b * 0.02;
    const auto von = static_cast<std::size_t>(b) * 320;
    const std::vector<float> laut(fern.begin() + static_cast<std::ptrdiff_t>(von),
                                  fern.begin() + static_cast<std::ptrdiff_t>(von + 320));
    std::vector<float> leck(320);  // 40 ms later and weaker
    for (std::size_t i = 0; i < 320; ++i)
      leck[i] = von + i < 640 ? 0 : 0.4F * fern[von + i - 640];
    welt.systemGeraet.block(t, MONO16, laut);
    welt.mikrofonGeraet.block(t, MONO16, leck);
  }
  welt.signal(28.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);

  const auto zeilen = faenger.ausgabeZeilen();
  EXPECT_NE(zeilen[0].find(R"("mic":true,"system":true,"video":false,"echo":true)"),
            std::string::npos);
  const std::string& echo = zeilen[zeilen.size() - 3];
  EXPECT_EQ(echo.rfind(R"({"event":"echo","verzoegerung_ms":)", 0), 0U) << echo;
  EXPECT_NE(echo.find(R"(,"chunks_ohne_sprache":)"), std::string::npos);
  EXPECT_EQ(echo.back(), '}');
  double verzoegerung = 0;
  EXPECT_EQ(std::sscanf(echo.c_str(), R"({"event":"echo","verzoegerung_ms":%lf)", &verzoegerung),
            1);
  EXPECT_NEAR(verzoegerung, 40, 17);
  EXPECT_NE(zeilen[zeilen.size() - 2].find("zeitachse"), std::string::npos);

  const auto roh = liesWav(ordner.pfad() + "/mikro_roh.wav");
  ASSERT_TRUE(roh);
  ASSERT_EQ(roh->size(), 28U * 16000U);
  const auto energie = [](const std::vector<float>& x, std::size_t von) {
    double summe = 0;
    for (std::size_t i = von; i < x.size(); ++i)
      summe += x[i] * x[i];
    return summe;
  };
  EXPECT_GT(energie(*roh, 20 * 16000), 100 * energie(ausChunks("me"), 20 * 16000));
  EXPECT_GT(energie(ausChunks("them"), 20 * 16000), 100.0);
}

TEST_F(LiveAufnahmeTest, WithoutSystemAudioTheEchoPathRunsWithoutReference) {
  config.echo = true;
  SimPlattform welt;
  welt.systemGeraet.startFehler = Fehler{"sim", 6, "kein Ton"};
  stetig(welt.mikrofonGeraet, 0.1, 4.0);
  welt.signal(4.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_NE(faenger.ausgabe().find(R"("system":false,"video":false,"echo":false)"),
            std::string::npos);
  const std::string text = faenger.ausgabe();
  EXPECT_NE(text.find(R"("event":"echo")"), std::string::npos);
  EXPECT_EQ(text.find(R"("ohne_referenz":0,)"), std::string::npos);
  EXPECT_NE(text.find(R"("sprache_ms":)"), std::string::npos);
  EXPECT_EQ(std::filesystem::file_size(ordner.pfad() + "/mikro_roh.wav"), 44U + 4U * 32000U);
}

TEST_F(LiveAufnahmeTest, WhatIsStillInTheEchoPathAtTheStopComesOut) {
  config.echo = true;
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  stetig(welt.systemGeraet, 0.1, 1.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  // 62 whole blocks, the half one, and 17 that the post-filter is behind.
  EXPECT_NE(faenger.ausgabe().find(R"("bloecke":80,)"), std::string::npos) << faenger.ausgabe();
}

// Which of several ready threads goes on is drawn: the system audio's blocks may all be waiting
// when the stop comes.
TEST_F(LiveAufnahmeTest, WhatWaitsForTheChunksOfTheSystemAudioIsInThem) {
  for (std::uint64_t saat = 1; saat <= 100; ++saat) {
    const TempOrdner eigener;
    config.outDir = eigener.pfad();
    const AusgabeFaenger eigenerFaenger;
    SimPlattform welt(saat);
    for (const double t : {0.1, 0.2, 0.3})
      welt.systemGeraet.block(t, MONO16, aufnahme(t, 1600));
    welt.signal(0.4, SIGINT);
    EXPECT_EQ(laufe(welt), 0);
    ASSERT_EQ(ausChunks("them", eigenerFaenger.ausgabeZeilen()).size(), 6400U) << saat;
  }
}

TEST_F(LiveAufnahmeTest, FoldersOnTheWayAreCreated) {
  config.outDir = ordner.pfad() + "/a/b/c";
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_TRUE(std::filesystem::exists(config.outDir + "/chunk_me_000.wav"));
}

TEST_F(LiveAufnahmeTest, ARawFileThatIsFullIsClosedAndTheRecordingGoesOn) {
#if defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
  GTEST_SKIP() << "encodes 2 GiB, which takes minutes in this build";
#endif
  // A device that comes up for a moment every 500 s: silence in between, 18.8 hours in all.
  SimPlattform welt;
  double t = 0.1;
  for (; t < 68000; t += 500)
    welt.mikrofonGeraet.block(t, MONO16, aufnahme(t, 16000));
  welt.systemGeraet.startFehler = Fehler{"sim", 6, "kein Ton"};
  welt.signal(t, SIGINT);
  FehlerDateien dateien;
  dateien.nurDasEnde(std::size_t{1} << 16U);
  EXPECT_EQ(LiveAufnahme(config, welt, dateien).laufe(), 0);
  const auto zeilen = faenger.ausgabeZeilen();
  EXPECT_EQ(zeilen.back(), R"({"event":"done"})");
  // The last chunk is from after the file's end, at 67108.8 s.
  EXPECT_NE(zeilen[zeilen.size() - 3].find("\"t1\":67501.10"), std::string::npos)
      << zeilen[zeilen.size() - 3];
  const std::string fehler = faenger.fehler();
  const std::string voll = "[hallkorb] mikro_roh.wav: mit 2 GiB voll und abgeschlossen; ";
  EXPECT_NE(fehler.find(voll), std::string::npos);
  EXPECT_EQ(fehler.find(voll), fehler.rfind(voll));
  const std::string roh = ordner.pfad() + "/mikro_roh.wav";
  EXPECT_EQ(std::filesystem::file_size(roh), 44U + 2147483610U);
  std::vector<std::uint8_t> kopf(WAV_KOPF_BYTES);
  std::ifstream(roh, std::ios::binary).read(reinterpret_cast<char*>(kopf.data()), std::ssize(kopf));
  EXPECT_EQ(feld32(kopf, 40), 2147483610U);
}

TEST_F(LiveAufnahmeTest, ARawFileThatCannotBeFinishedIsReported) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  welt.signal(1.001, SIGINT);
  FehlerDateien dateien;
  dateien.scheitere(FehlerDateien::Ruf::schreibenAn, 1, ENOSPC, FehlerDateien::IMMER);
  EXPECT_EQ(LiveAufnahme(config, welt, dateien).laufe(), 0);
  const std::string voll = ": No space left on device\n";
  EXPECT_NE(faenger.fehler().find("[hallkorb] mikro_roh.wav: Schreibfehler" + voll),
            std::string::npos);
  EXPECT_NE(faenger.fehler().find("[hallkorb] mikro_roh.wav: Schliessen von " +
                                  (ordner / "mikro_roh.wav") + voll),
            std::string::npos);
}

// The one test here that takes time: as long as a host has to read what it has not read yet.
TEST_F(LiveAufnahmeTest, AHostThatDoesNotReadCostsItsLinesAndNotTheEnd) {
  Rohr rohre[2] = {Rohr(true), Rohr(true)};
  FileHandleTextOutput* const stroeme[2] = {&FileHandleTextOutput::standardOutput(),
                                            &FileHandleTextOutput::standardError()};
  int vorher[2] = {};
  for (const int i : {0, 1})
    vorher[i] = std::exchange(stroeme[i]->handle, rohre[i].schreiber());
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  for (const int i : {0, 1}) {
    // All lines are given up by now, and the next recording's have no limit yet.
    EXPECT_TRUE(stroeme[i]->leere());
    EXPECT_TRUE(stroeme[i]->write("danach\n"));
    EXPECT_EQ(rohre[i].liesBis("danach\n"), "danach\n");
    EXPECT_TRUE(stroeme[i]->leere());
    stroeme[i]->handle = vorher[i];
  }
  EXPECT_TRUE(std::filesystem::exists(ordner / "chunk_me_000.wav"));
  EXPECT_TRUE(liesWav(ordner / "mikro_roh.wav"));
}

TEST_F(LiveAufnahmeTest, AFileInPlaceOfTheFolderCostsTheFilesAndNotTheRun) {
  config.outDir = ordner.pfad() + "/datei";
  std::ofstream(config.outDir) << "x";
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  welt.signal(1.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(ereignisse(), (std::vector<std::string>{"started", "zeitachse", "done"}));
  EXPECT_NE(faenger.fehler().find("[hallkorb] mikro_roh.wav kann nicht angelegt werden: "),
            std::string::npos);
  EXPECT_NE(faenger.fehler().find("[hallkorb] WAV-Schreibfehler (me #0): "), std::string::npos);
}

TEST_F(LiveAufnahmeTest, ASecondRecordingIntoTheSameFolderIsRefused) {
  const auto ersteEnde = [this] {
    SimPlattform welt;
    stetig(welt.mikrofonGeraet, 0.1, 1.0);
    welt.signal(1.001, SIGINT);
    return laufe(welt);
  };
  const int anderer = ::open(config.outDir.c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(::flock(anderer, LOCK_EX), 0);
  EXPECT_EQ(ersteEnde(), 2);
  const std::string grund =
      "in den Ordner " + config.outDir + " schreibt schon eine andere Aufnahme";
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{R"({"event":"error","message":")" + grund + "\"}"}));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (std::vector<std::string>{"[hallkorb] Aufnahme nicht moeglich: " + grund}));
  EXPECT_TRUE(ordner.namen().empty());

  ::close(anderer);
  EXPECT_EQ(ersteEnde(), 0);
  EXPECT_EQ(ersteEnde(), 0);  // the lock ends with the recording
}

TEST_F(LiveAufnahmeTest, AFolderThatCannotBeLockedIsRecordedInto) {
  for (const auto& [ruf, nummer] : {std::pair{FehlerDateien::Ruf::sperren, ENOLCK},
                                    std::pair{FehlerDateien::Ruf::sperren, EOPNOTSUPP},
                                    std::pair{FehlerDateien::Ruf::oeffnen, EACCES}}) {
    SimPlattform welt;
    stetig(welt.mikrofonGeraet, 0.1, 1.0);
    welt.signal(1.001, SIGINT);
    FehlerDateien dateien;
    dateien.scheitere(ruf, 0, nummer);
    EXPECT_EQ(LiveAufnahme(config, welt, dateien).laufe(), 0);
    EXPECT_TRUE(std::filesystem::exists(config.outDir + "/mikro_roh.wav"));
  }
}

TEST_F(LiveAufnahmeTest, AFolderThatIsExchangedForALinkGetsNothing) {
  config.outDir = ordner / "aufnahme";
  const std::string anderswo = ordner / "anderswo";
  std::filesystem::create_directory(anderswo);
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 20.0);
  welt.am(9.0, [&] {
    std::filesystem::rename(config.outDir, ordner / "weg");
    std::filesystem::create_directory_symlink(anderswo, config.outDir);
  });
  config.maxSeconds = 2.0;
  welt.signal(20.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_TRUE(std::filesystem::is_empty(anderswo));
  const auto anzahl = [this](const std::string& text) {
    const auto zeilen = faenger.fehlerZeilen();
    return std::count_if(zeilen.begin(), zeilen.end(), [&](const std::string& zeile) {
      return zeile.find(text) != std::string::npos;
    });
  };
  EXPECT_EQ(anzahl("[hallkorb] Ordner ausgetauscht: " + config.outDir), 1);
  EXPECT_EQ(anzahl("[hallkorb] mikro_roh.wav: entfernt, verschoben oder ersetzt"), 1);
  EXPECT_GE(anzahl("[hallkorb] WAV-Schreibfehler (me #"), 5);
  // The raw file is the one thing that goes on, in the folder that was chosen.
  const auto roh = liesWav(ordner / "weg/mikro_roh.wav");
  ASSERT_TRUE(roh);
  EXPECT_EQ(roh->size(), 20U * 16000U);
}

// A device that delivers sample by sample, and one that delivers 6 s at a time.
TEST_F(LiveAufnahmeTest, BlocksOfAnyLengthLoseNothing) {
  SimPlattform welt;
  double t = 0.1;
  const auto gib = [&](std::size_t frames) {
    welt.mikrofonGeraet.block(t, {16000.0, 1, true}, aufnahme(t, frames, 16000.0));
    t += static_cast<double>(frames) / 16000.0;
  };
  for (int i = 0; i < 1600; ++i)
    gib(1);
  gib(100'000);
  for (int i = 0; i < 1600; ++i)
    gib(1);
  gib(100'000);
  welt.signal(t + 0.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto strom = ausChunks("me");
  ASSERT_EQ(strom.size(), 1600U + 2U * 101'600U);
  for (std::size_t i = 1600; i < strom.size(); ++i) {
    ASSERT_NEAR(strom[i], klang(static_cast<double>(i) / 16000.0), 2e-4) << i;
  }
  EXPECT_NE(faenger.ausgabe().find(R"("me":{"luecken":0,"luecken_ms":0,"ueberlappungen":0)"),
            std::string::npos);
}

TEST_F(LiveAufnahmeTest, ASourceThatGoesAndComesBackLeavesItsHoleAndItsTwoLines) {
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 4.0);
  stetig(welt.systemGeraet, 0.1, 1.1);
  welt.systemGeraet.unterbrochen(1.2, Fehler{"pipewire", 32, "Verbindung verloren"});
  welt.systemGeraet.fortgesetzt(2.1);
  welt.systemGeraet.verloren(2.2, 3);
  stetig(welt.systemGeraet, 2.1, 4.0);
  welt.signal(4.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_NE(faenger.fehler().find("[hallkorb] SCStream gestoppt: Verbindung verloren\n"
                                  "[hallkorb] System-Audio wieder da\n"),
            std::string::npos);
  EXPECT_NE(faenger.fehler().find("[hallkorb] System-Audio: 3 Bloecke verloren"),
            std::string::npos);
  EXPECT_NE(faenger.ausgabe().find(R"("them":{"luecken":1,"luecken_ms":1000)"), std::string::npos);
  EXPECT_NE(faenger.ausgabe().find(R"("me":{"luecken":0)"), std::string::npos);
  EXPECT_EQ(ausChunks("me").size(), 4U * 16000U);
  EXPECT_EQ(ausChunks("them").size(), 4U * 16000U);
}

TEST_F(LiveAufnahmeTest, AChangeOfFormatLosesNothing) {
  SimPlattform welt;
  double t = 0.1;
  const std::vector<PcmFormat> formate{
      {16000, 1, true}, {48000, 2, true}, {48000, 2, false}, {32000, 6, true}, {16000, 1, true}};
  for (int b = 0; b < 100; ++b) {
    const PcmFormat& f = formate[static_cast<std::size_t>(b / 10) % formate.size()];
    const auto frames = static_cast<std::size_t>(f.rate / 50);
    const auto mono = aufnahme(t, frames, f.rate);
    std::vector<float> samples(frames * f.channels, -0.9F);
    for (std::size_t i = 0; i < frames; ++i)
      samples[f.interleaved ? i * f.channels : i] = mono[i];
    welt.mikrofonGeraet.block(t, f, samples);
    t += 0.02;
  }
  welt.signal(3.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto strom = ausChunks("me");
  ASSERT_EQ(strom.size(), 33600U);
  for (std::size_t i = 1600; i < strom.size(); ++i) {
    ASSERT_NEAR(strom[i], klang(static_cast<double>(i) / 16000.0), 2e-4) << i;
  }
}

// The emulator of a processor adds a line of its own about the signal.
TEST_F(LiveAufnahmeTest, NumbersThatFitNoBufferStopTheProcessWithTheOptionsName) {
#if !defined(HALLKORB_EMULIERT)  // an emulated program cannot be started by another one
  // The recorder starts threads, which a mere fork of this process may not.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
#endif
  struct Fall {
    const char* option;
    double Config::* feld;
    double wert;
    const char* text;
  };
  for (const Fall& f :
       {Fall{"--rate", &Config::sampleRate, NAN, "--rate nan"},
        Fall{"--rate", &Config::sampleRate, INFINITY, "--rate inf"},
        Fall{"--rate", &Config::sampleRate, 1e300, "--rate 1e\\+300"},
        Fall{"--chunk", &Config::chunkSeconds, 1e300, "\\(--chunk\\) von 1e\\+300 s"},
        Fall{"--chunk", &Config::chunkSeconds, NAN, "\\(--chunk\\) von nan s"},
        Fall{"--max", &Config::maxSeconds, -INFINITY, "\\(--max\\) von -inf s"}}) {
    Config kaputt = config;
    kaputt.*f.feld = f.wert;
    EXPECT_EXIT(
        {
          FileHandleTextOutput::standardError().handle = 2;
          SimPlattform welt;
          (void)LiveAufnahme(kaputt, welt).laufe();
        },
        testing::KilledBySignal(SIGABRT),
        std::string("^\\[hallkorb\\] Abbruch: [^\n]*") + f.text + "[^\n]*\n(qemu: [^\n]*\n)?$");
  }
}

TEST_F(LiveAufnahmeTest, ARateWithoutSamplesRecordsNothingAndEnds) {
  for (const double rate : {0.0, -0.5, -5.0, -16000.0, 1e10}) {
    SCOPED_TRACE(rate);
    const AusgabeFaenger eigener;
    config.sampleRate = rate;
    SimPlattform welt;
    if (rate < 1e6) stetig(welt.mikrofonGeraet, 0.1, 1.0);
    welt.signal(1.001, SIGINT);
    EXPECT_EQ(laufe(welt), 0);
    const auto zeilen = eigener.ausgabeZeilen();
    ASSERT_EQ(zeilen.size(), 3U);
    EXPECT_EQ(zeilen[1],
              R"({"event":"zeitachse",)"
              R"("them":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0},)"
              R"("me":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0}})");
    EXPECT_EQ(zeilen[2], R"({"event":"done"})");
  }
}

TEST_F(LiveAufnahmeTest, OddLengthsThatFitDoWhatTheySayAndLoseNothing) {
  for (const double sekunden : {0.0, -1.0, -0.5, 1e-9, 5e14}) {
    for (double Config::* feld : {&Config::chunkSeconds, &Config::maxSeconds}) {
      for (const bool turn : {true, false}) {
        SCOPED_TRACE(testing::Message() << sekunden << (turn ? " turn" : " fixed"));
        const AusgabeFaenger eigener;
        Config seltsam = config;
        seltsam.*feld = sekunden;
        seltsam.turnMode = turn;
        SimPlattform welt;
        stetig(welt.mikrofonGeraet, 0.1, 3.0);
        welt.signal(3.001, SIGINT);
        EXPECT_EQ(LiveAufnahme(seltsam, welt).laufe(), 0);
        const auto zeilen = eigener.ausgabeZeilen();
        ASSERT_GE(zeilen.size(), 4U);
        EXPECT_EQ(zeilen.back(), R"({"event":"done"})");
        double ende = 0;
        ASSERT_EQ(
            std::sscanf(zeilen[zeilen.size() - 3].c_str(),
                        R"({"chunk":%*d,"channel":"me","path":"%*[^"]","t0":%*f,"t1":%lf})", &ende),
            1);
        EXPECT_EQ(ende, 3.0);
      }
    }
  }
}

TEST_F(LiveAufnahmeTest, WhatIsCutBeforeTheReportIsPrintedAfterIt) {
  config.turnMode = false;
  config.chunkSeconds = 0.1;
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 4.0);
  welt.systemGeraet.startDauer = 2.5;
  welt.systemGeraet.startFehler = Fehler{"sim", 1, "kein Ton"};
  welt.signal(4.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto alle = ereignisse();
  ASSERT_GE(alle.size(), 10U);
  EXPECT_EQ(alle[0], "degraded");
  EXPECT_EQ(alle[1], "started");
  EXPECT_EQ(alle[2], "chunk me");
  EXPECT_EQ(ausChunks("me").size(), 4U * 16000U);
}

}  // namespace
}  // namespace hallkorb
