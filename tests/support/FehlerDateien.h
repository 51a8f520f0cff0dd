// The real files, with the failures a test asks for: the n-th call, of one kind or of all, fails
// with a given error number; writes and reads come back short.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Dateien.h"

namespace hallkorb {

class FehlerDateien : public Dateien {
 public:
  enum class Ruf {
    oeffnen,
    lesen,
    schreiben,
    schreibenAn,
    laengeSetzen,
    rechteSetzen,
    schliessen,
    umbenennen,
    loeschen,
    ordnerAnlegen,
    zustand,
    verweis,
    zustandOffen,
    sperren,
    lesenAn,
    aufPlatte,
    verknuepfen,
    ordnerLesen
  };
  static constexpr std::size_t RUFE = 18;
  static constexpr std::size_t IMMER = std::numeric_limits<std::size_t>::max();
  // Instead of an error number: the call moves half of its bytes. Others succeed.
  static constexpr int KURZ = -1;

  explicit FehlerDateien(Dateien& echt = posixDateien()) : echt_(echt) {}

  // From now on, the calls number n to n + dauer - 1 (of this kind, counted from 0) fail.
  void scheitere(Ruf ruf, std::size_t n, int nummer, std::size_t dauer = 1) {
    plaene_.push_back({ruf, n, dauer, nummer});
  }
  // The same, all kinds counted together.
  void scheitere(std::size_t n, int nummer, std::size_t dauer = 1) {
    plaene_.push_back({std::nullopt, n, dauer, nummer});
  }
  // The disk has room again.
  void scheitereNichtMehr() { plaene_.clear(); }
  // No call moves more than `bytes` bytes.
  void kurz(std::size_t bytes) { kurz_ = bytes; }

  // Of a positioned write only the last `bytes` bytes are stored, after a hole of the same length
  // as the others: so long recordings of silence take no room.
  void nurDasEnde(std::size_t bytes) { ende_ = bytes; }

  // Called before each call is carried out (or fails).
  std::function<void(Ruf)> vorher;
  // Called with each call that fails or is short because of scheitere().
  std::function<void()> beimScheitern;

  [[nodiscard]] std::size_t rufe() const { return rufe_; }
  [[nodiscard]] std::size_t rufe(Ruf ruf) const { return jeArt_[static_cast<std::size_t>(ruf)]; }

  int oeffnen(const std::string& pfad, int flags, mode_t rechte) override {
    return fuehreAus(Ruf::oeffnen, [&] { return echt_.oeffnen(pfad, flags, rechte); });
  }
  ssize_t lesen(int datei, std::span<std::uint8_t> ziel) override {
    return fuehreAus(Ruf::lesen, [&] { return echt_.lesen(datei, ziel.first(teil(ziel.size()))); });
  }
  ssize_t schreiben(int datei, std::span<const std::uint8_t> bytes) override {
    return fuehreAus(Ruf::schreiben,
                     [&] { return echt_.schreiben(datei, bytes.first(teil(bytes.size()))); });
  }
  // Neither counted nor made to fail: it does nothing to a file.
  int warteAufPlatz(int datei, std::chrono::milliseconds hoechstens) override {
    return echt_.warteAufPlatz(datei, hoechstens);
  }
  ssize_t lesenAn(int datei, std::span<std::uint8_t> ziel, std::int64_t stelle) override {
    return fuehreAus(Ruf::lesenAn,
                     [&] { return echt_.lesenAn(datei, ziel.first(teil(ziel.size())), stelle); });
  }
  ssize_t schreibenAn(int datei, std::span<const std::uint8_t> bytes,
                      std::int64_t stelle) override {
    return fuehreAus(Ruf::schreibenAn, [&] {
      const auto teil = bytes.first(std::min(bytes.size(), kurz_));
      const std::size_t loch = teil.size() - std::min(teil.size(), ende_);
      const ssize_t n =
          echt_.schreibenAn(datei, teil.subspan(loch), stelle + static_cast<std::int64_t>(loch));
      return n < 0 ? n : n + static_cast<ssize_t>(loch);
    });
  }
  int laengeSetzen(int datei, std::int64_t bytes) override {
    return fuehreAus(Ruf::laengeSetzen, [&] { return echt_.laengeSetzen(datei, bytes); });
  }
  int rechteSetzen(int datei, mode_t rechte) override {
    return fuehreAus(Ruf::rechteSetzen, [&] { return echt_.rechteSetzen(datei, rechte); });
  }
  int aufPlatte(int datei) override {
    return fuehreAus(Ruf::aufPlatte, [&] { return echt_.aufPlatte(datei); });
  }
  // Closes also when it fails, as the system does.
  int schliessen(int datei) override {
    const int ergebnis = echt_.schliessen(datei);
    return fuehreAus(Ruf::schliessen, [&] { return ergebnis; });
  }
  int umbenennen(const std::string& alt, const std::string& neu) override {
    return fuehreAus(Ruf::umbenennen, [&] { return echt_.umbenennen(alt, neu); });
  }
  int verknuepfen(const std::string& alt, const std::string& neu) override {
    return fuehreAus(Ruf::verknuepfen, [&] { return echt_.verknuepfen(alt, neu); });
  }
  int loeschen(const std::string& pfad) override {
    return fuehreAus(Ruf::loeschen, [&] { return echt_.loeschen(pfad); });
  }
  int ordnerAnlegen(const std::string& pfad) override {
    return fuehreAus(Ruf::ordnerAnlegen, [&] { return echt_.ordnerAnlegen(pfad); });
  }
  int ordnerLesen(const std::string& pfad, std::vector<Eintrag>& eintraege) override {
    return fuehreAus(Ruf::ordnerLesen, [&] { return echt_.ordnerLesen(pfad, eintraege); });
  }
  int zustand(const std::string& pfad, Zustand& ergebnis) override {
    return fuehreAus(Ruf::zustand, [&] { return echt_.zustand(pfad, ergebnis); });
  }
  int verweis(const std::string& pfad, std::string& ziel) override {
    return fuehreAus(Ruf::verweis, [&] { return echt_.verweis(pfad, ziel); });
  }
  int zustandOffen(int datei, Zustand& ergebnis) override {
    return fuehreAus(Ruf::zustandOffen, [&] { return echt_.zustandOffen(datei, ergebnis); });
  }
  int sperren(int datei) override {
    return fuehreAus(Ruf::sperren, [&] { return echt_.sperren(datei); });
  }

 private:
  struct Plan {
    std::optional<Ruf> ruf;
    std::size_t noch;   // calls before the first failure
    std::size_t dauer;  // failures left
    int nummer;
  };

  [[nodiscard]] std::size_t teil(std::size_t bytes) const {
    return std::min(halb_ ? (bytes + 1) / 2 : bytes, kurz_);
  }

  template <class Tat>
  auto fuehreAus(Ruf ruf, Tat tat) -> decltype(tat()) {
    if (vorher) vorher(ruf);
    ++rufe_;
    ++jeArt_[static_cast<std::size_t>(ruf)];
    int nummer = 0;
    for (Plan& plan : plaene_) {
      if (plan.ruf && *plan.ruf != ruf) continue;
      if (plan.noch > 0) {
        --plan.noch;
      } else if (plan.dauer > 0) {
        if (plan.dauer != IMMER) --plan.dauer;
        if (nummer == 0) nummer = plan.nummer;
      }
    }
    if (nummer != 0 && beimScheitern) beimScheitern();
    halb_ = nummer == KURZ;
    if (nummer > 0) return -nummer;
    return tat();
  }

  Dateien& echt_;
  std::vector<Plan> plaene_;
  std::size_t kurz_ = IMMER;
  bool halb_ = false;
  std::size_t ende_ = IMMER;
  std::size_t rufe_ = 0;
  std::array<std::size_t, RUFE> jeArt_{};
};

}  // namespace hallkorb
