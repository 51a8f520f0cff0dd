// The system's audio buffers as blocks.
//
// Objective-C++ only. Any thread.
#pragma once

#import <AVFAudio/AVFAudio.h>
#import <CoreMedia/CoreMedia.h>

#include <optional>

#include "platform/macos/audio/PcmUebersetzer.h"

namespace hallkorb {

// The audio of a sample buffer in a buffer of its own, in the format that it describes; nil if it
// has no audio, or none that can be copied.
[[nodiscard]] AVAudioPCMBuffer* _Nullable toPCMBuffer(CMSampleBufferRef _Nonnull probe);

// A view of the buffer, or a copy in `uebersetzer`; valid for as long as both are not touched.
[[nodiscard]] std::optional<PcmBlock> pcmBlock(AVAudioPCMBuffer* _Nonnull puffer,
                                               std::optional<double> hostTime,
                                               PcmUebersetzer& uebersetzer);

}  // namespace hallkorb
