// Threads as Linux shows them.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Faden.h"

namespace hallkorb {
namespace {

struct Gesehen {
  std::string name;
  sigset_t gesperrt{};
};

Gesehen seheVonInnen(const std::string& name) {
  Gesehen gesehen;
  auto faden = neuerFaden(name, [&] {
    std::array<char, 64> platz{};
    EXPECT_EQ(::pthread_getname_np(::pthread_self(), platz.data(), platz.size()), 0);
    gesehen.name = platz.data();
    EXPECT_EQ(::pthread_sigmask(SIG_BLOCK, nullptr, &gesehen.gesperrt), 0);
  });
  EXPECT_TRUE(faden);
  if (faden) faden->join();
  return gesehen;
}

TEST(FadenTest, ADebuggerSeesAsMuchOfTheNameAsFits) {
  EXPECT_EQ(seheVonInnen("echo").name, "echo");
  EXPECT_EQ(seheVonInnen("genau 15 lang ist").name, "genau 15 lang i");
}

TEST(FadenTest, SignalsAreForTheMainThreadButForThoseOfItsOwnFaults) {
  const sigset_t gesperrt = seheVonInnen("faden").gesperrt;
  for (const int nummer : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGUSR1, SIGCHLD})
    EXPECT_EQ(sigismember(&gesperrt, nummer), 1) << nummer;
  for (const int nummer : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
    EXPECT_EQ(sigismember(&gesperrt, nummer), 0) << nummer;
}

#if !defined(HALLKORB_EMULIERT)  // an emulator makes other errors of the system's limits

// Exits with 0 if whoever asks for a thread learns that there is none.
[[noreturn]] void ohneWeitereFaeden() {
  // The limit does not hold for root.
  if (::geteuid() == 0 && ::setuid(65534) != 0) std::_Exit(2);
  if (!FileHandleTextOutput::standardOutput().starteFaden()) std::_Exit(7);
  const rlimit keine{0, 0};
  if (::setrlimit(RLIMIT_NPROC, &keine) != 0) std::_Exit(3);
  if (neuerFaden("noch einer", [] {})) std::_Exit(4);
  if (starteAusgabeFaeden()) std::_Exit(5);  // one stream has its thread, one gets none
  // It goes on without.
  FileHandleTextOutput& ausgabe = FileHandleTextOutput::standardError();
  std::_Exit(ausgabe.write("geht weiter\n") && ausgabe.leere() ? 0 : 6);
}

TEST(FadenDeathTest, WithoutAThreadLeftTheCallerLearnsItAndGoesOn) {
  EXPECT_EXIT(ohneWeitereFaeden(), testing::ExitedWithCode(0), "^geht weiter\n$");
  EXPECT_EQ(keinFaden(), (Fehler{"posix", EAGAIN, "das System gibt keinen Thread mehr her"}));
}

#endif

}  // namespace
}  // namespace hallkorb
