// A file that appears under its name only when it is complete.
//
// A program that watches the folder never sees half a file: the bytes go to a hidden file beside it
// (with a short name, so that every name that fits the folder can be written), which is then
// renamed. On failure that file is removed and an earlier one of the name stays untouched; so a
// program may also read a file while it writes the one that replaces it. An earlier file's
// permissions are kept. A symbolic link stays, and its target is replaced or created; or it is
// itself replaced, if nobody is to decide by a link where something is written. Then another user's
// file or pipe at the path decides nothing either: it is replaced, its permissions are not kept,
// and if it cannot be replaced because the folder protects it, that is an error.
//
// A path that leads to something other than a regular file (a device, a pipe), or to an open file
// by its number ("/dev/stdout", "/dev/fd/3"), is written to and never replaced. A pipe that nobody
// opens for reading within a second, or that takes nothing for five, is an error. What cannot be
// written at all (a folder, a file without the permission) is one from the beginning; only of a
// device or a pipe that shows at the end, since they are opened then.
//
// A folder may allow no new files although an existing one is writable. Such a file is overwritten
// in place: the one case in which a reader can see half of it, or a full disk can destroy the
// earlier content. Whoever keeps the earlier content by a second name, which would change with
// it, or writes into a folder of somebody else, forbids that.
//
// One thread at a time.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/Dateien.h"
#include "base/Fehler.h"

namespace hallkorb {

// What becomes of a symbolic link at the path.
enum class Verweise { folgen, ersetzen };

// What becomes of a file whose folder allows no new one in its place.
enum class Unersetzbar { ueberschreiben, lassen };

// Makes `bytes` the content of the file at `pfad`.
[[nodiscard]] Ergebnis ersetzeDatei(const std::string& pfad, std::span<const std::uint8_t> bytes,
                                    Dateien& dateien = posixDateien(),
                                    Verweise verweise = Verweise::folgen,
                                    Unersetzbar unersetzbar = Unersetzbar::ueberschreiben);

// The same for content that comes piece by piece. What goes to a device or a pipe is stored in a
// temporary file until it is complete (ersetzeDatei has all bytes at hand and stores none).
// Without vollende() nothing is left behind.
class Ersatzdatei {
 public:
  // Errors are kept for vollende(); bisher() has them before.
  explicit Ersatzdatei(const std::string& pfad, Dateien& dateien = posixDateien(),
                       Unersetzbar unersetzbar = Unersetzbar::ueberschreiben,
                       Verweise verweise = Verweise::folgen);
  Ersatzdatei(const Ersatzdatei&) = delete;
  Ersatzdatei& operator=(const Ersatzdatei&) = delete;
  ~Ersatzdatei();

  // Appends; overwrites from byte `stelle` on. Ignored after an error.
  void schreibe(std::span<const std::uint8_t> bytes);
  void schreibeAn(std::span<const std::uint8_t> bytes, std::int64_t stelle);

  // Fails with the first error so far.
  [[nodiscard]] Ergebnis bisher() const;

  // Lets the file appear. Returns the first error of all. Once.
  [[nodiscard]] Ergebnis vollende();

 private:
  friend Ergebnis ersetzeDatei(const std::string& pfad, std::span<const std::uint8_t> bytes,
                               Dateien& dateien, Verweise verweise, Unersetzbar unersetzbar);

  // What a path leads to.
  struct Ziel {
    std::string pfad;              // links followed; need not exist
    std::optional<int> offen;      // instead: an open file of this process
    std::optional<mode_t> bisher;  // permissions of the file that is replaced
    bool bleibt = false;           // written to as it is: a device, a pipe, a file as above
    bool nurOhneVerweis = false;   // must not be followed if it has become a link meanwhile
    bool fremd = false;            // another user's, who must not get what is written
    int nummer = 0;                // error number

    [[nodiscard]] bool wirdErsetzt() const { return !offen && !bleibt; }
  };

  static Ziel finde(const std::string& pfad, Verweise verweise, Dateien& dateien);
  Ersatzdatei(std::string pfad, Ziel ziel, Dateien& dateien, Unersetzbar unersetzbar,
              std::optional<std::span<const std::uint8_t>> alles);
  [[nodiscard]] bool bleibtAmOrt(int nummer);
  [[nodiscard]] int pruefeVorhandenes();
  int benenneUm();
  int gibWeiter();
  void raeumeAuf();

  std::string pfad_;
  Ziel ziel_;
  const Unersetzbar unersetzbar_;
  const std::optional<std::span<const std::uint8_t>> alles_;  // the content, if all is at hand
  std::string teil_;          // the file that is written; empty once it is renamed or removed
  std::optional<int> datei_;  // its handle, while open
  int nummer_ = 0;            // the first error
  Dateien& dateien_;
};

}  // namespace hallkorb
