// From the system's description of audio buffers to a PcmBlock.
//
// The engine and the capture service both promise 32-bit floats, but describe each buffer, and the
// description counts: rate, channels, sample type and layout are taken from it, block by block. If
// the samples lie as a PcmBlock needs them, it is a view; otherwise they are copied.
//
// The structures repeat those of CoreAudioTypes, so that this compiles everywhere. One thread at a
// time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/PcmBlock.h"

namespace hallkorb {

// AudioStreamBasicDescription, as far as it matters here.
struct TonBeschreibung {
  double rate = 0.0;           // mSampleRate
  std::uint32_t formatId = 0;  // mFormatID
  std::uint32_t flags = 0;     // mFormatFlags
  std::uint32_t kanaele = 0;   // mChannelsPerFrame
  std::uint32_t bits = 0;      // mBitsPerChannel
  std::uint32_t layout = 0;    // layoutNummer(); 0 without a layout
};

// A number that tells a channel layout from others: its tag, unless that is one of the two that say
// that the layout is described by bits or channel by channel. Then what it describes counts,
// without the places in space.
[[nodiscard]] std::uint32_t layoutNummer(std::uint32_t tag, std::uint32_t bits,
                                         std::span<const std::uint32_t> kanaele);

// AudioBuffer: interleaved samples of all channels, or those of one channel.
struct TonPuffer {
  const void* daten = nullptr;
  std::uint32_t bytes = 0;
};

// The number of frames that a system's buffer declares; nullopt if it is empty. A number that no
// buffer can have stops the process: such a buffer cannot be read safely.
[[nodiscard]] std::optional<std::uint32_t> framesAus(std::int64_t anzahl);

class PcmUebersetzer {
 public:
  // `frames` frames out of `puffer`. The block is valid until the next call, and no longer than the
  // buffers are. nullopt unless the description is of native linear PCM in 16 or 32-bit integers or
  // 32 or 64-bit floats, with channels and enough buffers of sufficient length.
  [[nodiscard]] std::optional<PcmBlock> uebersetze(const TonBeschreibung& beschreibung,
                                                   std::span<const TonPuffer> puffer,
                                                   std::uint32_t frames,
                                                   std::optional<double> hostTime);

 private:
  std::vector<float> platz_;
};

}  // namespace hallkorb
