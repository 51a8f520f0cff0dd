// A capture that is only listened to for a moment: does it start, how loud is it, what was in it.
//
// The listener's side runs on the capture's thread; everything else belongs to the caller.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/AudioInput.h"
#include "platform/Plattform.h"

namespace hallkorb {

// Linear, from 0 to 1.
struct Pegelstand {
  double spitze = 0.0;
  double effektiv = 0.0;
  bool leer = true;  // not one sample has come
};

// dBFS; at least -99.
[[nodiscard]] double inDb(double linear);

class Pegelprobe final : private AudioInputListener {
 public:
  static constexpr double RATE = 16000.0;  // Hz, of what is kept

  Pegelprobe(std::unique_ptr<AudioInput> eingang, Plattform& plattform);
  Pegelprobe(const Pegelprobe&) = delete;
  Pegelprobe& operator=(const Pegelprobe&) = delete;
  ~Pegelprobe();

  [[nodiscard]] Ergebnis starte();
  void halt();

  // Loudness since the last call.
  [[nodiscard]] Pegelstand seitLetztem();
  // Loudness since the start.
  [[nodiscard]] Pegelstand gesamt();
  // Keeps what comes from now on, sample 0 at host time `null`.
  void behalteAb(double null);
  [[nodiscard]] std::vector<float> behalten();
  // What the capture has reported beside its sound: that it has no priority, that it was cut off
  // and has not come back.
  [[nodiscard]] std::optional<Fehler> ohneVorrang();
  [[nodiscard]] std::optional<Fehler> unterbrechung();

 private:
  struct Summe {
    double spitze = 0.0;
    double quadrate = 0.0;
    std::size_t anzahl = 0;

    void nimm(double wert);
    [[nodiscard]] Pegelstand stand() const;
  };

  void block(const PcmBlock& block) override;
  void unterbrochen(const Fehler& fehler) override;
  void fortgesetzt() override;
  void verloren(std::uint64_t) override {}
  void hinweis(const Fehler& fehler) override;
  void lege(const PcmBlock& block);

  std::unique_ptr<AudioInput> eingang_;
  Plattform& plattform_;
  std::mutex lock_;  // for all below
  Summe neu_;
  Summe alle_;
  std::optional<double> null_;
  std::optional<PcmFormat> format_;
  std::unique_ptr<AudioConverter> konverter_;
  std::vector<float> behalten_;
  std::vector<float> platz_;
  std::optional<Fehler> hinweis_;
  std::optional<Fehler> unterbrechung_;
};

}  // namespace hallkorb
