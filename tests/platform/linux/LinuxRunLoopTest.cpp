#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/Deskriptor.h"
#include "platform/linux/LinuxRunLoop.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

struct Paar {
  Deskriptor leser;
  Deskriptor schreiber;
};

Paar pipe() {
  int enden[2];
  EXPECT_EQ(::pipe2(enden, O_CLOEXEC), 0);
  return {Deskriptor(enden[0]), Deskriptor(enden[1])};
}

Paar unixSocket() {
  int enden[2];
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, enden), 0);
  return {Deskriptor(enden[0]), Deskriptor(enden[1])};
}

Paar tcpSocket() {
  const Deskriptor horcher(::socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in adresse{};
  adresse.sin_family = AF_INET;
  adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* allgemein = reinterpret_cast<sockaddr*>(&adresse);
  socklen_t laenge = sizeof adresse;
  EXPECT_EQ(::bind(horcher.fd(), allgemein, laenge), 0);
  EXPECT_EQ(::listen(horcher.fd(), 1), 0);
  EXPECT_EQ(::getsockname(horcher.fd(), allgemein, &laenge), 0);
  Deskriptor leser(::socket(AF_INET, SOCK_STREAM, 0));
  EXPECT_EQ(::connect(leser.fd(), allgemein, laenge), 0);
  return {std::move(leser), Deskriptor(::accept(horcher.fd(), nullptr, nullptr))};
}

Paar terminal() {
  Deskriptor herr(::posix_openpt(O_RDWR | O_NOCTTY));
  EXPECT_EQ(::grantpt(herr.fd()), 0);
  EXPECT_EQ(::unlockpt(herr.fd()), 0);
  Deskriptor diener(::open(::ptsname(herr.fd()), O_RDWR | O_NOCTTY));
  return {std::move(herr), std::move(diener)};
}

// Lets the loop look at all its events before it ends.
void beendeNachEinerRunde(LinuxRunLoop& schleife, int status) {
  schleife.post(
      [&schleife, status] { schleife.post([&schleife, status] { schleife.quit(status); }); });
}

TEST(LinuxRunLoop, RunsTheSignalsHandlerOnTheMainThread) {
  LinuxRunLoop schleife;
  std::thread::id faden;
  schleife.aufSignal(SIGTERM, [&] {
    faden = std::this_thread::get_id();
    schleife.quit(3);
  });
  std::thread absender([] { ::kill(::getpid(), SIGTERM); });
  EXPECT_EQ(schleife.run(), 3);
  EXPECT_EQ(faden, std::this_thread::get_id());
  absender.join();
}

TEST(LinuxRunLoop, DistinguishesSignals) {
  LinuxRunLoop schleife;
  std::vector<int> angekommen;
  for (const int nummer : {SIGINT, SIGUSR1, SIGUSR2}) {
    schleife.aufSignal(nummer, [&angekommen, nummer] { angekommen.push_back(nummer); });
  }
  ::raise(SIGUSR2);
  ::raise(SIGINT);
  beendeNachEinerRunde(schleife, 0);
  schleife.run();
  EXPECT_EQ(angekommen, (std::vector<int>{SIGINT, SIGUSR2}));  // by number
}

TEST(LinuxRunLoop, SeesASignalThatWasBlockedAndCameBefore) {
  sigset_t menge;
  sigemptyset(&menge);
  sigaddset(&menge, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &menge, nullptr);
  ::raise(SIGUSR1);
  LinuxRunLoop schleife;
  schleife.aufSignal(SIGUSR1, [&] { schleife.quit(5); });
  EXPECT_EQ(schleife.run(), 5);
}

TEST(LinuxRunLoop, SeesASignalThatTheParentProcessIgnores) {
  std::signal(SIGUSR1, SIG_IGN);  // as a shell does with SIGINT for its background jobs
  LinuxRunLoop schleife;
  schleife.aufSignal(SIGUSR1, [&] { schleife.quit(6); });
  std::thread absender([] { ::kill(::getpid(), SIGUSR1); });
  EXPECT_EQ(schleife.run(), 6);
  absender.join();
  std::signal(SIGUSR1, SIG_DFL);
}

TEST(LinuxRunLoop, RunsPostedWorkInOrder) {
  LinuxRunLoop schleife;
  std::vector<int> reihenfolge;
  for (int i = 0; i < 100; ++i)
    schleife.post([&, i] { reihenfolge.push_back(i); });
  schleife.post([&] { schleife.quit(0); });
  schleife.run();
  ASSERT_EQ(reihenfolge.size(), 100U);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(reihenfolge[static_cast<std::size_t>(i)], i);
}

TEST(LinuxRunLoop, TakesWorkFromManyThreads) {
  LinuxRunLoop schleife;
  int gelaufen = 0;
  std::vector<std::thread> faeden;
  faeden.reserve(8);
  for (int faden = 0; faden < 4; ++faden) {
    faeden.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        schleife.post([&] {
          if (++gelaufen == 2000) schleife.quit(1);
        });
      }
    });
  }
  EXPECT_EQ(schleife.run(), 1);
  EXPECT_EQ(gelaufen, 2000);
  for (std::thread& faden : faeden)
    faden.join();
}

TEST(LinuxRunLoop, EndsAfterTheHandlerThatQuits) {
  LinuxRunLoop schleife;
  std::string verlauf;
  schleife.post([&] {
    schleife.quit(2);
    verlauf += "zu Ende;";
  });
  schleife.post([&] { verlauf += "danach"; });
  EXPECT_EQ(schleife.run(), 2);
  EXPECT_EQ(verlauf, "zu Ende;");
}

TEST(LinuxRunLoop, QuitsFromAnotherThreadAndBeforeItRuns) {
  LinuxRunLoop schleife;
  std::thread anderer([&] { schleife.quit(4); });
  EXPECT_EQ(schleife.run(), 4);
  anderer.join();
  schleife.quit(7);
  EXPECT_EQ(schleife.run(), 7);
}

class LeserWeg : public testing::TestWithParam<Paar (*)()> {};

TEST_P(LeserWeg, IsNoticedOnceWithoutAWrite) {
  Paar paar = GetParam()();
  LinuxRunLoop schleife;
  int gemeldet = 0;
  schleife.aufLeserWeg(paar.schreiber.fd(), [&] {
    ++gemeldet;
    beendeNachEinerRunde(schleife, 9);
  });
  std::thread leser([&] { paar.leser = Deskriptor(); });
  EXPECT_EQ(schleife.run(), 9);
  EXPECT_EQ(gemeldet, 1);
  leser.join();
}

TEST_P(LeserWeg, IsNoticedWhenItWasBefore) {
  Paar paar = GetParam()();
  paar.leser = Deskriptor();
  LinuxRunLoop schleife;
  schleife.aufLeserWeg(paar.schreiber.fd(), [&] { schleife.quit(8); });
  EXPECT_EQ(schleife.run(), 8);
}

TEST_P(LeserWeg, IsNotCalledWhileTheReaderIsThere) {
  const Paar paar = GetParam()();
  LinuxRunLoop schleife;
  bool gemeldet = false;
  schleife.aufLeserWeg(paar.schreiber.fd(), [&] { gemeldet = true; });
  beendeNachEinerRunde(schleife, 0);
  schleife.run();
  EXPECT_FALSE(gemeldet);
}

INSTANTIATE_TEST_SUITE_P(Kinds, LeserWeg,
                         testing::Values(&pipe, &unixSocket, &tcpSocket, &terminal));

TEST(LinuxRunLoop, AReaderWhoOnlySendsNothingMoreIsStillThere) {
  const Paar paar = unixSocket();
  ::shutdown(paar.leser.fd(), SHUT_WR);
  LinuxRunLoop schleife;
  bool gemeldet = false;
  schleife.aufLeserWeg(paar.schreiber.fd(), [&] { gemeldet = true; });
  beendeNachEinerRunde(schleife, 0);
  schleife.run();
  EXPECT_FALSE(gemeldet);
}

TEST(LinuxRunLoop, AFullPipeHasAReader) {
  const Paar paar = pipe();
  ::fcntl(paar.schreiber.fd(), F_SETFL, O_NONBLOCK);
  const std::string fuellung(4096, 'x');
  while (::write(paar.schreiber.fd(), fuellung.data(), fuellung.size()) > 0) {
  }
  LinuxRunLoop schleife;
  bool gemeldet = false;
  schleife.aufLeserWeg(paar.schreiber.fd(), [&] { gemeldet = true; });
  beendeNachEinerRunde(schleife, 0);
  schleife.run();
  EXPECT_FALSE(gemeldet);
}

TEST(LinuxRunLoop, FilesAndClosedDescriptorsHaveNoReader) {
  const TempOrdner ordner;
  const Deskriptor datei(::open((ordner.pfad() + "/datei").c_str(), O_WRONLY | O_CREAT, 0600));
  const Deskriptor nichts(::open("/dev/null", O_WRONLY));
  int geschlossen = -1;
  {
    const Paar paar = pipe();
    geschlossen = paar.schreiber.fd();
  }
  LinuxRunLoop schleife;
  bool gemeldet = false;
  for (const int fd : {datei.fd(), nichts.fd(), geschlossen}) {
    schleife.aufLeserWeg(fd, [&] { gemeldet = true; });
  }
  beendeNachEinerRunde(schleife, 0);
  schleife.run();
  EXPECT_FALSE(gemeldet);
}

}  // namespace
}  // namespace hallkorb
