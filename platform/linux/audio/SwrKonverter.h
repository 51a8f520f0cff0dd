// The resampler on Linux: libswresample's own engine, with a longer filter than its default.
//
// The default filter (32 taps) lets a tone at 8.4 kHz through to 16 kHz with only 22 dB of damping,
// and speech has energy there. With the settings below all of this holds for the common device
// rates down to 16 kHz: alias below -90 dB from 8.4 kHz up, residual below -90 dB up to 7 kHz, lag
// 0, and at most 40 output samples held back, so that the conversion never looks like a gap of the
// timeline (its tolerance is 80 samples). docs/performance.md has the table.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/AudioConverter.h"

struct SwrContext;

namespace hallkorb {

class SwrKonverter final : public AudioConverter {
 public:
  // Whether there can be converters at all: a libswresample that has what is needed of it.
  [[nodiscard]] static Ergebnis moeglich();
  // A converter from `quellformat` to mono at `rate` Hz. Null if a rate is not in (0, 1 MHz], the
  // input has no channels, or the rates are so far apart that the filter would take more than 8 MB.
  [[nodiscard]] static std::unique_ptr<SwrKonverter> neu(const PcmFormat& quellformat, double rate);

  [[nodiscard]] Umwandlung wandle(const PcmBlock& block, std::size_t kapazitaet,
                                  std::vector<float>& ausgabe) override;

 private:
  struct Freigabe {
    void operator()(SwrContext* swr) const;
  };
  using Swr = std::unique_ptr<SwrContext, Freigabe>;

  SwrKonverter(const PcmFormat& quellformat, Swr swr);

  PcmFormat quellformat_;
  Swr swr_;
  std::vector<float> ersterKanal_;
};

}  // namespace hallkorb
