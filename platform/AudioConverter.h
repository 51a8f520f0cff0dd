// Conversion of captured blocks to mono at another rate, by the platform's own resampler.
//
// A converter is made for one input format and keeps its filter's state from block to block, so
// that the blocks of a stream join without a seam. It takes the first input channel and does not
// mix: a voice on the left channel alone must not lose half its level.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/Fehler.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

// What became of a block. A block that is lost without an error is not reported: there was no
// memory for it, or it did not fit, and the timeline shows the hole. An error is what the converter
// itself reports, and is worth a line.
struct Umwandlung {
  bool gelungen = true;
  std::optional<Fehler> fehler;

  [[nodiscard]] static Umwandlung verloren() { return {false, std::nullopt}; }
  [[nodiscard]] static Umwandlung gescheitert(Fehler grund) { return {false, std::move(grund)}; }
  friend bool operator==(const Umwandlung&, const Umwandlung&) = default;
};

class AudioConverter {
 public:
  virtual ~AudioConverter() = default;

  // Converts one whole block, of the format that the converter was made for; one of another format,
  // or with fewer samples than it declares, is lost. `ausgabe` is resized to the samples that came
  // out, at most `kapazitaet`; what the filter holds back comes out with the following blocks.
  // Unless the block was converted, `ausgabe` is empty.
  [[nodiscard]] virtual Umwandlung wandle(const PcmBlock& block, std::size_t kapazitaet,
                                          std::vector<float>& ausgabe) = 0;
};

class AudioConverterFactory {
 public:
  // A converter from `quellformat` to mono at `rate` Hz, or null if the platform has none for that
  // pair (a rate that is not positive, for example).
  [[nodiscard]] virtual std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat,
                                                                  double rate) = 0;

 protected:
  ~AudioConverterFactory() = default;
};

}  // namespace hallkorb
