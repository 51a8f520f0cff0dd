#include "audiofiles/WavSchreiber.h"

#include "audiofiles/Wav.h"

namespace hallkorb {
namespace {

constexpr std::size_t SAMPLE_BYTES = 2;
constexpr std::size_t PUFFER = std::size_t{1} << 16U;  // bytes that are written at once

}  // namespace

WavSchreiber::WavSchreiber(const std::string& pfad, double rate, Dateien& dateien)
    : datei_(pfad, dateien), rate_(wavRate(rate)) {
  puffer_.reserve(2 * PUFFER);
  // Room for the header, which is written when the length is known.
  puffer_.resize(WAV_KOPF_BYTES);
}

void WavSchreiber::schreibe(std::span<const float> samples) {
  samples_ += samples.size();
  const std::size_t vorher = puffer_.size();
  puffer_.resize(vorher + samples.size() * SAMPLE_BYTES);
  kodiereWav(samples, std::span(puffer_).subspan(vorher));
  if (puffer_.size() >= PUFFER) leere();
}

Ergebnis WavSchreiber::vollende() {
  leere();
  datei_.schreibeAn(wavKopf(rate_, wavBytes(samples_)), 0);
  return datei_.vollende();
}

void WavSchreiber::leere() {
  datei_.schreibe(puffer_);
  puffer_.clear();
}

}  // namespace hallkorb
