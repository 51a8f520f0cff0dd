// That the stand-ins notice what they are there to notice, and play the platform as it is.
#include <dispatch/dispatch.h>
#import <Foundation/Foundation.h>

#include <string>

#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/System.h"
#include "tests/macos/doubles/Verfuegbar.h"

namespace hallkorb {
namespace {

class ErsatzPruefungTest : public ErsatzTest {};
using ErsatzPruefungDeathTest = ErsatzPruefungTest;

TEST_F(ErsatzPruefungTest, ALeakedObjectIsCounted) {
  const auto vorher = laufzeit::lebende();
  const void* geleckt = nullptr;
  @autoreleasepool {
    geleckt = (__bridge_retained const void*)[[NSException alloc] init];
  }
  EXPECT_EQ(laufzeit::unterschied(vorher, laufzeit::lebende()), " NSException +1");
  CFRelease(geleckt);
  EXPECT_EQ(laufzeit::unterschied(vorher, laufzeit::lebende()), "");
}

TEST_F(ErsatzPruefungTest, ALeakedBlockIsCounted) {
  const long vorher = laufzeit::bloecke();
  int gerufen = 0;
  int* zaehler = &gerufen;
  void (^block)(void) = ^{
    ++*zaehler;
  };
  const void* geleckt = (__bridge_retained const void*)block;
  block();
  block = nil;
  EXPECT_EQ(laufzeit::bloecke(), vorher + 1);
  CFRelease(geleckt);
  EXPECT_EQ(laufzeit::bloecke(), vorher);
  EXPECT_EQ(gerufen, 1);
}

TEST_F(ErsatzPruefungTest, AvailabilityFollowsTheSystemsVersion) {
  const auto neu = [] {
    if (@available(macOS 14.0, *)) return true;
    return false;
  };
  EXPECT_TRUE(neu());
  ersatz::setzeSystem(13, 6);
  EXPECT_FALSE(neu());
  ersatz::setzeSystem(14, 0);
  EXPECT_TRUE(neu());
}

TEST_F(ErsatzPruefungTest, BoolIsOfTheKindThatTheBuildAsksFor) {
  EXPECT_EQ((std::is_same_v<BOOL, bool>), HALLKORB_MACOS_BOOL != 0);
}

TEST_F(ErsatzPruefungTest, AnExceptionPassesThroughFramesOfCppAndReleasesTheirObjects) {
  const auto vorher = laufzeit::lebende();
  std::string name;
  @autoreleasepool {
    @try {
      const std::string lang(100, 'x');
      NSString* gehalten = ersatz::textAus(lang);
      if (gehalten.length == 100) ersatz::wirf("Name", "Grund");
    } @catch (NSException* ausnahme) {
      name = ausnahme.name.UTF8String;
    }
  }
  EXPECT_EQ(name, "Name");
  EXPECT_EQ(laufzeit::unterschied(vorher, laufzeit::lebende()), "");
}

TEST_F(ErsatzPruefungDeathTest, ReleasingTwiceEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto doppelt = [] {
    const void* objekt = (__bridge_retained const void*)[[NSException alloc] init];
    CFRelease(objekt);
    CFRelease(objekt);
  };
  EXPECT_DEATH(doppelt(), "totes Objekt|heap-use-after-free");
}

TEST_F(ErsatzPruefungDeathTest, AMessageToADeadObjectEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto spaet = [] {
    const void* objekt = (__bridge_retained const void*)[[NSException alloc] init];
    __unsafe_unretained NSException* tot = (__bridge NSException*)objekt;
    CFRelease(objekt);
    static_cast<void>([tot hash]);
  };
  EXPECT_DEATH(spaet(), "totes Objekt|heap-use-after-free");
}

TEST_F(ErsatzPruefungDeathTest, WaitingForOnesOwnQueueEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto verklemmt = [] {
    dispatch_queue_t queue = dispatch_queue_create("eigene", DISPATCH_QUEUE_SERIAL);
    dispatch_sync(queue, ^{
      dispatch_sync(queue, ^{
                    });
    });
  };
  EXPECT_DEATH(verklemmt(), "dispatch_sync on the queue that runs it");
}

}  // namespace
}  // namespace hallkorb
