// The originals of a repair: no file of a recording is changed or moved before it is kept in the
// folder "originale" beside it.
//
// A repaired file is written anew and renamed over the old one, so a second name for the old one
// (a hard link) keeps it whatever happens, at once and without its space again. On a file system
// without such names it is copied, and the copy is on the disk before anything goes on.
//
// One thread at a time, with the folder locked.
#pragma once

#include <string>
#include <string_view>

#include "base/Fehler.h"

namespace hallkorb {

inline constexpr char ORIGINALE[] = "originale";

class Sicherung {
 public:
  explicit Sicherung(std::string ordner) : ordner_(std::move(ordner)) {}

  // Keeps the file of that name; it stays where it is. An earlier original of the name is never
  // touched: the new one gets a number.
  [[nodiscard]] Ergebnis bewahre(std::string_view name);
  // Moves the file away from the recording to the originals.
  [[nodiscard]] Ergebnis raeumeWeg(std::string_view name);

 private:
  [[nodiscard]] Ergebnis bereite();
  [[nodiscard]] std::string freierPfad(std::string_view name) const;

  std::string ordner_;
};

}  // namespace hallkorb
