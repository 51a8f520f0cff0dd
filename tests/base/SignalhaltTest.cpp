// The program's signals before main() and after they are set free.
#include <gtest/gtest.h>

#include <csignal>

#include "base/Signalhalt.h"

namespace hallkorb {
namespace {

struct Masken {
  sigset_t vorher{};
  sigset_t nachher{};
};

sigset_t gesperrt() {
  sigset_t maske;
  pthread_sigmask(SIG_BLOCK, nullptr, &maske);
  return maske;
}

// Before all other tests: they want the signals as they are.
const Masken MASKEN = [] {
  Masken masken;
  masken.vorher = gesperrt();
  gibSignaleFrei();
  masken.nachher = gesperrt();
  return masken;
}();

TEST(SignalhaltTest, WhatEndsAProgramIsHeldBackUntilItIsSetFree) {
  for (const int nummer : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EQ(sigismember(&MASKEN.vorher, nummer), 1) << nummer;
    EXPECT_EQ(sigismember(&MASKEN.nachher, nummer), 0) << nummer;
  }
}

TEST(SignalhaltTest, NoOtherSignalIsHeldBack) {
  for (const int nummer : {SIGABRT, SIGSEGV, SIGPIPE, SIGCHLD, SIGUSR1, SIGQUIT, SIGTSTP})
    EXPECT_EQ(sigismember(&MASKEN.vorher, nummer), sigismember(&MASKEN.nachher, nummer)) << nummer;
}

}  // namespace
}  // namespace hallkorb
