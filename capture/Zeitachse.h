// A channel's timeline: keeps one mono stream in step with the host clock.
//
// Captured blocks come with the host time of their first sample. Device clocks drift (10 to 100 ppm
// are common) and drivers lose blocks; packed edge to edge, an hour's recording would be off by up
// to a third of a second, and the two channels would no longer belong together. So sample i of the
// output always belongs to host time null + i / rate, within 5 ms: gaps are filled with zeros,
// overlaps are dropped, smaller jitter passes untouched, since correcting it would be audible.
//
// Times are seconds on the clock of hostSekunden(); positions are samples at `rate`, kept as
// doubles so that fractions carry over from block to block. One thread at a time; no lock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hallkorb {

class Zeitachse {
 public:
  // `null` is the host time of sample 0.
  Zeitachse(std::string name, double rate, double null);
  Zeitachse(const Zeitachse&) = delete;
  Zeitachse& operator=(const Zeitachse&) = delete;

  // Places one block and returns the samples to append to the channel's stream: more than came in
  // if a gap was filled, fewer or none if an overlap was dropped.
  //
  // `t` is the host time of the block's first captured sample; absent, not positive and not finite
  // all mean unknown. `eingang` is the block's duration in seconds as captured, before resampling.
  // It, and not samples.size(), advances the expectation, so that a resampler's rounding and
  // latency are not mistaken for clock drift.
  [[nodiscard]] std::vector<float> einordnen(std::vector<float> samples, std::optional<double> t,
                                             double eingang);

  // The timeline's part of the closing "zeitachse" line: its name and four counters.
  [[nodiscard]] std::string bericht() const;

  const std::string name;
  const double rate;
  const double null;
  const double toleranz;  // samples; 5 ms

  std::int64_t geschrieben = 0;     // samples handed out
  std::int64_t luecken = 0;         // gaps found
  std::int64_t lueckenSamples = 0;  // zeros inserted for them
  std::int64_t ueberlappungen = 0;  // overlaps found
  std::int64_t verworfen = 0;       // samples dropped

 private:
  void verankere(double pos, std::vector<float>& out);
  void fuelleLuecke(double diff, std::vector<float>& out);
  void merkeUeberlappung(double diff);

  // Expected position of the next block in samples; absent before the first block with a time.
  std::optional<double> erwartet_;
  // Samples still to be dropped from the front of what comes next. Never negative.
  std::int64_t nochWeg_ = 0;
};

}  // namespace hallkorb
