#include "platform/macos/MacHostClock.h"

#import <AVFAudio/AVFAudio.h>
#import <Foundation/Foundation.h>
#include <mach/mach_time.h>

#if !__has_feature(objc_arc)
#error "compile with -fobjc-arc: without it every object here leaks"
#endif

namespace hallkorb {

double MacHostClock::sekunden() const {
  return [AVAudioTime secondsForHostTime:mach_absolute_time()];
}

std::int64_t MacHostClock::unixMs() const {
  @autoreleasepool {
    return static_cast<std::int64_t>([NSDate date].timeIntervalSince1970 * 1000);
  }
}

}  // namespace hallkorb
