#include "capture/MonoResampler.h"

#include "base/Abbruch.h"
#include "base/Ausgabe.h"

namespace hallkorb {

MonoResampler::MonoResampler(double rate, AudioConverterFactory& konverter)
    : rate_(rate), fabrik_(&konverter) {}

std::optional<std::vector<float>> MonoResampler::process(const PcmBlock& block) {
  if (!(block.format.rate > 0) || block.format.channels == 0) return std::nullopt;
  if (converter_ == nullptr || format_ != block.format) {
    converter_ = fabrik_->konverter(block.format, rate_);
    format_ = block.format;
    if (converter_ == nullptr) return std::nullopt;
  }
  std::vector<float> samples;
  if (const Ergebnis fehler = converter_->wandle(block, kapazitaet(block), samples)) {
    log("[hallkorb] Resample-Fehler: " + fehler->description);
    return std::nullopt;
  }
  return samples;
}

std::uint32_t MonoResampler::kapazitaet(const PcmBlock& block) const {
  const double frames = rate_ / block.format.rate * block.frames + 1024;
  if (!(frames > -1 && frames < 0x1p32)) abbruch("Resampler: Blocklaenge nicht darstellbar");
  return static_cast<std::uint32_t>(frames);
}

}  // namespace hallkorb
