// A conversation for the simulated computer, and what a recording of it left behind.
//
// Faults are provoked by the thousand, and each run must be judged in the same way: every chunk
// that was announced is there and holds what was heard at its time, what is missing was reported,
// and nothing else lies in the folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/SimPlattform.h"

namespace hallkorb::sim {

inline constexpr PcmFormat MONO16{16000.0, 1, true};

// What is heard at `t` seconds after time zero: a tone, never silent for long, with a value that
// differs from one moment to the next.
[[nodiscard]] float klang(double t);
[[nodiscard]] std::vector<float> aufnahme(double von, std::size_t frames, double rate = 16000.0);

// The device captures without a break from `von` to `bis`, in blocks of so many seconds.
void stetig(Geraet& geraet, double von, double bis, double block = 0.02);

// The lines of a file of lines.
[[nodiscard]] std::vector<std::string> zeilenAus(const std::string& pfad);

// What a recording at 16 kHz left. The devices captured klang() from `von` on.
struct AufnahmeBefund {
  struct Lauf {
    std::string ordner;
    std::vector<std::string> ausgabe;  // lines of standard output
    std::vector<std::string> fehler;   // and of standard error
    double von = 0.1;
    bool echo = false;  // the echo path changes what the chunks of "me" hold
  };
  explicit AufnahmeBefund(const Lauf& lauf);

  std::map<std::string, std::set<int>> angekuendigt;  // numbers of chunks, by channel
  std::map<std::string, std::set<int>> verloren;      // of chunks that are reported as lost
  bool fertig = false;                                // "done" was the last line
  std::size_t unangekuendigt = 0;  // chunks without a line; none if the recording came to its end
  std::size_t teile = 0;           // unfinished files that were left

  bool rohFehlt = false;         // reported: the raw file could not be created, up to the end
  bool rohGestoert = false;      // reported: writing it failed, up to the end
  bool rohOffen = false;         // reported: it could not be closed in order
  std::int64_t rohLaenge = 0;    // samples that it holds
  std::int64_t rohErklaert = 0;  // and declares
  std::int64_t rohStumm = 0;     // samples that read as silence, those before the first block too
  std::int64_t rohStummGemeldet = 0;  // reported as replaced by silence

  std::vector<std::string> maengel;  // whatever breaks a promise by itself

 private:
  void liesZeilen(const Lauf& lauf);
  void pruefeChunk(const std::string& zeile, const Lauf& lauf);
  void pruefeRoh(const Lauf& lauf);
  void pruefeOrdner(const Lauf& lauf);
};

}  // namespace hallkorb::sim
