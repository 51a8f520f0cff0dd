#include <gtest/gtest.h>

#include <csignal>
#include <new>
#include <stdexcept>
#include <thread>

#include "base/Abbruch.h"

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
