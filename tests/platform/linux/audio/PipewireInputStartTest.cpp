// How a start ends when something is missing, and what stop() does to it. Against the real daemon.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/linux/audio/PipewireInput.h"
#include "tests/support/Hoerer.h"
#include "tests/support/Tonanlage.h"
#include "tests/support/Warten.h"

namespace hallkorb {
namespace {

using Geraete = Tonanlage::Geraete;

double sekundenFuer(const std::function<void()>& arbeit) {
  const auto anfang = std::chrono::steady_clock::now();
  arbeit();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - anfang).count();
}

// The limit of a start is 8 s; the rest is for a computer that is busy with other tests.
constexpr double GEDULD = 30.0;

class PipewireInputStart : public testing::Test {
 protected:
  // Starts an input of this kind, without hanging; its error's description, or "ok".
  std::string starte(PipewireQuelle quelle) {
    Hoerer hoerer;
    PipewireInput input(quelle);
    Ergebnis ergebnis;
    EXPECT_LT(sekundenFuer([&] { ergebnis = input.start(hoerer); }), GEDULD);
    EXPECT_LT(sekundenFuer([&] { static_cast<void>(input.stop()); }), GEDULD);
    const Hoerer::Stand stand = hoerer.stand();
    EXPECT_EQ(ergebnis.gescheitert(), stand.bloecke.empty());
    EXPECT_TRUE(stand.ohneAussetzer().empty());
    return ergebnis.gescheitert() ? ergebnis.fehler().description : "ok";
  }
  std::string mikrofon() { return starte(PipewireQuelle::MIKROFON); }
  std::string systemAudio() { return starte(PipewireQuelle::SYSTEM_AUDIO); }

  Tonanlage anlage_;
};

constexpr const char* KEIN_DAEMON =
    "PipeWire ist nicht erreichbar; laeuft der Audiodienst in dieser Sitzung? "
    "(PulseAudio allein genuegt nicht)";
constexpr const char* KEINE_VERWALTUNG =
    "PipeWire laeuft ohne Sitzungsverwaltung (etwa WirePlumber), die Geraete verbindet";
constexpr const char* VIELLEICHT_PULSEAUDIO =
    " (falls PulseAudio die Geraete hat: PulseAudio allein genuegt nicht)";
constexpr const char* KEIN_MIKROFON = "kein Mikrofon gefunden";
constexpr const char* NUR_MONITOR =
    "kein Mikrofon gefunden; die Standard-Eingabe ist nur der Mitschnitt des Ausgabegeraets";
constexpr const char* KEINE_AUSGABE =
    "kein Ausgabegeraet gefunden, dessen Ton sich aufnehmen liesse";

TEST_F(PipewireInputStart, SucceedsWithBothDevices) {
  anlage_.starte();
  EXPECT_EQ(mikrofon(), "ok");
  EXPECT_EQ(systemAudio(), "ok");
}

TEST_F(PipewireInputStart, FailsWithoutADaemon) {
  EXPECT_EQ(mikrofon(), KEIN_DAEMON);
  EXPECT_EQ(systemAudio(), KEIN_DAEMON);
}

TEST_F(PipewireInputStart, FailsWithoutARuntimeFolder) {
  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(mikrofon(), KEIN_DAEMON);
  EXPECT_EQ(systemAudio(), KEIN_DAEMON);
}

TEST_F(PipewireInputStart, FailsWithoutASessionManager) {
  anlage_.starteDaemon();
  EXPECT_EQ(mikrofon(), KEINE_VERWALTUNG);
  EXPECT_EQ(systemAudio(), KEINE_VERWALTUNG);
}

TEST_F(PipewireInputStart, FailsWithoutAnyDevice) {
  anlage_.starte(Geraete::KEINE);
  EXPECT_EQ(mikrofon(), KEIN_MIKROFON);
  EXPECT_EQ(systemAudio(), KEINE_AUSGABE);
  // The devices may be another server's.
  const std::string pulse = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/pulse";
  std::filesystem::create_directory(pulse);
  std::ofstream(pulse + "/native").close();
  EXPECT_EQ(mikrofon(), std::string(KEIN_MIKROFON) + VIELLEICHT_PULSEAUDIO);
  EXPECT_EQ(systemAudio(), std::string(KEINE_AUSGABE) + VIELLEICHT_PULSEAUDIO);
}

TEST_F(PipewireInputStart, TakesASinksMonitorForNoMicrophone) {
  anlage_.starte(Geraete::NUR_LAUTSPRECHER);
  ASSERT_TRUE(warteBis([&] { return anlage_.standard("source") == "speakers"; }));
  EXPECT_EQ(mikrofon(), NUR_MONITOR);
  EXPECT_EQ(systemAudio(), "ok");
}

TEST_F(PipewireInputStart, TakesAMicrophoneForNoSystemAudio) {
  anlage_.starte(Geraete::NUR_MIKROFON);
  EXPECT_EQ(mikrofon(), "ok");
  EXPECT_EQ(systemAudio(), KEINE_AUSGABE);
}

TEST_F(PipewireInputStart, FailsWhenTheDaemonDoesNotAnswer) {
  anlage_.starte();
  anlage_.signalAnDaemon(SIGSTOP);
  EXPECT_EQ(mikrofon(), "PipeWire antwortet nicht");
  anlage_.signalAnDaemon(SIGCONT);
  EXPECT_EQ(mikrofon(), "ok");
}

TEST_F(PipewireInputStart, WaitsForADeviceThatIsJustComing) {
  anlage_.starte(Geraete::NUR_LAUTSPRECHER);
  for (int versuch = 0; versuch < 5; ++versuch) {
    anlage_.warteStandard("source", "speakers");
    std::string ergebnis;
    double dauer = 0.0;
    std::thread start;
    dauer = sekundenFuer([&] {
      start = std::thread([&] { ergebnis = mikrofon(); });
      anlage_.neuesGeraet("mic", "Audio/Source/Virtual", "MONO", 2500);
      EXPECT_NO_THROW(anlage_.warteStandard("source", "mic"));
    });
    start.join();
    if (ergebnis == "ok") return;
    // On a busy machine the device itself may come later than a start waits for it.
    EXPECT_GE(dauer, 0.5) << ergebnis;
    anlage_.entferne("mic");
  }
  GTEST_SKIP() << "the device never came within half a second";
}

TEST_F(PipewireInputStart, IsCancelledByAStop) {
  anlage_.starteDaemon();  // nobody connects anything: the start would wait
  for (const PipewireQuelle quelle : {PipewireQuelle::MIKROFON, PipewireQuelle::SYSTEM_AUDIO}) {
    // Left alone it fails for want of a session manager, which may come before a stop that a busy
    // machine delays.
    std::string grund = KEINE_VERWALTUNG;
    for (int versuch = 0; versuch < 5 && grund == KEINE_VERWALTUNG; ++versuch) {
      Hoerer hoerer;
      PipewireInput input(quelle);
      Ergebnis ergebnis;
      std::thread start([&] { ergebnis = input.start(hoerer); });
      static_cast<void>(input.stop());
      start.join();
      ASSERT_TRUE(ergebnis.gescheitert());
      grund = ergebnis.fehler().description;
    }
    EXPECT_EQ(grund, "der Start wurde abgebrochen");
  }
}

TEST_F(PipewireInputStart, IsImpossibleAfterAStopAndAfterAStart) {
  anlage_.starte();
  Hoerer hoerer;
  PipewireInput gestoppt(PipewireQuelle::MIKROFON);
  EXPECT_TRUE(gestoppt.stop().gelungen());
  EXPECT_TRUE(gestoppt.start(hoerer).gescheitert());
  PipewireInput gestartet(PipewireQuelle::MIKROFON);
  EXPECT_TRUE(gestartet.start(hoerer).gelungen());
  EXPECT_TRUE(gestartet.start(hoerer).gescheitert());
  EXPECT_TRUE(gestartet.stop().gelungen());
  EXPECT_TRUE(gestartet.stop().gelungen());
  EXPECT_TRUE(gestartet.start(hoerer).gescheitert());
}

}  // namespace
}  // namespace hallkorb
