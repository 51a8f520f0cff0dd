// The end of a process whose host keeps standard error open and does not read it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <new>
#include <string>
#include <thread>

#include "base/Abbruch.h"

namespace hallkorb {
namespace {

void fuelleStandardError() {
  std::array<int, 2> rohr{};
  ASSERT_EQ(::pipe(rohr.data()), 0);
  ASSERT_EQ(::fcntl(rohr[1], F_SETFL, O_NONBLOCK), 0);
  const std::string viel(65536, 'x');
  while (::write(rohr[1], viel.data(), viel.size()) > 0) {
  }
  ASSERT_EQ(::fcntl(rohr[1], F_SETFL, 0), 0);
  ASSERT_EQ(::dup2(rohr[1], STDERR_FILENO), STDERR_FILENO);
  ::alarm(60);  // a process that stays alive ends with another signal
}

TEST(AbbruchOhneLeserDeathTest, WithoutMemoryTheProcessEndsAllTheSame) {
  EXPECT_EXIT(
      {
        meldeAbstuerze();
        fuelleStandardError();
        std::thread([] { throw std::bad_alloc(); }).join();
      },
      testing::KilledBySignal(SIGABRT), "");
}

TEST(AbbruchOhneLeserDeathTest, SoItDoesAfterAFaultOfTheProcessor) {
  EXPECT_EXIT(
      {
        std::signal(SIGFPE, SIG_DFL);  // a sanitizer has a handler of its own
        meldeAbstuerze();
        fuelleStandardError();
        std::raise(SIGFPE);
      },
      testing::KilledBySignal(SIGFPE), "");
}

}  // namespace
}  // namespace hallkorb
