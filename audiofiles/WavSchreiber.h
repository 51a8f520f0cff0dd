// A WAV file written piece by piece: the file of `writeWav`, in memory that does not depend on its
// length.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/Dateien.h"
#include "base/Ersatzdatei.h"
#include "base/Fehler.h"

namespace hallkorb {

class WavSchreiber {
 public:
  // Rates as in writeWav. Errors are kept for vollende(); bisher() has them before.
  WavSchreiber(const std::string& pfad, double rate, Dateien& dateien = posixDateien());

  void schreibe(std::span<const float> samples);

  // Fails with the first error so far: right after the construction if there can be no such file.
  [[nodiscard]] Ergebnis bisher() const { return datei_.bisher(); }

  // Lets the file appear under its name. Returns the first error of all. Without this call nothing
  // is left behind. Once.
  [[nodiscard]] Ergebnis vollende();

  [[nodiscard]] std::size_t samples() const { return samples_; }

 private:
  void leere();

  Ersatzdatei datei_;
  std::int64_t rate_;
  std::size_t samples_ = 0;
  std::vector<std::uint8_t> puffer_;  // encoded, not written yet
};

}  // namespace hallkorb
