// How threads of our own begin on macOS, which lets each one name only itself.
#include <pthread.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#include "base/Faden.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/doubles/System.h"

namespace hallkorb {
namespace {

std::string eigenerName() {
  std::array<char, 64> name{};
  EXPECT_EQ(::pthread_getname_np(::pthread_self(), name.data(), name.size()), 0);
  return name.data();
}

bool gesperrt(int signal) {
  sigset_t maske;
  EXPECT_EQ(::pthread_sigmask(SIG_BLOCK, nullptr, &maske), 0);
  return sigismember(&maske, signal) == 1;
}

using FadenTest = ErsatzTest;

TEST_F(FadenTest, IsNamedByTheFirst15Characters) {
  const std::string vorher = eigenerName();
  std::string kurz;
  std::string lang;
  auto erster = neuerFaden("hk-ton", [&] { kurz = eigenerName(); });
  auto zweiter = neuerFaden("hk-0123456789abcdef", [&] { lang = eigenerName(); });
  ASSERT_TRUE(erster && zweiter);
  erster->join();
  zweiter->join();
  EXPECT_EQ(kurz, "hk-ton");
  EXPECT_EQ(lang, "hk-0123456789ab");
  EXPECT_EQ(eigenerName(), vorher);
}

// In a debugger it is harder to find then, and that is all.
TEST_F(FadenTest, WithoutANameItWorksAllTheSame) {
  ersatz::keinFadenname(EINVAL);
  bool signale = false;
  std::string name;
  auto faden = neuerFaden("hk-ton", [&] {
    signale = gesperrt(SIGINT);
    name = eigenerName();
  });
  ASSERT_TRUE(faden);
  faden->join();
  EXPECT_TRUE(signale);
  EXPECT_NE(name, "hk-ton");
}

TEST_F(FadenTest, TakesNoSignalButThoseOfItsOwnFaults) {
  auto faden = neuerFaden("hk-ton", [] {
    for (const int fremdes : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGUSR1, SIGCHLD})
      EXPECT_TRUE(gesperrt(fremdes)) << fremdes;
    for (const int eigenes : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
      EXPECT_FALSE(gesperrt(eigenes)) << eigenes;
  });
  ASSERT_TRUE(faden);
  faden->join();
  EXPECT_FALSE(gesperrt(SIGUSR1));
}

}  // namespace
}  // namespace hallkorb
