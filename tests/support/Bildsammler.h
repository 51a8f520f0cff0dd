// Listens to a window's stream and keeps of each picture what a test asks about.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/linux/BgrBild.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

// A copied picture.
struct Aufnahme {
  double zeit = 0.0;
  int breite = 0;
  int hoehe = 0;
  std::uint32_t fenster = 0;
  std::vector<std::uint8_t> daten;

  // The colour of a pixel as 0xRRGGBB.
  [[nodiscard]] std::uint32_t farbe(int x, int y) const {
    const std::size_t i = (static_cast<std::size_t>(y) * static_cast<std::size_t>(breite) +
                           static_cast<std::size_t>(x)) *
                          4;
    return std::uint32_t{daten[i + 2]} << 16 | std::uint32_t{daten[i + 1]} << 8 | daten[i];
  }
};

class Bildsammler final : public WindowStreamListener {
 public:
  bool bild(const Bild& bild) override {
    const auto& bgr = dynamic_cast<const BgrBild&>(bild);
    Aufnahme neu{bild.zeit(), bgr.breite(), bgr.hoehe(), bild.fenster(), {}};
    neu.daten.assign(bgr.daten(),
                     bgr.daten() + bgr.zeilenLaenge() * static_cast<std::size_t>(bgr.hoehe()));
    const std::lock_guard halter(lock_);
    zeiten_.push_back(bild.zeit());
    letztes_ = std::move(neu);
    neues_.notify_all();
    if (ablehnungen_ == 0) return true;
    --ablehnungen_;
    return false;
  }
  void titelGeaendert() override {
    const std::lock_guard halter(lock_);
    ++titel_;
    neues_.notify_all();
  }
  void gestoppt(const Fehler& fehler) override {
    const std::lock_guard halter(lock_);
    fehler_.push_back(fehler);
    neues_.notify_all();
  }

  // Waits for a picture, later than all that have been waited for, of which `bedingung` holds; and
  // returns it. nullopt if none comes in time.
  std::optional<Aufnahme> warteAuf(const std::function<bool(const Aufnahme&)>& bedingung,
                                   double sekunden = 60.0) {
    std::unique_lock halter(lock_);
    const bool da = neues_.wait_for(halter, std::chrono::duration<double>(sekunden), [&] {
      return letztes_ && letztes_->zeit > gesehen_ && bedingung(*letztes_);
    });
    if (!da) return std::nullopt;
    gesehen_ = letztes_->zeit;
    return letztes_;
  }
  std::optional<Aufnahme> warteAufBild(double sekunden = 60.0) {
    return warteAuf([](const Aufnahme&) { return true; }, sekunden);
  }
  bool warteAufAnzahl(std::size_t anzahl, double sekunden = 60.0) {
    std::unique_lock halter(lock_);
    return neues_.wait_for(halter, std::chrono::duration<double>(sekunden),
                           [&] { return zeiten_.size() >= anzahl; });
  }
  bool warteAufTitel(std::size_t anzahl, double sekunden = 60.0) {
    std::unique_lock halter(lock_);
    return neues_.wait_for(halter, std::chrono::duration<double>(sekunden),
                           [&] { return titel_ >= anzahl; });
  }
  bool warteAufEnde(double sekunden = 60.0) {
    std::unique_lock halter(lock_);
    return neues_.wait_for(halter, std::chrono::duration<double>(sekunden),
                           [&] { return !fehler_.empty(); });
  }

  // Has no room for the next pictures, which it keeps all the same.
  void lehneAb(std::size_t anzahl) {
    const std::lock_guard halter(lock_);
    ablehnungen_ = anzahl;
  }
  // How often a new title was reported.
  [[nodiscard]] std::size_t titel() const {
    const std::lock_guard halter(lock_);
    return titel_;
  }
  [[nodiscard]] std::vector<double> zeiten() const {
    const std::lock_guard halter(lock_);
    return zeiten_;
  }
  [[nodiscard]] std::vector<Fehler> fehler() const {
    const std::lock_guard halter(lock_);
    return fehler_;
  }

 private:
  mutable std::mutex lock_;
  std::condition_variable neues_;
  std::vector<double> zeiten_;
  std::vector<Fehler> fehler_;
  std::size_t titel_ = 0;
  std::size_t ablehnungen_ = 0;
  std::optional<Aufnahme> letztes_;
  double gesehen_ = 0.0;
};

}  // namespace hallkorb
