#include <gtest/gtest.h>
#include <pipewire/pipewire.h>

#include <string>

#include "platform/linux/audio/PipewireFassung.h"

namespace hallkorb {
namespace {

TEST(PipewireFassung, ChangedWith1381) {
  for (const char* alt : {"0.3.65", "0.3.1000", "1.0.5", "1.2.7", "1.3.80"}) {
    EXPECT_STREQ(pipewireFassung(alt).konfiguration, "client-rt.conf") << alt;
    EXPECT_FALSE(pipewireFassung(alt).zaehltFrames) << alt;
  }
  for (const char* neu : {"1.3.81", "1.3.81-12", "1.4.2", "1.10.0", "2.0.0", "10.0.0"}) {
    EXPECT_STREQ(pipewireFassung(neu).konfiguration, "client.conf") << neu;
    EXPECT_TRUE(pipewireFassung(neu).zaehltFrames) << neu;
  }
}

TEST(PipewireFassung, OfAnUnreadableVersionIsTheNewOne) {
  for (const char* fremd : {"", "1", "1.3", "1.3.", "a.b.c", "1-3-80"}) {
    EXPECT_TRUE(pipewireFassung(fremd).zaehltFrames) << fremd;
  }
}

// The headers' version is the library's here: what it calls itself must be understood.
TEST(PipewireFassung, ReadsWhatTheLibraryCallsItself) {
  const bool neu = PW_CHECK_VERSION(1, 3, 81);
  EXPECT_EQ(pipewireFassung(pw_get_library_version()).zaehltFrames, neu)
      << pw_get_library_version();
}

}  // namespace
}  // namespace hallkorb
