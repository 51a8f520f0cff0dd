// The levels of a waveform: the lowest and highest sample of each short stretch, and of ever longer
// ones, so that any part of hours of sound can be drawn without its samples.
//
// The finest level has about a hundred stretches a second, which is as fine as a screen can show of
// a few seconds; each further one has a quarter as many. Together that is a third more than the
// finest alone: 2.9 MB for three hours of a channel. Halving would make it twice as much and save a
// screen at most two of eight pairs for each of its columns.
//
// A value is one byte on a square-root scale: 127 is full scale, 1 is -84 dB. On a linear one
// everything below -42 dB would vanish, and a quiet microphone is just what one wants to see.
//
// However long a recording claims to be, memory is bounded: beyond MAX_PAARE the finest stretch
// gets longer instead.
//
// One thread at a time.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace hallkorb {

struct Pegel {
  double proSekunde = 0.0;  // stretches a second in the finest level
  // From the finest on; each has its lowest and highest values in turn.
  std::vector<std::vector<std::int8_t>> stufen;
  std::int64_t uebersteuert = 0;  // finest stretches that reach full scale
};

class Pegelbau {
 public:
  static constexpr std::int64_t MAX_PAARE = std::int64_t{1} << 21;

  // A channel of so many samples; nothing but silence at first.
  Pegelbau(std::int64_t rate, std::int64_t samples);

  // Takes in samples from place `ab` on. If something was there before, both count; what lies
  // outside the channel is ignored.
  void nimm(std::int64_t ab, std::span<const std::int16_t> samples);

  [[nodiscard]] Pegel baue() const;

 private:
  std::int64_t laenge_;
  std::int64_t breite_;  // samples of the finest stretch
  double proSekunde_;
  std::vector<std::int16_t> tiefste_;
  std::vector<std::int16_t> hoechste_;
};

// A sample on the scale of the levels.
[[nodiscard]] std::int8_t pegelwert(std::int16_t sample);

}  // namespace hallkorb
