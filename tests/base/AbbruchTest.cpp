#include <gtest/gtest.h>

#include <csignal>
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

}  // namespace
}  // namespace hallkorb
