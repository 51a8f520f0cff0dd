// How much faster or slower than the host's clock a device runs: a delay-locked loop.
//
// Input: each block's stamp less its expected place. Output: the ratio at which the stream has to
// be stretched so that this difference stays constant. Crystals are off by 10 to 200 ppm but
// steady; stamps waver by 50 to 200 us, from block to block and slowly. So nothing is done until
// the mean deviation has moved by TOTZONE from what it was at the beginning: a device on the host's
// own clock is never touched, and one that drifts has shown its rate by then, from which the loop
// starts. The deviation reached by then stays, since only its change would be heard.
//
// The loop is of second order with a damping of 0.7, after F. Adriaensen, "Using a DLL to filter
// time" (Linux Audio Conference 2005), behind a first-order low-pass that keeps the blocks' jitter
// out of the ratio. Its bandwidth falls with the reciprocal of the time, as it would for the best
// estimate of a constant, from 0.1 Hz to 0.005 Hz; it opens again when the mean deviation shows
// that another crystal has taken over. The effect of one block is limited, so the ratio never moves
// by an audible step (0.04 % are 0.7 cent).
//
// Some devices are further off than any crystal: the sound card of a virtual machine, sound that
// comes over a network. What the loop cannot follow is reported as soon as its mean error reaches
// RUECKSTAND, so that the stream moves by it and stays with the clock.
//
// Seconds and ratios. One thread at a time; no lock, no allocation.
#pragma once

#include <optional>
#include <utility>

namespace hallkorb {

class Taktregler {
 public:
  static constexpr double TOTZONE = 0.0003;    // s
  static constexpr double BREIT = 0.1;         // Hz
  static constexpr double SCHMAL = 0.005;      // Hz
  static constexpr double HOECHSTENS = 0.001;  // of the ratio: no crystal is that far off
  static constexpr double RUECKSTAND = 0.003;  // s

  // The next block, `dauer` long. `abweichung` is its stamp less the place that it would get;
  // absent for a block without a true stamp.
  void schritt(double dauer, std::optional<double> abweichung);

  // Whether the stream has to be stretched at all.
  [[nodiscard]] bool greiftEin() const { return greiftEin_; }
  // The duration of a captured second on the host's clock, less 1.
  [[nodiscard]] double verhaeltnis() const { return verhaeltnis_; }
  // Seconds by which the stream has to move before this block, later if positive; 0 nearly always.
  // Handed out once.
  [[nodiscard]] double nimmRueckstand() { return std::exchange(rueckstand_, 0.0); }

 private:
  void beobachte(double dauer, double abweichung);
  void regle(double dauer, double fehler);
  void stelleBandbreite(double dauer);

  double zeit_ = 0.0;  // since the beginning
  // The mean deviation at the beginning, and its age.
  double anfangSumme_ = 0.0;
  double anfangZeit_ = 0.0;
  double anfangDauer_ = 0.0;
  double mittel_ =
      0.0;  // of the last second: of the deviation, and of the loop's error once it acts
  // From then on.
  bool greiftEin_ = false;
  double versatz_ = 0.0;  // the deviation that stays
  double rueckstand_ = 0.0;
  double bandbreite_ = BREIT;
  double geglaettet_ = 0.0;  // the loop's error behind the low-pass
  double frequenz_ = 0.0;    // the loop's integral
  double verhaeltnis_ = 0.0;
};

}  // namespace hallkorb
