#include "meeting/Bildzustand.h"

#include <algorithm>
#include <utility>

#include "platform/HostClock.h"

namespace hallkorb {

Bildzustand::Bildzustand() : aktuellSeit_(hostSekunden()) {}

bool Bildzustand::beginneAufsicht() {
  const std::lock_guard halter(zustand_);
  if (abgebrochen_) return false;
  beaufsichtigt_ = true;
  return true;
}

bool Bildzustand::abgebrochen() const {
  const std::lock_guard halter(zustand_);
  return abgebrochen_;
}

Bildzustand::Stroeme Bildzustand::nimmStroeme() {
  const std::lock_guard halter(zustand_);
  Stroeme stroeme;
  if (std::exchange(streamWeg_, false)) stroeme.ausgedient = std::exchange(stream_, nullptr);
  stroeme.laufend = stream_;
  return stroeme;
}

bool Bildzustand::merkeStrom(Strom strom) {
  const std::lock_guard halter(zustand_);
  if (abgebrochen_) return false;
  stream_ = std::move(strom);
  return true;
}

void Bildzustand::stromGescheitert() {
  const std::lock_guard halter(zustand_);
  stream_ = nullptr;
  streamWeg_ = true;
}

void Bildzustand::stromWeg() {
  const std::lock_guard halter(zustand_);
  streamWeg_ = true;
}

Bildzustand::Schritt Bildzustand::entscheide(const MeetingKandidaten& kandidaten,
                                             const Wahl& beste) {
  const std::lock_guard halter(zustand_);
  if (laeuft_ && aktuell_ && !pauseGemeldet_ &&
      std::none_of(kandidaten.liste.begin(), kandidaten.liste.end(),
                   [this](const Wahl& w) { return w.id == aktuell_->id; })) {
    return beste.istFenster() ? Schritt::umschalten : Schritt::pausieren;
  }
  if (!beste.istFenster()) return Schritt::nichts;
  const bool ohneBild = streamWeg_ || pauseGemeldet_;
  if (aktuell_ && beste.gleichesFenster(*aktuell_)) {
    kandidat_.reset();
    if (beste.quelle != aktuell_->quelle) {
      schliesseQuelle();
      aktuell_ = beste;
    }
    return ohneBild ? Schritt::umschalten : Schritt::nichts;
  }
  if (ohneBild || (kandidat_ && beste.gleichesFenster(*kandidat_))) return Schritt::umschalten;
  kandidat_ = beste;
  return Schritt::nichts;
}

std::optional<Bildzustand::Uebergang> Bildzustand::uebernimm(const Wahl& wahl) {
  const std::lock_guard halter(zustand_);
  if (abgebrochen_) return std::nullopt;
  schliesseQuelle();
  aktuell_ = wahl;
  kandidat_.reset();
  pauseGemeldet_ = false;
  laeuft_ = true;
  return Uebergang{wechsel_++ == 0, hostSekunden()};
}

std::optional<double> Bildzustand::pausiere() {
  const std::lock_guard halter(zustand_);
  if (abgebrochen_) return std::nullopt;
  pauseGemeldet_ = true;
  buchen();
  return hostSekunden();
}

Bildzustand::Ende Bildzustand::brichAb() {
  const std::lock_guard halter(zustand_);
  abgebrochen_ = true;
  return {std::exchange(laeuft_, false), beaufsichtigt_, stream_};
}

std::vector<Bildzeiten::Eintrag> Bildzustand::schliesseZeiten() {
  const std::lock_guard halter(zustand_);
  schliesseQuelle();
  return zeiten_.laengsteZuerst();
}

// The time of the current source ends here; the time of a pause belongs to none.
void Bildzustand::schliesseQuelle() {
  if (pauseGemeldet_) {
    aktuellSeit_ = hostSekunden();
  } else {
    buchen();
  }
}

void Bildzustand::buchen() {
  const double jetzt = hostSekunden();
  if (aktuell_) zeiten_.buche(aktuell_->quelle, jetzt - aktuellSeit_);
  aktuellSeit_ = jetzt;
}

}  // namespace hallkorb
