// The raw microphone of a recording, from its first sample to its last: the continuous file
// (RohWav.h), whatever becomes of it.
//
// The recording does not depend on that file and may outlive it. Each of these costs one line:
// - It cannot be created at the start. What is in the way (no descriptor was left, the disk was
//   full) may go, so it is tried again with each second of sound; what came before is then silence.
// - A pipe of its name has no reader. One that comes later could not be given the beginning, and
//   would take what it gets for sample 0: so it is not tried again.
// - Its header can declare no more, at 2 GiB (18.6 hours at 16 kHz). The file is closed, or is
//   no longer tried.
//
// Not locked: one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "audiofiles/RohWav.h"
#include "base/Dateien.h"

namespace hallkorb {

class Rohspur {
 public:
  // Creates the file at `pfad`, for samples at `rate` Hz.
  Rohspur(std::string pfad, double rate, Dateien& dateien = posixDateien());
  Rohspur(const Rohspur&) = delete;
  Rohspur& operator=(const Rohspur&) = delete;

  void schreibe(std::span<const float> samples);
  // Finishes the file, if there is one; an error is logged. What is written later is dropped.
  void schliesse();

 private:
  void oeffne(std::int64_t davor);
  void holeNach(std::size_t anzahl);

  const std::string pfad_;
  const double rate_;
  Dateien& dateien_;
  std::unique_ptr<RohWav> datei_;
  std::optional<std::int64_t> davor_;  // samples so far, if the file is still to be created
};

}  // namespace hallkorb
