// How far the microphone lags behind what the computer plays.
//
// The buffers of playback and capture delay the echo by some tens to some hundreds of milliseconds,
// the air by a few more. The canceller's filter covers 320 ms, so the reference must be shifted
// first. Every half second the last 2.8 seconds of both signals are compared by a generalised
// cross-correlation with phase transform (C. H. Knapp and G. C. Carter, "The generalized
// correlation method for estimation of time delay", 1976): only phases count, which makes the peak
// narrow even for speech in a reverberant room. Single estimates can be wrong, so the median of the
// last five is reported, and only when it moves by more than 128 samples (8 ms), since every report
// may shift the canceller's filter.
//
// Units: samples at 16 kHz, on the scale of 16-bit integers. One thread at a time; nothing is
// allocated after construction if pieces are no longer than a block.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "base/Vorrat.h"
#include "echo/DFeld.h"
#include "echo/kernels/Kernsatz.h"
#include "echo/KFFT.h"

namespace hallkorb {

class Verzoegerungsschaetzer {
 public:
  // Largest lag searched, reference window, fed samples between analyses.
  static constexpr std::int64_t maxLag = 12800;
  static constexpr std::int64_t fen = 32000;
  static constexpr std::int64_t schritt = 8000;

  Verzoegerungsschaetzer();

  // The next piece of the reference and of the microphone, of the same moment and length. Returns
  // the delay in samples when it is first known and when it changes.
  std::optional<std::int64_t> fuettern(std::span<const double> neuesX,
                                       std::span<const double> neuesD);

  // The reported delay; nullopt until the first report.
  [[nodiscard]] std::optional<std::int64_t> wert() const { return wert_; }

  // The peak of a correlation of maxLag + 1 values, if it is high and clear enough. Ties go to the
  // smaller lag; NaN is no peak.
  [[nodiscard]] static std::optional<std::int64_t> spitze(std::span<const double> korrelation);

  // Takes an accepted single estimate; returns what fuettern then reports.
  std::optional<std::int64_t> annehmen(std::int64_t lag);

 private:
  [[nodiscard]] bool genugEnergie() const;
  void korrelieren();

  Vorrat<double> x;
  Vorrat<double> d;
  std::int64_t seit = 0;
  std::array<std::int64_t, 5> schaetzungen{};
  std::size_t anzahl = 0;
  std::optional<std::int64_t> wert_;
  const kern::Kernsatz& k;
  KFFT fft;
  // Twiddle factors of the full length, n = 0..M - 1.
  DFeld wr, wi;
  DFeld xr, xi, dr, di;
  DFeld korrelation;
};

}  // namespace hallkorb
