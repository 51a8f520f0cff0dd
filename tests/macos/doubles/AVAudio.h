// What the stand-ins for audio share. Objective-C++ only.
#pragma once

#import <AVFAudio/AVFAudio.h>

#include <cstdint>
#include <vector>

#include "tests/macos/doubles/Ersatz.h"

namespace hallkorb::ersatz {

// Raises the exception by which the audio frameworks refuse a call.
void verlange(bool erfuellt, const char* bedingung);

// A channel layout: which of the others counts depends on the tag.
[[nodiscard]] AVAudioChannelLayout* anordnungAus(AudioChannelLayoutTag tag, std::uint32_t bits,
                                                 const std::vector<std::uint32_t>& kanaele);

}  // namespace hallkorb::ersatz
