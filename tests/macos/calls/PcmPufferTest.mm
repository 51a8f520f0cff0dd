// Sample buffers and the engine's buffers as blocks, run.
#import <AVFAudio/AVFAudio.h>

#include <csignal>
#include <limits>
#include <vector>

#include "platform/macos/audio/PcmPuffer.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/Proben.h"
#include "tests/macos/doubles/Wandler.h"

namespace hallkorb {
namespace {

using ersatz::Ton;

CMSampleBufferRef puffer(const ersatz::Probe& probe) {
  return static_cast<CMSampleBufferRef>(const_cast<void*>(probe.get()));
}

class PcmPufferTest : public ErsatzTest {
 protected:
  // The block of a sample buffer, with its samples copied; without any if there is none.
  PcmFormat lies(const Ton& ton) {
    werte.clear();
    @autoreleasepool {
      const auto probe = ersatz::tonprobe(ton);
      AVAudioPCMBuffer* pcm = toPCMBuffer(puffer(probe));
      if (pcm == nil) return {};
      PcmUebersetzer uebersetzer;
      const auto block = pcmBlock(pcm, 1.5, uebersetzer);
      if (!block) return {};
      EXPECT_EQ(block->hostTime, 1.5);
      werte.assign(block->samples.begin(), block->samples.end());
      return block->format;
    }
  }
  bool hatPuffer(const Ton& ton) {
    @autoreleasepool {
      return toPCMBuffer(puffer(ersatz::tonprobe(ton))) != nil;
    }
  }

  const Ton stereo{.kanaele = {{1, 2, 3}, {4, 5, 6}}};
  std::vector<float> werte;
};

TEST_F(PcmPufferTest, ChannelsArriveOneAfterAnother) {
  const PcmFormat format = lies(stereo);
  EXPECT_EQ(format.rate, 48000);
  EXPECT_EQ(format.channels, 2U);
  EXPECT_FALSE(format.interleaved);
  EXPECT_EQ(werte, (std::vector<float>{1, 2, 3, 4, 5, 6}));
}

TEST_F(PcmPufferTest, FramesArriveInterleaved) {
  Ton ton = stereo;
  ton.verschraenkt = true;
  EXPECT_TRUE(lies(ton).interleaved);
  EXPECT_EQ(werte, (std::vector<float>{1, 4, 2, 5, 3, 6}));
}

// What the buffer's memory held before would be recorded otherwise.
TEST_F(PcmPufferTest, DataThatCannotBeCopiedIsNoBlock) {
  Ton ton = stereo;
  // All that are documented for sample buffers, and for a wrong parameter.
  std::vector<long> alle = codes(-12730, -12744);
  alle.insert(alle.end(), {-16750, -16751, -50});
  for (const long status : alle) {
    ton.kopierstatus = static_cast<OSStatus>(status);
    EXPECT_FALSE(hatPuffer(ton)) << status;
  }
}

TEST_F(PcmPufferTest, WhatIsNotDescribedIsNoBlock) {
  Ton ton = stereo;
  ton.mitFormat = false;
  EXPECT_FALSE(hatPuffer(ton));
  ton.mitFormat = true;
  ton.mitStrom = false;
  EXPECT_FALSE(hatPuffer(ton));
  ton.mitStrom = true;
  ton.kanalzahl = 3;  // needs a layout
  EXPECT_FALSE(hatPuffer(ton));
}

TEST_F(PcmPufferTest, NoFramesAreNoBlock) {
  Ton ton = stereo;
  ton.frames = 0;
  EXPECT_FALSE(hatPuffer(ton));
}

TEST_F(PcmPufferTest, WithoutMemoryThereIsNoBlock) {
  ersatz::wandler::nochPuffer(0);
  EXPECT_FALSE(hatPuffer(stereo));
}

using PcmPufferDeathTest = PcmPufferTest;

TEST_F(PcmPufferDeathTest, ALengthThatIsNoneStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Ton ton = stereo;
  for (const long frames : {-1L, std::numeric_limits<long>::max()}) {
    ton.frames = frames;
    EXPECT_EXIT(static_cast<void>(hatPuffer(ton)), testing::KilledBySignal(SIGABRT),
                "Audiopuffer: unmoegliche Laenge");
  }
}

}  // namespace
}  // namespace hallkorb
