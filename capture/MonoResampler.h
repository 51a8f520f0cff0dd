// Captured blocks of whatever format to mono at the recording's common rate.
//
// The filter itself is the platform's. What is fixed here is when a converter is made anew (a
// changed format, nothing else, so that a stream has no seams), how much room a block gets, and
// that a block that cannot be converted is lost quietly: the timeline sees its hole at the next
// block.
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
  // `rate` in Hz is the rate of all that comes out; `konverter` makes the platform's converters and
  // must outlive this object.
  MonoResampler(double rate, AudioConverterFactory& konverter);

  // The block's first channel at the target rate; possibly no samples, where the filter holds back
  // what there is. Nothing where the block could not be converted.
  [[nodiscard]] std::optional<std::vector<float>> process(const PcmBlock& block);

  // The room that a block's output gets, in samples: what the rates say, and 1024 in which the
  // filter may hand out what it held back. What cannot be represented stops the process.
  [[nodiscard]] std::uint32_t kapazitaet(const PcmBlock& block) const;

 private:
  double rate_;
  AudioConverterFactory* fabrik_;
  PcmFormat format_;  // what converter_ was made for
  std::unique_ptr<AudioConverter> converter_;
};

}  // namespace hallkorb
