#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>
#include <thread>

#include "base/Abbruch.h"
#include "base/Ausgabe.h"
#include "tests/support/Rohr.h"

namespace hallkorb {
namespace {

// An emulator of the processor adds a line of its own about the signal.
TEST(AbbruchDeathTest, WritesTheReasonInOneLineFirst) {
  EXPECT_EXIT(abbruch("Probe"), testing::KilledBySignal(SIGABRT),
              "^\\[hallkorb\\] Abbruch: Probe\n(qemu: [^\n]*\n)?$");
}

TEST(AbbruchDeathTest, AnUnhandledExceptionIsNamed) {
  EXPECT_EXIT(
      {
        meldeAbstuerze();
        std::thread([] { throw std::length_error("zu lang"); }).join();
      },
      testing::KilledBySignal(SIGABRT), "\\[hallkorb\\] Abbruch: unbehandelte Ausnahme: zu lang\n");
}

TEST(AbbruchDeathTest, SoIsOneThatSaysNothingOfItself) {
  EXPECT_EXIT(
      {
        meldeAbstuerze();
        std::thread([] { throw 7; }).join();
      },
      testing::KilledBySignal(SIGABRT), "\\[hallkorb\\] Abbruch: unbehandelte Ausnahme\n");
}

TEST(AbbruchDeathTest, AnEndWithoutAnExceptionIsReported) {
  EXPECT_EXIT(
      {
        meldeAbstuerze();
        std::terminate();
      },
      testing::KilledBySignal(SIGABRT), "\\[hallkorb\\] Abbruch: unerwartetes Ende\n");
}

constexpr int ABSTUERZE[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

TEST(AbbruchDeathTest, AProcessorFaultIsReportedAndEndsTheProcessAsItWould) {
  for (const int nummer : ABSTUERZE) {
    EXPECT_EXIT(
        {
          // A sanitizer has handlers of its own.
          for (const int jede : ABSTUERZE)
            std::signal(jede, SIG_DFL);
          meldeAbstuerze();
          std::raise(nummer);
        },
        testing::KilledBySignal(nummer),
        "\\[hallkorb\\] Abbruch: Absturz \\(Speicherzugriff oder Rechenfehler\\)\n");
  }
}

TEST(AbbruchDeathTest, AHandlerThatIsAlreadyThereStays) {
  EXPECT_EXIT(
      {
        std::signal(SIGILL, [](int) { std::_Exit(7); });
        meldeAbstuerze();
        std::raise(SIGILL);
      },
      testing::ExitedWithCode(7), "^$");
}

TEST(AbbruchDeathTest, AHostThatDoesNotReadKeepsNoProcessAlive) {
  const Rohr rohr(true);
  EXPECT_EXIT(
      {
        FileHandleTextOutput::standardError().handle = rohr.schreiber();
        abbruch("Probe");
      },
      testing::KilledBySignal(SIGABRT), "");
}

TEST(AbbruchDeathTest, WithoutMemoryTheLineNeedsNone) {
  EXPECT_EXIT(
      {
        meldeAbstuerze();
        std::thread([] { throw std::bad_alloc(); }).join();
      },
      testing::KilledBySignal(SIGABRT), "\\[hallkorb\\] Abbruch: kein Speicher mehr\n");
}

}  // namespace
}  // namespace hallkorb
