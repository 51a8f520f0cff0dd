// The values of a captured stream between its samples, for all of its channels at once.
//
// Band-limited interpolation by a windowed sinc (J. O. Smith, "Digital Audio Resampling Home Page",
// CCRMA): 32 taps, a Kaiser window, 512 phases with straight lines between them. The error is below
// -90 dB up to 0.4 of the rate (19 kHz at 48 kHz); above that the band fades out. At a sample's own
// place the result is that sample, bit for bit.
//
// A value between two samples needs 16 samples after it; at the stream's end these are zeros.
//
// Positions are frames; samples in and out have the stream's own layout. One thread at a time; no
// lock. Memory is asked for by richteEin() only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/PcmBlock.h"

namespace hallkorb {

class Zwischenwerte {
 public:
  static constexpr std::size_t TAPS = 32;
  static constexpr std::size_t PHASEN = 512;
  static constexpr std::size_t VOR = TAPS / 2 - 1;  // samples before a value's own that it needs
  static constexpr std::size_t DANACH = TAPS / 2;   // samples after it

  Zwischenwerte();

  // For streams of this many channels, of which up to `frames` are given at a time.
  void richteEin(std::uint32_t kanaele, std::size_t frames);
  // Silence so far; the next value is the first sample, or lies `versatz` after it.
  void beginne(double versatz = 0.0);

  // Before the first value: keeps the end of a block that was handed on unchanged, so that the next
  // value is the first sample after it, with its past.
  void merke(const PcmBlock& block);
  // Takes `frames` frames of the block from `ab` on. After each call zieh() is due.
  void nimm(const PcmBlock& block, std::size_t ab, std::size_t frames);
  // DANACH frames of silence: the stream has ended. zieh() then leaves none of its frames behind.
  void nimmEnde();
  // All values that can be computed by now, `schritt` (near 1) apart, in the given layout. Valid
  // until the next call.
  [[nodiscard]] std::span<const float> zieh(double schritt, bool verschachtelt);

  // From the next value to the end of what was taken, in frames.
  [[nodiscard]] double wartend() const { return static_cast<double>(frames_) - lage_; }

 private:
  void verschiebe();

  std::uint32_t kanaele_ = 0;
  std::size_t platz_ = 0;      // frames that a channel has room for
  std::vector<float> puffer_;  // channel by channel, platz_ each
  std::vector<float> ausgabe_;
  std::size_t frames_ = 0;  // that are held of each channel
  double lage_ = 0.0;       // of the next value, from the first frame that is held
};

}  // namespace hallkorb
