// A device that delivers blocks in real time: the microphone, or the sound of the computer.
//
// Block times are those of the device's own clock, exact to the sample, however late the machine
// calls. The thread runs until the process ends.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

#include "tests/macos/doubles/Klang.h"

namespace hallkorb::ersatz {

// Both clocks of the script; its time zero is the process's start.
using Uhr = std::chrono::steady_clock;
[[nodiscard]] Uhr::time_point skriptNull();
[[nodiscard]] double skriptZeit(Uhr::time_point wann);
[[nodiscard]] Uhr::time_point uhrzeit(double skriptSekunden);

class Tonquelle {
 public:
  // Gives a block that begins at this time to the program; false if it does not take it.
  using Abnehmer =
      std::function<bool(const std::vector<std::vector<float>>& kanaele, double rate, double wann)>;

  Tonquelle(std::size_t frames, double rate, std::size_t kanaele, Abnehmer abnehmer);

  void starte();
  // `tausch` runs between two blocks; the next one begins now, in the new format.
  void wechsle(double rate, std::size_t kanaele, const std::function<void()>& tausch);
  // Stops the sound, or lets it go on.
  void verstumme(bool ja);
  // Returns when the program has taken a block that begins after the call.
  void warteAufAbnahme();

  Klang klang;

 private:
  void laufe();
  void liefere();

  const std::size_t frames_;
  const Abnehmer abnehmer_;
  std::mutex geraet_;  // held while a block is delivered
  double rate_;
  std::size_t kanaele_;
  double ab_ = 0;  // when the device began, in the script's time
  std::size_t gezaehlt_ = 0;
  bool stumm_ = false;

  std::mutex lock_;
  std::condition_variable genommen_;
  double zuletzt_ = -1;  // begin of the block taken last; under lock_
};

}  // namespace hallkorb::ersatz
