// Decides which of the time stamps of a device's blocks are true.
//
// A block's stamp says when its first frame was captured. Stamps waver by fractions of a
// millisecond, and under load some are false: a client that wakes late reads the clock of the cycle
// after its own, so the stamp is late by one block, for one or two blocks in a row. Sound that was
// really lost makes stamps late as well, and for good. A timeline that believes every stamp inserts
// silence and drops sound again for each false one; one that believes none misses the losses.
//
// Only the blocks that follow tell the two apart. A block's deviation is its stamp less the
// duration of all blocks before it. Blocks within TOLERANZ of the stream's level are in place and
// decided at once. One that is later waits, up to GEDULD and for MINDESTENS blocks: if one of those
// that follow is in place, nothing can be missing before it and the stamp was false; otherwise
// sound was lost, and this is the first block after it. That holds however late it is: a single
// block that is 0.2 s or 5 s late among others in place has a false stamp, since the durations show
// that nothing is missing. Only one after which none comes in place is a loss. Stamps are never
// early by mistake, so an early one is accepted at once. For the same reason a stream begins at the
// smallest deviation of its first blocks.
//
// Only a clock that stands still makes stamps early. It shows by repeating one, to within a
// millisecond. Two equal stamps may also be a false one and the true one after it, so the second
// counts unless it is early in a stream that has a level. From the third on the clock stands: none
// counts but the first.
//
// Times are seconds on the clock of hostSekunden(). One thread at a time; no lock, no allocation.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

namespace hallkorb {

class Stempelfilter {
 public:
  static constexpr double TOLERANZ = 0.003;       // s
  static constexpr double GEDULD = 0.15;          // s
  static constexpr std::size_t MINDESTENS = 3;    // blocks that follow before one is decided
  static constexpr std::size_t HOECHSTENS = 512;  // blocks that can wait: GEDULD in 16 frames

  // Where a block belongs.
  struct Ort {
    std::optional<double> zeit;  // of its first frame; absent while no block had a time
    bool gemessen = false;       // `zeit` is the block's own stamp and shows the device's rate
    double sprung = 0.0;  // s by which the stream moved just before the block: lost if positive
  };

  // The next block of the stream; a time that is absent, not finite or not positive is none. Only
  // while wartend() < HOECHSTENS.
  void nimm(std::optional<double> stempel, double dauer);
  // The place of the oldest block that waits, which then waits no longer; nullopt if it has to, or
  // if there is none. With `alles`, what is known decides, since nothing more will come.
  [[nodiscard]] std::optional<Ort> naechster(bool alles);
  [[nodiscard]] std::size_t wartend() const { return anzahl_; }
  // Another stream. Only when no block waits.
  void beginneNeu();

 private:
  struct Wartender {
    std::optional<double> abweichung;
    bool wiederholt = false;  // an earlier stamp, once more
    double dauer = 0.0;
  };

  void verwirfZweiten();
  [[nodiscard]] const Wartender& wartender(std::size_t i) const;
  [[nodiscard]] std::optional<double> kleinste(std::size_t ab) const;
  [[nodiscard]] double mitteBei(double abweichung) const;
  [[nodiscard]] bool einzeln() const;
  [[nodiscard]] bool ordneSpaetenEin(bool reif, Ort& ort);

  std::array<Wartender, HOECHSTENS> ring_{};
  std::size_t vorn_ = 0;
  std::size_t anzahl_ = 0;
  double wartendDauer_ = 0.0;
  std::optional<double> letzter_;       // the last stamp that repeats none
  double seitLetztem_ = 0.0;            // duration of the blocks from that one on
  std::size_t bloeckeSeitLetztem_ = 0;  // how many have come after it
  double summe_ = 0.0;                  // duration of all blocks so far
  double position_ = 0.0;               // the same without those that wait
  std::optional<double> stand_;         // the stream's level: the deviation of blocks in place
};

}  // namespace hallkorb
