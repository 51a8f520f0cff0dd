// The raw microphone file: a WAV file that grows while the recording runs.
//
// It is the recording's insurance: the microphone before any processing, in one piece. Its header
// is updated every 5 seconds: rarely enough to cost nothing, and a recorder that is killed leaves a
// file that declares at most about 5 seconds less than it holds.
//
// Samples stay in their place: sample i belongs to second i / rate, whatever the disk does. A write
// that fails (the disk is full) loses its samples, but the next one goes where it belongs, and the
// gap reads as silence; at the end the file is as long as everything that was handed in. The header
// never declares more than the file holds. One line is logged when writing begins to fail, another
// when it works again.
//
// A folder that is removed and made again takes the file along, and all that is written to it from
// then on would vanish with it. So with each update of the header the path is looked at; if it
// leads nowhere, the recording goes on in a new file there, whose beginning reads as silence.
// Nothing that somebody else has put there is touched.
//
// Another user's file at the path is removed first, since its owner could read what is written into
// it. A file that has other names is removed, too: a kept copy would change with it. If that is not
// allowed there is no file. In a folder whose entries nobody of ours may change, either is written
// to.
//
// If the path leads to something other than a regular file (a pipe that is being read), it gets the
// header of an empty recording and then the samples as they come. A reader that makes no room is
// waited for, but for five seconds at most and then only for a tenth of the time: behind that wait
// is the echo path, or the microphone itself. What it does not take is missing; but the header, and
// a sample of which it has taken half, come before anything else, since all that follows would be
// noise otherwise.
//
// Not locked: one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
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
  // The current time in seconds; its zero does not matter.
  using Uhr = std::function<double()>;

  // What the header can declare at most, readers of signed numbers included; a full file has the
  // whole samples of it.
  static constexpr std::uint32_t MAX_BYTES =
      static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()) - 36;

  // Creates (or truncates) the file at `pfad` and writes the header of an empty recording at `rate`
  // Hz (modulo 2^32, the header's field). Returns null, without logging, if the file cannot be
  // created or opened for writing. The default for `uhr` is a monotonic clock. `davor` samples,
  // fewer than the header can declare, have already been lost, before there was a file; they are
  // reported like others. `grund`, if given, gets the error number, or 0.
  static std::unique_ptr<RohWav> oeffne(std::string pfad, std::int64_t rate,
                                        Dateien& dateien = posixDateien(), Uhr uhr = nullptr,
                                        std::int64_t davor = 0, int* grund = nullptr);
  RohWav(const RohWav&) = delete;
  RohWav& operator=(const RohWav&) = delete;
  ~RohWav();

  // The header for `bytes` bytes of samples at `rate` Hz.
  [[nodiscard]] static WavKopf kopf(std::int64_t rate, std::uint32_t bytes);

  // Appends samples with one write, and updates the header if that was last done more than 5
  // seconds ago. Does nothing after closing. More than platz() allows stops the process.
  void schreiben(std::span<const float> samples);

  // Updates the header and closes the file for good. Returns the first error; the file is closed in
  // any case. Repeated calls do nothing.
  Ergebnis schliessen();

  // How many more samples the header can declare; the file ends at 2 GiB. A pipe has no end.
  [[nodiscard]] std::size_t platz() const;

  // The open file; absent after closing.
  [[nodiscard]] std::optional<int> handle() const { return handle_; }
  // Bytes of samples that the file holds and the header may declare, modulo 2^32.
  [[nodiscard]] std::uint32_t bytes() const { return bytes_; }
  // When the header was last updated.
  [[nodiscard]] double letzterKopf() const { return letzterKopf_; }
  [[nodiscard]] const std::string& pfad() const { return pfad_; }

 private:
  RohWav(std::string pfad, int datei, std::int64_t rate, Dateien& dateien, Uhr uhr,
         std::int64_t davor);
  [[nodiscard]] Geschrieben gibWeiter(std::span<const std::uint8_t> bytes);
  [[nodiscard]] int gibRest();
  [[nodiscard]] Geschrieben sende(std::span<const std::uint8_t> bytes);
  [[nodiscard]] int warteAufLeser();
  void pruefePfad();
  [[nodiscard]] bool pfadStimmt() const;
  void merkeDatei(int datei);
  void meldeVerlust();
  [[nodiscard]] std::string zeilenAnfang() const;
  int kopfNachtragen();
  void melde(int nummer);

  std::optional<int> handle_;
  std::uint32_t bytes_ = 0;
  double letzterKopf_ = 0.0;
  std::string pfad_;

  std::int64_t rate_;
  std::int64_t laenge_ = 0;         // bytes of all samples handed in, lost ones included
  std::int64_t verloren_ = 0;       // bytes lost since writing began to fail
  bool nurVoran_ = false;           // a pipe: nothing can be written twice
  std::vector<std::uint8_t> rest_;  // what its reader must get first: of the header or of a sample
  bool kopfFehlt_ = false;          // the last update of the header failed
  bool gestoert_ = false;           // writing fails, and that is logged
  double geduld_;                   // seconds that the reader of a pipe may still keep us waiting
  double letztesWarten_ = 0.0;
  bool entfernt_ = false;  // the path does not lead to the file, and that is logged
  std::optional<Dateien::Zustand> eigene_;  // the file; absent if it need not keep its path
  std::vector<std::uint8_t> puffer_;
  Dateien& dateien_;
  Uhr uhr_;
};

}  // namespace hallkorb
