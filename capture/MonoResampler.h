// Converts captured blocks of any format to mono at the recording's rate.
//
// The filter itself is the platform's. This class decides when a converter is replaced (only when
// the format changes, so that a stream has no seams) and how much room a block's output gets. A
// block that cannot be converted is dropped: the timeline finds the gap at the next block.
//
// Used by one capture's thread; no lock.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/AudioConverter.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

class MonoResampler {
 public:
  // `rate` is the output's rate in Hz; `konverter` makes the platform's converters and must outlive
  // this object.
  MonoResampler(double rate, AudioConverterFactory& konverter);

  // The block's first channel at the target rate, possibly empty while the filter holds samples
  // back. Returns nullopt if the block could not be converted.
  [[nodiscard]] std::optional<std::vector<float>> process(const PcmBlock& block);

  // Room for a block's output in samples: its length at the target rate, and 1024 for samples that
  // the filter held back. A number that does not fit stops the process.
  [[nodiscard]] std::uint32_t kapazitaet(const PcmBlock& block) const;

 private:
  double rate_;
  AudioConverterFactory* fabrik_;
  PcmFormat format_;  // what converter_ was made for
  std::unique_ptr<AudioConverter> converter_;
};

}  // namespace hallkorb
