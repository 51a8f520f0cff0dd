#include "audiofiles/Rohspur.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

#include "base/Ausgabe.h"

namespace hallkorb {

Rohspur::Rohspur(std::string pfad, double rate, Dateien& dateien)
    : pfad_(std::move(pfad)), rate_(rate), dateien_(dateien) {
  oeffne(0);
  if (!datei_) log("[hallkorb] mikro_roh.wav kann nicht angelegt werden: " + pfad_);
}

void Rohspur::oeffne(std::int64_t davor) {
  int grund = 0;
  datei_ =
      RohWav::oeffne(pfad_, static_cast<std::int64_t>(rate_), dateien_, nullptr, davor, &grund);
  davor_.reset();
  // ENXIO: a pipe without a reader.
  if (!datei_ && grund != ENXIO) davor_ = davor;
}

void Rohspur::holeNach(std::size_t anzahl) {
  const std::int64_t davor = *davor_;
  const auto danach = davor + static_cast<std::int64_t>(anzahl);
  const std::int64_t sekunde = std::max<std::int64_t>(std::llround(rate_), 1);
  davor_ = danach;
  if (danach > std::int64_t{RohWav::MAX_BYTES} / 2) {
    davor_.reset();
    log("[hallkorb] mikro_roh.wav: nach 2 GiB nicht mehr anzulegen; die Aufnahme geht ohne sie "
        "weiter");
  } else if (davor / sekunde != danach / sekunde) {
    oeffne(davor);
    if (davor_) davor_ = danach;
  }
}

void Rohspur::schreibe(std::span<const float> samples) {
  if (davor_) holeNach(samples.size());
  if (!datei_) return;
  const std::size_t passen = std::min(samples.size(), datei_->platz());
  datei_->schreiben(samples.first(passen));
  if (passen == samples.size()) return;
  log("[hallkorb] mikro_roh.wav: mit 2 GiB voll und abgeschlossen; die Aufnahme geht ohne sie "
      "weiter");
  schliesse();
}

void Rohspur::schliesse() {
  davor_.reset();
  if (!datei_) return;
  if (const Ergebnis ergebnis = datei_->schliessen(); ergebnis.gescheitert()) {
    log("[hallkorb] mikro_roh.wav: " + ergebnis.fehler().description);
  }
  datei_.reset();
}

}  // namespace hallkorb
