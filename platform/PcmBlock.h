// One block of captured audio as a device delivers it, before any conversion.
//
// Devices differ in rate, channel count and layout and may change all three between two blocks, so
// every block carries its format. Samples are 32-bit floats, nominally in [-1, 1]: both platforms'
// audio servers work in them and deliver them without a conversion of ours.
//
// A block borrows its samples: it is valid only during the call that hands it over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace hallkorb {

struct PcmFormat {
  double rate = 0.0;  // Hz
  std::uint32_t channels = 0;
  bool interleaved = true;  // frames one after another, or channels one after another
  // The platform's own numbers for the device's sample type and for its channel layout; 0 if it has
  // only one. The samples do not depend on them; a change means that the device is another one.
  std::uint32_t samples = 0;
  std::uint32_t layout = 0;

  // Equal formats can be fed to one converter. With one channel the layout makes no difference.
  friend bool operator==(const PcmFormat& a, const PcmFormat& b) {
    return a.rate == b.rate && a.channels == b.channels && a.samples == b.samples &&
           (a.channels == 1 || (a.interleaved == b.interleaved && a.layout == b.layout));
  }
};

struct PcmBlock {
  PcmFormat format;
  std::uint32_t frames = 0;
  // frames * channels samples: interleaved frame by frame, otherwise channel by channel.
  std::span<const float> samples;
  // Capture time of the first frame in seconds on the clock of hostSekunden(); absent if the device
  // gave no usable time.
  std::optional<double> hostTime;

  // The captured duration in seconds.
  [[nodiscard]] double dauer() const { return static_cast<double>(frames) / format.rate; }

  // The samples of the first channel: a view if they lie together, otherwise copied into `platz`
  // (which is resized to `frames`). Empty when the block holds no channel.
  [[nodiscard]] std::span<const float> ersterKanal(std::vector<float>& platz) const;
};

}  // namespace hallkorb
