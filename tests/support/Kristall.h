// A device with a crystal of its own, on a virtual clock: what it captures and how it stamps that.
//
// Its sample n belongs to the host time `beginn` + n / (rate * (1 + ppm / 1e6)), and its value is
// that of a given signal at that time. Stamps can waver, be false, and the device can lose sound;
// all of it seeded, so that a case can be repeated.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "platform/PcmBlock.h"

namespace hallkorb {

class Kristall {
 public:
  struct Art {
    double ppm = 0.0;
    double rate = 48000.0;
    std::uint32_t kanaele = 1;
    bool verschachtelt = true;
    std::uint32_t frames = 1024;
    double beginn = 1000.0;  // host time of the first sample
    double zittern = 0.0;    // s rms, from stamp to stamp
    double wandern = 0.0;    // s rms, within 5 s
    std::uint64_t saat = 1;
  };
  // The value at a host time.
  using Signal = std::function<double(double)>;

  Kristall(const Art& art, Signal signal);

  // The next block; its samples stay valid until the call after it. The first channel holds the
  // signal, the others fractions of it.
  [[nodiscard]] PcmBlock naechster();
  // The next block, with a stamp that is late by `verspaetung` seconds.
  [[nodiscard]] PcmBlock falscher(double verspaetung);
  // That many samples are lost.
  void verliere(std::uint64_t samples) { gezaehlt_ += samples; }
  void laenge(std::uint32_t frames) { art_.frames = frames; }
  void ppm(double neu);

  // The true host time of the next sample.
  [[nodiscard]] double zeit() const;

 private:
  [[nodiscard]] double fehler();

  Art art_;
  Signal signal_;
  std::mt19937_64 zufall_;
  std::normal_distribution<double> normal_;
  double wandert_ = 0.0;
  std::uint64_t gezaehlt_ = 0;
  double nullzeit_;
  std::vector<float> samples_;
};

}  // namespace hallkorb
