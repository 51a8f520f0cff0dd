// The microphone and the system audio of a private daemon with virtual devices: the fixture of the
// tests about devices and about times.
#pragma once

#include <gtest/gtest.h>

#include "platform/linux/audio/PipewireInput.h"
#include "tests/support/Hoerer.h"
#include "tests/support/Tonanlage.h"

namespace hallkorb {

class PipewireInputTest : public testing::Test {
 protected:
  void starteBeide() {
    ASSERT_TRUE(mikrofon_.start(me_).gelungen());
    ASSERT_TRUE(system_.start(them_).gelungen());
  }
  void TearDown() override {
    static_cast<void>(mikrofon_.stop());
    static_cast<void>(system_.stop());
    EXPECT_FALSE(me_.stand().mehrereFaeden);
    EXPECT_FALSE(them_.stand().mehrereFaeden);
  }

  Tonanlage anlage_;
  Hoerer me_;
  Hoerer them_;
  PipewireInput mikrofon_{PipewireQuelle::MIKROFON};
  PipewireInput system_{PipewireQuelle::SYSTEM_AUDIO};
};

}  // namespace hallkorb
