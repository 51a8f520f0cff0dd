// Memory that runs out: the n-th allocation of a recording fails, for every n, alone or with all
// that follow.
//
// The program goes on and loses nothing, or it ends at once with one line that says why; every
// chunk that was announced is whole, and nothing else bears a chunk's name. HALLKORB_LANG=1 tries
// every n, otherwise a few.
//
// Each recording is a process of its own, since most of them end it. The test's own process must
// have no other thread for that, so no recording runs in it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "base/Abbruch.h"
#include "driver/modes/LiveAufnahme.h"
#include "tests/support/Fortschrittszeile.h"
#include "tests/support/Gespraech.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using sim::AufnahmeBefund;

constexpr double ENDE = 3.001;
constexpr std::int64_t SAMPLES = 48000;
constexpr unsigned HOECHSTENS_SEKUNDEN = 120;  // then the child hangs
constexpr std::size_t NIE = static_cast<std::size_t>(-1);

void leiteUm(int deskriptor, const std::string& pfad) {
  const int datei = ::open(pfad.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  ::dup2(datei, deskriptor);
  ::close(datei);
}

// The child: a recording of which the n-th allocation fails. No exception may reach the test
// framework, which would catch it.
[[noreturn]] void nimmAuf(const std::string& ort, std::size_t n, bool immer) noexcept {
  ::setrlimit(RLIMIT_CORE, std::array<rlimit, 1>{{{0, 0}}}.data());
  ::alarm(HOECHSTENS_SEKUNDEN);
  leiteUm(STDOUT_FILENO, ort + "/ausgabe");
  leiteUm(STDERR_FILENO, ort + "/fehler");
  meldeAbstuerze();
  Config config;
  config.outDir = ort + "/ordner";
  config.turnMode = false;
  config.chunkSeconds = 1.0;
  std::optional<sim::SimPlattform> computer(std::in_place);
  sim::SimPlattform& welt = *computer;
  sim::stetig(welt.mikrofonGeraet, 0.1, 4.0, 0.1);
  sim::stetig(welt.systemGeraet, 0.1, 4.0, 0.1);
  welt.bildschirm.windows = {sim::fenster(4, "us.zoom.xos", "Zoom Meeting")};
  welt.signal(ENDE, SIGINT);
  speicherwacht::scheitere(n, immer);
  const int status = LiveAufnahme(config, welt).laufe();
  const std::size_t rufe = speicherwacht::rufe();
  speicherwacht::scheitereNicht();
  computer.reset();  // its threads must be seen to end
  std::ofstream(ort + "/rufe") << rufe;
  ::_exit(status);
}

struct Lauf {
  int ende = 0;  // as of waitpid
  AufnahmeBefund befund;
  std::vector<std::string> fehler;
  std::size_t rufe = 0;
};

Lauf laufe(std::size_t n, bool immer) {
  const TempOrdner ort;
  const pid_t kind = ::fork();
  if (kind == 0) nimmAuf(ort.pfad(), n, immer);
  int ende = 0;
  ::waitpid(kind, &ende, 0);
  std::filesystem::create_directory(ort / "ordner");  // it may have ended before
  const auto fehler = sim::zeilenAus(ort / "fehler");
  std::size_t rufe = 0;
  std::ifstream(ort / "rufe") >> rufe;
  return {ende,
          AufnahmeBefund({ort / "ordner", sim::zeilenAus(ort / "ausgabe"), fehler, 0.1, true}),
          fehler, rufe};
}

struct Summe {
  int zuEnde = 0;       // recordings that went on to their end
  int abgebrochen = 0;  // that ended with their line
  int abgelehnt = 0;    // that were refused before they began
};

void pruefe(const Lauf& lauf, const Lauf& heil, Summe& summe) {
  for (const std::string& mangel : lauf.befund.maengel)
    ADD_FAILURE() << mangel;
  if (WIFEXITED(lauf.ende) && WEXITSTATUS(lauf.ende) == 2) {
    ++summe.abgelehnt;
    EXPECT_FALSE(lauf.fehler.empty());
    return;
  }
  if (WIFEXITED(lauf.ende)) {
    ++summe.zuEnde;
    EXPECT_EQ(WEXITSTATUS(lauf.ende), 0);
    EXPECT_TRUE(lauf.befund.fertig);
    EXPECT_EQ(lauf.befund.unangekuendigt, 0U);
    EXPECT_EQ(lauf.befund.angekuendigt, heil.befund.angekuendigt);
    EXPECT_EQ(lauf.befund.rohLaenge, heil.befund.rohLaenge);
    EXPECT_EQ(lauf.befund.rohStumm, heil.befund.rohStumm);
    return;
  }
  ++summe.abgebrochen;
  EXPECT_EQ(WTERMSIG(lauf.ende), SIGABRT);
  const auto gruende = std::count_if(lauf.fehler.begin(), lauf.fehler.end(), [](const auto& z) {
    return z.starts_with("[hallkorb] Abbruch: ");
  });
  EXPECT_EQ(gruende, 1) << testing::PrintToString(lauf.fehler);
}

class SpeicherfehlerTest : public testing::TestWithParam<bool> {};

TEST_P(SpeicherfehlerTest, TheRecordingGoesOnOrEndsWithItsLineAndWholeFiles) {
  const Lauf heil = laufe(NIE, false);
  ASSERT_TRUE(heil.befund.maengel.empty());
  ASSERT_TRUE(heil.befund.fertig);
  ASSERT_EQ(heil.befund.rohLaenge, SAMPLES);
  ASSERT_GT(heil.rufe, 1000U);
  const std::size_t schritt = std::getenv("HALLKORB_LANG") != nullptr ? 1 : heil.rufe / 50;
  Fortschrittszeile fortschritt(heil.rufe / schritt);
  Summe summe;
  int laeufe = 0;
  for (std::size_t n = 0; n < heil.rufe && !HasFailure(); n += schritt) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    pruefe(laufe(n, GetParam()), heil, summe);
    fortschritt.zeige(static_cast<std::size_t>(++laeufe));
  }
  RecordProperty("laeufe", laeufe);
  RecordProperty("belegungen", static_cast<int>(heil.rufe));
  RecordProperty("zu_ende", summe.zuEnde);
  RecordProperty("abgebrochen", summe.abgebrochen);
  RecordProperty("abgelehnt", summe.abgelehnt);
  std::printf("%zu allocations, %d recordings: %d went on, %d ended with their line, %d refused\n",
              heil.rufe, laeufe, summe.zuEnde, summe.abgebrochen, summe.abgelehnt);
}

INSTANTIATE_TEST_SUITE_P(OneOrAllThatFollow, SpeicherfehlerTest, testing::Bool());

}  // namespace
}  // namespace hallkorb
