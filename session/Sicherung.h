// The originals of a repair: no file of a recording is changed or moved before it is kept in the
// folder "originale" beside it.
//
// A repaired file is written anew and renamed over the old one, so a second name for the old one
// (a hard link) keeps it, at once and without its space again. A repair that was begun and not
// finished may have made it already. On a file system without such names it is copied, and the copy
// is on the disk before anything goes on.
//
// Until the new content is in its place both names lead to one file, and who writes into that
// changes both; and of copies each attempt would leave another. If the new content does not come,
// the original is given up again: the second name, or the copy if the file still holds the same
// bytes. A repair that was killed leaves a second name until the next one, and a copy for good.
//
// One thread at a time, with the folder locked.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "base/Dateien.h"
#include "base/Fehler.h"

namespace hallkorb {

inline constexpr char ORIGINALE[] = "originale";

class Sicherung {
 public:
  // `dateien` must outlive this object.
  Sicherung(std::string ordner, Dateien& dateien) : ordner_(std::move(ordner)), dateien_(dateien) {}

  // Keeps the file of that name; it stays where it is. An earlier original of the name is never
  // touched: the new one gets a number, unless it is that very file.
  [[nodiscard]] Ergebnis bewahre(std::string_view name);
  // Gives up what bewahre() has kept of the file, since it was not replaced: what is still the file
  // itself, or a copy by this object that has the same content.
  void gibFrei(std::string_view name);
  // Moves the file away from the recording to the originals.
  [[nodiscard]] Ergebnis raeumeWeg(std::string_view name);

 private:
  [[nodiscard]] Ergebnis bereite();
  [[nodiscard]] Ergebnis kopiere(const std::string& von, const std::string& nach);
  [[nodiscard]] int sichereAufPlatte(const std::string& pfad);
  [[nodiscard]] bool gleichen(const std::string& einer, const std::string& anderer);

  // Where an original of that name goes: nothing is there yet, or that very file.
  struct Sicherungsort {
    std::string pfad;
    bool schonDa = false;
  };
  [[nodiscard]] std::variant<Sicherungsort, Fehler> ortFuer(std::string_view name,
                                                            const Dateien::Zustand* datei);

  std::string ordner_;
  Dateien& dateien_;
  std::map<std::string, std::string, std::less<>> kopien_;  // name -> path of its copy
};

}  // namespace hallkorb
