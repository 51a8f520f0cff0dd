// Files as this program needs them: a layer of single system calls that tests can make fail, and
// the few whole operations built on it.
//
// Disks fill up, folders vanish and writes come back short while a recording runs, and none of it
// may cost more than the samples concerned. No test can wait for such moments, so every file
// operation goes through `Dateien`, whose double in the tests fails the n-th call with a chosen
// error number. Whole operations (a complete write, a file that appears complete) are built above
// the layer, where short writes and interrupted calls are continued; so that part is tested too.
//
// `posixDateien()` may be used from any thread, but one open file by one thread at a time.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Fehler.h"

namespace hallkorb {

// One system call each. A negative result is the negated error number (-ENOSPC); calls that yield
// no value return 0 otherwise. After -EINTR the same call must be repeated.
class Dateien {
 public:
  enum class Art { datei, ordner, sonst };  // regular file, folder, anything else

  struct Zustand {
    Art art = Art::sonst;
    mode_t rechte = 0;           // permission bits
    std::int64_t groesse = 0;    // bytes of a regular file
    bool eigen = true;           // belongs to the user of this process
    std::uint64_t namen = 1;     // hard links of a regular file
    std::int64_t geaendert = 0;  // when the content was last changed, in seconds of Unix time
    // Together they identify a file, whatever its name is.
    std::uint64_t geraet = 0;
    std::uint64_t nummer = 0;

    [[nodiscard]] bool selbeDatei(const Zustand& andere) const {
      return geraet == andere.geraet && nummer == andere.nummer;
    }
  };

  // What a folder holds under a name. A symbolic link is neither file nor folder.
  struct Eintrag {
    std::string name;
    Art art = Art::sonst;
  };

  virtual ~Dateien() = default;

  // Opens a file with the flags of open(2); child processes do not inherit it, and it never becomes
  // the controlling terminal. Returns its handle.
  virtual int oeffnen(const std::string& pfad, int flags, mode_t rechte) = 0;
  // Both return the number of bytes moved, possibly fewer than requested. lesen: 0 at the end;
  // schreiben: -EAGAIN if the reader of a pipe has made no room.
  virtual ssize_t lesen(int datei, std::span<std::uint8_t> ziel) = 0;
  virtual ssize_t schreiben(int datei, std::span<const std::uint8_t> bytes) = 0;
  // Waits until that reader has made room; -ETIMEDOUT if it has not after `hoechstens`.
  virtual int warteAufPlatz(int datei, std::chrono::milliseconds hoechstens) = 0;
  // Reads from byte `stelle` on.
  virtual ssize_t lesenAn(int datei, std::span<std::uint8_t> ziel, std::int64_t stelle) = 0;
  // Writes at byte `stelle`; a gap behind the former end reads as 0.
  virtual ssize_t schreibenAn(int datei, std::span<const std::uint8_t> bytes,
                              std::int64_t stelle) = 0;
  virtual int laengeSetzen(int datei, std::int64_t bytes) = 0;
  virtual int rechteSetzen(int datei, mode_t rechte) = 0;
  // Waits until an open file is on the disk.
  virtual int aufPlatte(int datei) = 0;
  virtual int schliessen(int datei) = 0;
  virtual int umbenennen(const std::string& alt, const std::string& neu) = 0;
  // Gives a file a second name (a hard link); never replaces what has that name.
  virtual int verknuepfen(const std::string& alt, const std::string& neu) = 0;
  virtual int loeschen(const std::string& pfad) = 0;
  virtual int ordnerAnlegen(const std::string& pfad) = 0;
  // Everything in a folder, in no order; takes several calls.
  virtual int ordnerLesen(const std::string& pfad, std::vector<Eintrag>& eintraege) = 0;
  // The state of what the path leads to, links followed.
  virtual int zustand(const std::string& pfad, Zustand& ergebnis) = 0;
  // The state of an open file.
  virtual int zustandOffen(int datei, Zustand& ergebnis) = 0;
  // Locks an open file or folder for this program until it is closed or the process ends, however
  // that may be. -EWOULDBLOCK if another one holds the lock.
  virtual int sperren(int datei) = 0;
  // The text of a symbolic link; -EINVAL for anything else.
  virtual int verweis(const std::string& pfad, std::string& ziel) = 0;
};

// The real files.
[[nodiscard]] Dateien& posixDateien();

// Repeats a call that a signal interrupts.
template <class Ruf>
auto beharrlich(Ruf ruf) {
  for (;;) {
    const auto ergebnis = ruf();
    if (ergebnis != -EINTR) return ergebnis;
  }
}

// How far a write came.
struct Geschrieben {
  std::int64_t bytes = 0;
  int nummer = 0;  // the error number that ended it; 0 if everything is written
};

// Writes all `bytes`, in one call if the system takes them at once: at the file's own position, or
// from byte `stelle` on. The reader of a pipe that takes nothing for five seconds is an error.
[[nodiscard]] Geschrieben schreibeGanz(int datei, std::span<const std::uint8_t> bytes,
                                       Dateien& dateien);
[[nodiscard]] Geschrieben schreibeGanzAn(int datei, std::span<const std::uint8_t> bytes,
                                         std::int64_t stelle, Dateien& dateien);

// Whether a symbolic link is at the path itself.
[[nodiscard]] bool istVerweis(const std::string& pfad, Dateien& dateien);

// Closes; returns the error number or 0. The handle is gone in either case.
int schliesse(int datei, Dateien& dateien);

// Hands the content of a file (or pipe) to `stueck` in pieces that are never empty. False if it
// cannot be read to its end.
[[nodiscard]] bool liesStueckweise(const std::string& pfad,
                                   const std::function<void(std::span<const std::uint8_t>)>& stueck,
                                   Dateien& dateien = posixDateien());

// The content of a file (or pipe); nullopt if it cannot be read to its end.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> liesDatei(const std::string& pfad,
                                                                 Dateien& dateien = posixDateien());

// Permissions for a new file at `pfad`: its owner's, and for others those that they have in the
// folder. The user's mask still takes away from them. A recording is nobody else's business unless
// whoever made the folder wanted it so.
[[nodiscard]] mode_t rechteNeuerDatei(const std::string& pfad, Dateien& dateien = posixDateien());

// Creates a folder and all missing folders on the way to it, for the owner alone. An existing one
// is a success.
Ergebnis erzeugeOrdner(const std::string& pfad, Dateien& dateien = posixDateien());

// `name` inside `ordner`: a separator between them unless the folder ends with one.
[[nodiscard]] std::string pfadIn(const std::string& ordner, const std::string& name);

}  // namespace hallkorb
