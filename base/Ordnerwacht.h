// The files of one folder, as long as it is the folder that was chosen.
//
// A recording lasts for hours and opens a new file every few seconds, each time by the folder's
// path. Whoever may change a folder on that path could meanwhile lead it elsewhere, by a symbolic
// link or another user's folder, and would get the sound. So nothing is created, opened for writing
// or removed in a folder that has been exchanged; one line says so. A folder that was removed and
// made again by its owner is as good as the first.
//
// Between the check and the call there is a moment in which the folder can still be exchanged.
//
// Any thread, after beginne().
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "base/Dateien.h"

namespace hallkorb {

class Ordnerwacht final : public Dateien {
 public:
  // Refused calls return this (ESTALE), negated.
  static const int AUSGETAUSCHT;

  explicit Ordnerwacht(Dateien& dateien) : dateien_(dateien) {}

  // From now on, `ordner` is what its path leads to now. `griff` is the open folder, or negative if
  // it could not be opened.
  void beginne(const std::string& ordner, int griff);

  int oeffnen(const std::string& pfad, int flags, mode_t rechte) override;
  int loeschen(const std::string& pfad) override;

  ssize_t lesen(int datei, std::span<std::uint8_t> ziel) override {
    return dateien_.lesen(datei, ziel);
  }
  ssize_t schreiben(int datei, std::span<const std::uint8_t> bytes) override {
    return dateien_.schreiben(datei, bytes);
  }
  ssize_t schreibenAn(int datei, std::span<const std::uint8_t> bytes,
                      std::int64_t stelle) override {
    return dateien_.schreibenAn(datei, bytes, stelle);
  }
  ssize_t lesenAn(int datei, std::span<std::uint8_t> ziel, std::int64_t stelle) override {
    return dateien_.lesenAn(datei, ziel, stelle);
  }
  int laengeSetzen(int datei, std::int64_t bytes) override {
    return dateien_.laengeSetzen(datei, bytes);
  }
  int rechteSetzen(int datei, mode_t rechte) override {
    return dateien_.rechteSetzen(datei, rechte);
  }
  int aufPlatte(int datei) override { return dateien_.aufPlatte(datei); }
  int schliessen(int datei) override { return dateien_.schliessen(datei); }
  int umbenennen(const std::string& alt, const std::string& neu) override {
    return dateien_.umbenennen(alt, neu);
  }
  int verknuepfen(const std::string& alt, const std::string& neu) override {
    return dateien_.verknuepfen(alt, neu);
  }
  int ordnerAnlegen(const std::string& pfad) override { return dateien_.ordnerAnlegen(pfad); }
  int ordnerLesen(const std::string& pfad, std::vector<Eintrag>& eintraege) override {
    return dateien_.ordnerLesen(pfad, eintraege);
  }
  int zustand(const std::string& pfad, Zustand& ergebnis) override {
    return dateien_.zustand(pfad, ergebnis);
  }
  int zustandOffen(int datei, Zustand& ergebnis) override {
    return dateien_.zustandOffen(datei, ergebnis);
  }
  int sperren(int datei) override { return dateien_.sperren(datei); }
  int verweis(const std::string& pfad, std::string& ziel) override {
    return dateien_.verweis(pfad, ziel);
  }

 private:
  [[nodiscard]] bool gehoertDazu(const std::string& pfad);
  [[nodiscard]] bool unveraendert();
  [[nodiscard]] std::vector<std::string> verweise();

  Dateien& dateien_;
  std::string ordner_;              // without separators at its end; empty: nothing is watched
  std::optional<Zustand> eigener_;  // the folder itself
  std::vector<std::string> verweise_;
  std::atomic<bool> gemeldet_{false};
};

}  // namespace hallkorb
