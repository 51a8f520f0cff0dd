// The resampler on macOS: the system's audio converter, from one channel to one channel.
//
// The first channel is taken here, as the system's converter does with two channels: a format of
// more than two has no standard layout, and the converter would refuse it. The filter reads ahead
// at the start, so its output is not late.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "platform/AudioConverter.h"

namespace hallkorb {

// The call into the audio converter, made for mono at one rate to mono at another.
class KonverterAufrufe {
 public:
  virtual ~KonverterAufrufe() = default;
  // Feeds all of `samples`, not empty, and fills `ausgabe` with what comes out, at most
  // `kapazitaet` samples.
  [[nodiscard]] virtual Umwandlung wandle(std::span<const float> samples, std::size_t kapazitaet,
                                          std::vector<float>& ausgabe) = 0;
};

class AvKonverter final : public AudioConverter {
 public:
  AvKonverter(const PcmFormat& quellformat, std::unique_ptr<KonverterAufrufe> aufrufe);

  [[nodiscard]] Umwandlung wandle(const PcmBlock& block, std::size_t kapazitaet,
                                  std::vector<float>& ausgabe) override;

 private:
  PcmFormat quellformat_;
  std::unique_ptr<KonverterAufrufe> aufrufe_;
  std::vector<float> ersterKanal_;
};

}  // namespace hallkorb
