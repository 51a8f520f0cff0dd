// The files of one folder, as long as it is the folder that was chosen.
//
// A recording lasts for hours and opens a new file every few seconds, each time by the folder's
// path. Whoever may change a folder on that path could meanwhile lead it elsewhere, by a symbolic
// link or another user's folder, and would get the sound. So nothing is created, opened for writing
// or removed in a folder that has been exchanged; one line says so. A folder that was removed and
// made again by its owner is as good as the first, and is locked like it, since another recording
// may have begun in it. Such a folder is never written to, even after that recording has ended: its
// files have the same names.
//
// Between the check and the call there is a moment in which the folder can still be exchanged.
//
// Any thread, after beginne().
#pragma once

#include <mutex>
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
  Ordnerwacht(const Ordnerwacht&) = delete;
  Ordnerwacht& operator=(const Ordnerwacht&) = delete;
  ~Ordnerwacht() override;

  // From now on, `ordner` is what its path leads to now. `griff` is the open folder, which the
  // caller locks; negative if it could not be opened.
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
  enum class OrdnerBefund { gut, fremd, vergeben };
  struct Ordner {
    Zustand zustand;
    int griff;
  };

  [[nodiscard]] bool gehoertDazu(const std::string& pfad);
  [[nodiscard]] OrdnerBefund pruefe();
  [[nodiscard]] OrdnerBefund sperre(const Zustand& dort);
  [[nodiscard]] std::vector<std::string> verweise();

  Dateien& dateien_;
  std::string ordner_;             // without separators at its end; empty: nothing is watched
  std::optional<Zustand> erster_;  // the folder itself
  bool gesperrt_ = false;          // it is open and, if it can be, locked
  std::vector<std::string> verweise_;

  std::mutex lock_;                   // for what follows
  std::optional<Ordner> spaeterer_;   // the one that was made in its place, ours
  std::optional<Ordner> vergebener_;  // and one that another recording has locked
  OrdnerBefund gemeldet_ = OrdnerBefund::gut;
};

}  // namespace hallkorb
