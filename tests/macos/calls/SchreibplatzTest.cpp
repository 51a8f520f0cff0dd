// How much a pipe takes at once, as the event queue of macOS answers it.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include "base/FileHandleTextOutput.h"
#include "base/Schreibplatz.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/System.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

constexpr std::size_t ATOMAR = 512;  // what poll(2) promises on macOS
constexpr std::size_t ROHR = 16384;  // what a pipe grows to

std::ptrdiff_t offeneDeskriptoren() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// A pipe and a pair of sockets are asked in the same way.
class SchreibplatzTest : public ErsatzTest, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    ErsatzTest::SetUp();
    int enden[2];
    if (GetParam()) {
      ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, enden), 0);
    } else {
      ASSERT_EQ(::pipe2(enden, O_CLOEXEC), 0);
    }
    leser = enden[0];
    schreiber = enden[1];
    offen_ = offeneDeskriptoren();
  }
  void TearDown() override {
    EXPECT_EQ(offeneDeskriptoren(), offen_);
    schliesseLeser();
    ::close(schreiber);
    ErsatzTest::TearDown();
  }
  void schliesseLeser() {
    if (leser < 0) return;
    ::close(leser);
    leser = -1;
    --offen_;
  }

  int leser = -1;
  int schreiber = -1;

 private:
  std::ptrdiff_t offen_ = 0;
};
INSTANTIATE_TEST_SUITE_P(Alle, SchreibplatzTest, testing::Bool(),
                         [](const auto& i) { return std::string(i.param ? "Steckdose" : "Rohr"); });

TEST_P(SchreibplatzTest, WhatPollPromisesIsNotAskedFor) {
  ersatz::keineEreignisse(EMFILE);
  EXPECT_EQ(schreibplatz(schreiber, ATOMAR), ATOMAR);
}

TEST_P(SchreibplatzTest, ALineThatFitsIsTakenWhole) {
  ersatz::setzeRohrplatz(2000);
  EXPECT_EQ(schreibplatz(schreiber, 1999), 1999U);
  EXPECT_EQ(schreibplatz(schreiber, 2000), 2000U);
}

TEST_P(SchreibplatzTest, ALineThatDoesNotFitWaits) {
  for (const long frei : {1999L, 513L, 512L, 0L, -1L}) {
    ersatz::setzeRohrplatz(frei);
    EXPECT_EQ(schreibplatz(schreiber, 2000), 0U) << frei;
  }
  ersatz::setzeRohrplatz(ROHR - 1);
  EXPECT_EQ(schreibplatz(schreiber, ROHR), 0U);
}

TEST_P(SchreibplatzTest, ALineLongerThanThePipeGoesInParts) {
  ersatz::setzeRohrplatz(ROHR);
  EXPECT_EQ(schreibplatz(schreiber, ROHR + 1), ATOMAR);
  ersatz::setzeRohrplatz(ATOMAR + 1);
  EXPECT_EQ(schreibplatz(schreiber, ROHR + 1), ATOMAR);
  ersatz::setzeRohrplatz(ATOMAR);
  EXPECT_EQ(schreibplatz(schreiber, ROHR + 1), 0U);
}

// It may never answer again, and what waits for that would wait for ever.
TEST_P(SchreibplatzTest, WithoutAnAnswerALineGoesInParts) {
  for (const int nummer : KQUEUE_FEHLER) {
    ersatz::keineEreignisse(nummer);
    EXPECT_EQ(schreibplatz(schreiber, 2000), ATOMAR) << nummer;
  }
  ersatz::keineEreignisse(0);
  for (const int nummer : KEVENT_FEHLER) {
    for (const bool ohneEreignis : {false, true}) {
      ersatz::keineWache(nummer, ohneEreignis);
      EXPECT_EQ(schreibplatz(schreiber, 2000), ATOMAR) << nummer;
      EXPECT_EQ(schreibplatz(schreiber, ROHR + 1), ATOMAR) << nummer;
    }
  }
}

TEST_P(SchreibplatzTest, AFullPipeTakesNothing) {
  ASSERT_EQ(::fcntl(schreiber, F_SETFL, O_NONBLOCK), 0);
  const std::string viel(4096, 'x');
  while (::write(schreiber, viel.data(), viel.size()) > 0) {
  }
  EXPECT_EQ(schreibplatz(schreiber, 1), 0U);
  EXPECT_EQ(schreibplatz(schreiber, 2000), 0U);
}

TEST_P(SchreibplatzTest, AReaderThatIsGoneIsForTheWriteToReport) {
  schliesseLeser();
  EXPECT_EQ(schreibplatz(schreiber, 2000), 2000U);
}

TEST_P(SchreibplatzTest, LinesOfAnyLengthArriveWithAndWithoutAnAnswer) {
  for (const bool ohne : {false, true}) {
    ersatz::keineEreignisse(ohne ? EMFILE : 0);
    std::string soll;
    for (const std::size_t laenge : {10UL, ATOMAR, ATOMAR + 1, 5000UL, ROHR + 1, 200000UL})
      soll += std::string(laenge, 'z') + '\n';
    std::string ist;
    std::thread mitleser([&] {
      std::array<char, 3000> stueck{};
      while (ist.size() < soll.size()) {
        const ssize_t n = ::read(leser, stueck.data(), stueck.size());
        if (n <= 0) break;
        ist.append(stueck.data(), static_cast<std::size_t>(n));
      }
    });
    FileHandleTextOutput ausgabe(schreiber);
    for (std::size_t ab = 0; ab < soll.size();) {
      const std::size_t laenge = soll.find('\n', ab) + 1 - ab;
      EXPECT_TRUE(ausgabe.write(soll.substr(ab, laenge)));
      ab += laenge;
    }
    mitleser.join();
    EXPECT_EQ(ist, soll);
  }
}

using SchreibplatzOhneLeserTest = ErsatzTest;

TEST_F(SchreibplatzOhneLeserTest, FilesAndWhatIsNoneTakeEverything) {
  ersatz::setzeRohrplatz(0);
  const TempOrdner ordner;
  const int datei = ::open((ordner / "ausgabe").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(datei, 0);
  EXPECT_EQ(schreibplatz(datei, 100000), 100000U);
  ::close(datei);
  EXPECT_EQ(schreibplatz(datei, 100000), 100000U);
  EXPECT_EQ(schreibplatz(-1, 100000), 100000U);
}

}  // namespace
}  // namespace hallkorb
