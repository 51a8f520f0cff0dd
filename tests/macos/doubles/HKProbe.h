// The class behind a sample buffer. Objective-C++ only.
#pragma once

#import <CoreMedia/CoreMedia.h>
#import <Foundation/Foundation.h>

#include "tests/macos/doubles/Proben.h"

@interface HKTonFormat : NSObject {
 @public
  AudioStreamBasicDescription strom;
  bool beschreibt;
}
@end

@interface HKProbe : NSObject {
 @public
  bool gueltig;
  CMTime zeit;
  HKTonFormat* format;
  hallkorb::ersatz::Ton ton;
  NSArray* anhaenge;
}
@end

namespace hallkorb::ersatz {

[[nodiscard]] inline HKProbe* probeVon(CMSampleBufferRef probe) {
  return (__bridge HKProbe*)probe;
}

}  // namespace hallkorb::ersatz
