// What the stand-ins for audio share. Objective-C++ only.
#pragma once

#import <AVFAudio/AVFAudio.h>

#include "tests/macos/doubles/Ersatz.h"

namespace hallkorb::ersatz {

// Raises the exception by which the audio frameworks refuse a call.
void verlange(bool erfuellt, const char* bedingung);

}  // namespace hallkorb::ersatz
