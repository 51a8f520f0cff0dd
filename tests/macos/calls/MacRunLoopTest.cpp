// The main run loop, its signals and the reader's going, run.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/macos/MacRunLoop.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/System.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

class Ende {
 public:
  explicit Ende(int deskriptor) : deskriptor_(deskriptor) {}
  Ende(Ende&& anderes) noexcept : deskriptor_(std::exchange(anderes.deskriptor_, -1)) {}
  Ende(const Ende&) = delete;
  Ende& operator=(const Ende&) = delete;
  Ende& operator=(Ende&&) = delete;
  ~Ende() { schliesse(); }
  void schliesse() {
    if (deskriptor_ >= 0) ::close(std::exchange(deskriptor_, -1));
  }
  [[nodiscard]] int nummer() const { return deskriptor_; }

 private:
  int deskriptor_;
};

struct Paar {
  Ende leser;
  Ende schreiber;
};
Paar rohr() {
  int enden[2];
  EXPECT_EQ(::pipe2(enden, O_CLOEXEC | O_NONBLOCK), 0);
  return {Ende(enden[0]), Ende(enden[1])};
}
Paar steckdose() {
  int enden[2];
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, enden), 0);
  return {Ende(enden[0]), Ende(enden[1])};
}

void fuelle(const Ende& schreiber) {
  const std::array<char, 4096> nichts{};
  while (::write(schreiber.nummer(), nichts.data(), nichts.size()) > 0) {
  }
}

class MacRunLoopTest : public ErsatzTest {
 protected:
  MacRunLoopTest() : schleife_(std::make_unique<MacRunLoop>()) {}
  void TearDown() override {
    leere();  // sources that never ran begin
    schleife_.reset();
    ASSERT_TRUE(ersatz::ruhe());
    leere();  // and end
    ErsatzTest::TearDown();
  }
  // Runs what waits on the main queue.
  static void leere() {
    MacRunLoop andere;
    andere.post([&] { andere.quit(0); });
    EXPECT_EQ(andere.run(), 0);
  }
  MacRunLoop& schleife() { return *schleife_; }
  void schliesse() { schleife_.reset(); }

 private:
  std::unique_ptr<MacRunLoop> schleife_;
};
using MacRunLoopDeathTest = MacRunLoopTest;

// --- Signals ---

TEST_F(MacRunLoopTest, SignalsAreHandledOnTheMainThread) {
  std::thread::id faden;
  schleife().aufSignal(SIGTERM, [&] {
    faden = std::this_thread::get_id();
    schleife().quit(3);
  });
  std::thread absender([] { ::kill(::getpid(), SIGTERM); });
  EXPECT_EQ(schleife().run(), 3);
  EXPECT_EQ(faden, std::this_thread::get_id());
  absender.join();
}

TEST_F(MacRunLoopTest, ASignalThatComesBeforeTheLoopRunsIsKept) {
  schleife().aufSignal(SIGUSR1, [&] { schleife().quit(5); });
  ::raise(SIGUSR1);
  EXPECT_EQ(schleife().run(), 5);
}

TEST_F(MacRunLoopTest, SeveralSignalsAreToldApart) {
  std::string verlauf;
  for (const auto& [nummer, zeichen] : {std::pair{SIGINT, 'i'}, {SIGUSR1, '1'}, {SIGUSR2, '2'}}) {
    schleife().aufSignal(nummer, [this, &verlauf, name = zeichen] {
      verlauf += name;
      if (verlauf == "2") ::raise(SIGINT);
      if (verlauf == "2i") schleife().quit(0);
    });
  }
  ::raise(SIGUSR2);
  schleife().run();
  EXPECT_EQ(verlauf, "2i");
}

TEST_F(MacRunLoopTest, ASignalWhileItIsHandledComesAgain) {
  int gekommen = 0;
  schleife().aufSignal(SIGUSR1, [&] {
    if (++gekommen == 3) {
      schleife().quit(0);
    } else {
      ::raise(SIGUSR1);
    }
  });
  ::raise(SIGUSR1);
  schleife().run();
  EXPECT_EQ(gekommen, 3);
}

// As base/Signalhalt.h does from the program's first instruction on, and as a host may do.
class MacRunLoopGehalten : public MacRunLoopTest {
 protected:
  void SetUp() override {
    MacRunLoopTest::SetUp();
    sigemptyset(&signale_);
    sigaddset(&signale_, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signale_, &bisher_);
  }
  void TearDown() override {
    pthread_sigmask(SIG_SETMASK, &bisher_, nullptr);
    MacRunLoopTest::TearDown();
  }
  static bool gehalten() {
    sigset_t maske;
    pthread_sigmask(SIG_BLOCK, nullptr, &maske);
    return sigismember(&maske, SIGUSR1) == 1;
  }

 private:
  sigset_t signale_{};
  sigset_t bisher_{};
};

TEST_F(MacRunLoopGehalten, ASignalThatWasHeldBackIsHandled) {
  ::raise(SIGUSR1);
  schleife().aufSignal(SIGUSR1, [&] { schleife().quit(5); });
  EXPECT_EQ(schleife().run(), 5);
}

TEST_F(MacRunLoopGehalten, OnceItIsWatchedASignalIsHeldBackNoLonger) {
  ASSERT_TRUE(gehalten());
  schleife().aufSignal(SIGUSR1, [&] { schleife().quit(3); });
  EXPECT_FALSE(gehalten());
  ::raise(SIGUSR1);
  EXPECT_EQ(schleife().run(), 3);
}

class MacRunLoopUebergabe : public MacRunLoopGehalten,
                            public testing::WithParamInterface<ersatz::Signalmoment> {};
INSTANTIATE_TEST_SUITE_P(Momente, MacRunLoopUebergabe,
                         testing::Values(ersatz::Signalmoment::angemeldet,
                                         ersatz::Signalmoment::vorDemIgnorieren));

TEST_P(MacRunLoopUebergabe, ASignalWhileItsSourceBeginsIsHandled) {
  ersatz::im(GetParam(), [haupt = pthread_self()] { pthread_kill(haupt, SIGUSR1); });
  schleife().aufSignal(SIGUSR1, [&] { schleife().quit(4); });
  EXPECT_EQ(schleife().run(), 4);
}

// A shell does so with SIGINT for its background jobs.
TEST_F(MacRunLoopTest, ASignalThatTheParentIgnoresIsSeen) {
  std::signal(SIGHUP, SIG_IGN);
  schleife().aufSignal(SIGHUP, [&] { schleife().quit(6); });
  ::raise(SIGHUP);
  EXPECT_EQ(schleife().run(), 6);
}

// The loop does not wait for ever for the report that the source watches.
TEST_F(MacRunLoopTest, ASignalWhoseWatchIsNeverReportedIsSeenAllTheSame) {
  ersatz::stummeAnmeldung(true);
  schleife().aufSignal(SIGUSR1, [&] { schleife().quit(7); });
  ASSERT_TRUE(ersatz::ruhe());  // it watches
  ::raise(SIGUSR1);
  EXPECT_EQ(schleife().run(), 7);
}

TEST_F(MacRunLoopTest, ASignalAfterTheEndIsIgnored) {
  int gekommen = 0;
  schleife().aufSignal(SIGTERM, [&] { ++gekommen; });
  schleife().post([&] { schleife().quit(0); });
  schleife().run();
  schliesse();
  ::raise(SIGTERM);
  leere();
  EXPECT_EQ(gekommen, 0);
}

TEST_F(MacRunLoopDeathTest, ASignalThatNobodyAskedForEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        schleife().aufSignal(SIGINT, [] {});
        ::raise(SIGQUIT);
      },
      testing::KilledBySignal(SIGQUIT), "");
}

// --- The reader's going ---

class MacRunLoopLeser : public MacRunLoopTest, public testing::WithParamInterface<Paar (*)()> {
 protected:
  Paar paar = GetParam()();
};
INSTANTIATE_TEST_SUITE_P(Alle, MacRunLoopLeser, testing::Values(rohr, steckdose),
                         [](const auto& i) {
                           return std::string(i.index == 0 ? "Rohr" : "Steckdose");
                         });

TEST_P(MacRunLoopLeser, ItsGoingIsNoticedOnceWithoutAWrite) {
  int weg = 0;
  schleife().aufLeserWeg(paar.schreiber.nummer(), [&] {
    ++weg;
    schleife().post([&] { schleife().quit(4); });
  });
  std::thread leser([&] { paar.leser.schliesse(); });
  EXPECT_EQ(schleife().run(), 4);
  leser.join();
  leere();
  EXPECT_EQ(weg, 1);
}

TEST_P(MacRunLoopLeser, AReaderThatWasGoneBeforeIsNoticed) {
  paar.leser.schliesse();
  schleife().aufLeserWeg(paar.schreiber.nummer(), [&] { schleife().quit(7); });
  EXPECT_EQ(schleife().run(), 7);
}

// The event queue reports that there is room again, as it did at the beginning.
TEST_P(MacRunLoopLeser, AReaderThatReadsIsNotGone) {
  bool weg = false;
  schleife().aufLeserWeg(paar.schreiber.nummer(), [&] {
    weg = true;
    schleife().quit(1);
  });
  schleife().post([&] { fuelle(paar.schreiber); });
  std::thread leser([&] {
    std::array<char, 65536> platz;
    while (::read(paar.leser.nummer(), platz.data(), platz.size()) > 0) {
    }
    schleife().post([&] { schleife().quit(0); });
  });
  EXPECT_EQ(schleife().run(), 0);
  leser.join();
  EXPECT_FALSE(weg);
  paar.leser.schliesse();
  EXPECT_EQ(schleife().run(), 1);
}

TEST_F(MacRunLoopTest, SeveralReadersAreWatched) {
  std::string verlauf;
  Paar erstes = rohr();
  Paar zweites = steckdose();
  schleife().aufLeserWeg(erstes.schreiber.nummer(), [&] {
    verlauf += '1';
    schleife().quit(0);
  });
  schleife().aufLeserWeg(zweites.schreiber.nummer(), [&] {
    verlauf += '2';
    erstes.leser.schliesse();
  });
  zweites.leser.schliesse();
  EXPECT_EQ(schleife().run(), 0);
  EXPECT_EQ(verlauf, "21");
}

TEST_F(MacRunLoopTest, FilesAndWhatCannotBeWatchedHaveNoReader) {
  const TempOrdner ordner;
  const Ende datei(::open((ordner / "ausgabe").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const Ende verzeichnis(::open(ordner.pfad().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  bool weg = false;
  for (const int deskriptor : {datei.nummer(), verzeichnis.nummer(), -1})
    schleife().aufLeserWeg(deskriptor, [&] { weg = true; });
  leere();
  EXPECT_EQ(neue("HKQuelle"), 0);
  EXPECT_FALSE(weg);
}

TEST_F(MacRunLoopTest, WithoutAnEventQueueNothingIsWatched) {
  const Paar paar = rohr();
  for (const int nummer : KQUEUE_FEHLER) {
    ersatz::keineEreignisse(nummer);
    schleife().aufLeserWeg(paar.schreiber.nummer(), [] {});
    EXPECT_EQ(neue("HKQuelle"), 0) << nummer;
  }
}

TEST_F(MacRunLoopTest, WhatTheEventQueueRefusesIsNotWatched) {
  const Paar paar = rohr();
  for (const int nummer : KEVENT_FEHLER) {
    ersatz::keineWache(nummer);
    schleife().aufLeserWeg(paar.schreiber.nummer(), [] {});
    EXPECT_EQ(neue("HKQuelle"), 0) << nummer;
  }
}

TEST_P(MacRunLoopLeser, ItsGoingAfterTheLoopIsHandledByNobody) {
  bool weg = false;
  schleife().aufLeserWeg(paar.schreiber.nummer(), [&] { weg = true; });
  leere();  // it watches
  paar.leser.schliesse();
  schliesse();
  ASSERT_TRUE(ersatz::ruhe());
  leere();
  EXPECT_FALSE(weg);
}

// --- Posted work and the end ---

TEST_F(MacRunLoopTest, PostedWorkRunsInItsOrder) {
  std::vector<int> verlauf;
  for (int i = 0; i < 100; ++i)
    schleife().post([&verlauf, i] { verlauf.push_back(i); });
  schleife().post([&] { schleife().quit(0); });
  schleife().run();
  ASSERT_EQ(verlauf.size(), 100U);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(verlauf[static_cast<std::size_t>(i)], i);
}

TEST_F(MacRunLoopTest, WorkIsTakenFromManyThreads) {
  constexpr int JE_FADEN = 250;
  int gelaufen = 0;  // main thread
  std::vector<std::thread> faeden;
  for (int faden = 0; faden < 4; ++faden) {
    faeden.emplace_back([&] {
      for (int i = 0; i < JE_FADEN; ++i) {
        schleife().post([&] {
          if (++gelaufen == 4 * JE_FADEN) schleife().quit(1);
        });
      }
    });
  }
  EXPECT_EQ(schleife().run(), 1);
  EXPECT_EQ(gelaufen, 4 * JE_FADEN);
  for (std::thread& faden : faeden)
    faden.join();
}

TEST_F(MacRunLoopTest, NothingRunsAfterTheHandlerThatQuits) {
  std::string verlauf;
  schleife().post([&] {
    schleife().quit(2);
    verlauf += "a";
  });
  schleife().post([&] { verlauf += "b"; });
  EXPECT_EQ(schleife().run(), 2);
  EXPECT_EQ(verlauf, "a");
  schliesse();  // what is left waits for another run
}

TEST_F(MacRunLoopTest, AnotherThreadCanQuit) {
  std::thread faden([&] { schleife().quit(9); });
  EXPECT_EQ(schleife().run(), 9);
  faden.join();
}

TEST_F(MacRunLoopTest, AQuitBeforeTheLoopRunsEndsItAtOnce) {
  bool gelaufen = false;
  schleife().post([&] { gelaufen = true; });
  schleife().quit(8);
  EXPECT_EQ(schleife().run(), 8);
  EXPECT_FALSE(gelaufen);
  schliesse();
}

// The stop that the first end has left behind must not end the second run.
TEST_F(MacRunLoopTest, ALoopThatHasEndedRunsAgain) {
  schleife().quit(1);
  EXPECT_EQ(schleife().run(), 1);
  schleife().post([&] { schleife().post([&] { schleife().quit(2); }); });
  EXPECT_EQ(schleife().run(), 2);
}

TEST_F(MacRunLoopTest, WorkOfALoopThatIsGoneIsDropped) {
  auto gehalten = std::make_shared<int>(0);
  schleife().post([gehalten] { ++*gehalten; });
  schliesse();
  leere();
  EXPECT_EQ(*gehalten, 0);
  EXPECT_EQ(gehalten.use_count(), 1);
}

}  // namespace
}  // namespace hallkorb
