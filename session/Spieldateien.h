// The files of a playback: copies of the recorded ones, which appear in another folder as they did
// when they were recorded.
//
// A chunk and the video appear complete or not at all; the raw microphone file grows. Bytes are
// copied as they are. Only regular files of the recorder's names are read, and only these names are
// written.
//
// Errors are values. One thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/Fehler.h"
#include "session/Lesedatei.h"
#include "session/Sitzungsordner.h"
#include "session/WavBefund.h"
#include "session/Zeile.h"

namespace hallkorb {

class Spieldateien {
 public:
  // `ziel` must be a folder. The raw file of an earlier recording in it is replaced.
  Spieldateien(Sitzungsordner ordner, std::string ziel);
  Spieldateien(const Spieldateien&) = delete;
  Spieldateien& operator=(const Spieldateien&) = delete;
  ~Spieldateien();

  [[nodiscard]] const std::string& ziel() const { return ziel_; }

  // Lets a chunk's file appear: all of it, or its first `sekunden`.
  [[nodiscard]] Ergebnis chunk(const ChunkZeile& chunk, std::optional<double> sekunden);
  [[nodiscard]] Ergebnis video();
  // Lets the raw file grow to so many seconds, as far as it goes; the header follows.
  void rohBis(double sekunden);

 private:
  void beginneRoh();
  bool schreibeRoh(std::int64_t bis);

  Sitzungsordner ordner_;
  std::string ziel_;
  std::optional<Lesedatei> roh_;
  WavBefund rohBefund_;
  int rohGriff_ = -1;
  std::int64_t rohBytes_ = 0;  // of samples, written
};

}  // namespace hallkorb
