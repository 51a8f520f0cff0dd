// The raw microphone file: a WAV file that grows while the recording runs.
//
// It is the recording's insurance: the microphone before any processing, in one piece. So it must
// survive the worst. Its header is brought up to date every 5 seconds, which is rare enough to cost
// nothing and means that a recorder that is killed leaves a file declaring at most about 5 seconds
// less than it holds.
//
// And its samples stay in their place: sample i belongs to second i / rate, whatever the disk does.
// A write that fails (the disk is full) loses its samples, but the next one goes where it belongs,
// and the file reads as silence in between; at the end it is as long as everything that was handed
// in. The header never declares more than the file holds. One line tells when writing begins to
// fail and one when it works again.
// What is there under the file's name and is no regular file (a pipe that is being read) gets the
// header of an empty recording and then the samples as they come.
//
// Not locked: one thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Dateien.h"
#include "base/Fehler.h"

namespace hallkorb {

class RohWav {
 public:
  // The current time in seconds on a clock of any zero.
  using Uhr = std::function<double()>;

  // Creates (or empties) the file at `pfad` and writes the header of an empty recording at `rate`
  // Hz; a rate outside the header's field is taken modulo 2^32. Null when the file cannot be
  // created or opened for writing; nothing is logged then. Without `uhr` a monotonic clock is read.
  static std::unique_ptr<RohWav> oeffne(std::string pfad, std::int64_t rate,
                                        Dateien& dateien = posixDateien(), Uhr uhr = nullptr);
  RohWav(const RohWav&) = delete;
  RohWav& operator=(const RohWav&) = delete;
  ~RohWav();

  // The header for `bytes` bytes of samples at `rate` Hz.
  [[nodiscard]] static WavKopf kopf(std::int64_t rate, std::uint32_t bytes);

  // Appends samples with one write, and brings the header up to date when that was last done more
  // than 5 seconds ago. Does nothing after closing. A file whose header can no longer declare its
  // length (2 GiB) stops the process.
  void schreiben(std::span<const float> samples);

  // Brings the header up to date and closes the file, for good. Returns the first error; the file
  // is closed in any case. Repeated calls do nothing.
  Ergebnis schliessen();

  // The open file; absent after closing.
  [[nodiscard]] std::optional<int> handle() const { return handle_; }
  // Bytes of samples that the file holds and the header may declare, modulo 2^32.
  [[nodiscard]] std::uint32_t bytes() const { return bytes_; }
  // When the header was last brought up to date.
  [[nodiscard]] double letzterKopf() const { return letzterKopf_; }
  [[nodiscard]] const std::string& pfad() const { return pfad_; }

 private:
  RohWav(std::string pfad, int datei, std::int64_t rate, Dateien& dateien, Uhr uhr);
  int kopfNachtragen();
  void melde(int nummer);

  std::optional<int> handle_;
  std::uint32_t bytes_ = 0;
  double letzterKopf_ = 0.0;
  std::string pfad_;

  std::int64_t rate_;
  std::int64_t laenge_ = 0;    // bytes of all samples handed in, lost ones included
  std::int64_t verloren_ = 0;  // bytes lost since writing began to fail
  bool nurVoran_ = false;      // no file but a pipe: nothing can be written twice
  bool kopfFehlt_ = false;     // the last update of the header failed
  bool gestoert_ = false;      // writing fails, and that was told
  std::vector<std::uint8_t> puffer_;
  Dateien& dateien_;
  Uhr uhr_;
};

}  // namespace hallkorb
