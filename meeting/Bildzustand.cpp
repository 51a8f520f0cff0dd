#include "meeting/Bildzustand.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/HostClock.h"

namespace hallkorb {

Bildzustand::Bildzustand() : aktuellSeit_(unixSekunden()) {}

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

Bildzustand::Schritt Bildzustand::entscheide(const MeetingKandidaten& kandidaten, const Wahl& beste,
                                             Anlass anlass) {
  const std::lock_guard halter(zustand_);
  bool wiederDa = false;
  if (laeuft_ && aktuell_ && !pauseGemeldet_) {
    const bool verschwunden = std::none_of(kandidaten.liste.begin(), kandidaten.liste.end(),
                                           [this](const Wahl& w) { return w.id == aktuell_->id; });
    if (verschwunden) {
      einlass_.reset();
      return beste.istFenster() ? Schritt::umschalten : Schritt::pausieren;
    }
    // It is a meeting again, and what was to replace it could not be recorded.
    wiederDa = !einlass_ && anlass == Anlass::takt;
    if (wiederDa) einlass_ = Einlass{aktuell_->id, hostSekunden()};
  }
  const Schritt schritt = folge(beste, anlass);
  return wiederDa && schritt == Schritt::nichts ? Schritt::auffrischen : schritt;
}

Bildzustand::Schritt Bildzustand::folge(const Wahl& beste, Anlass anlass) {
  if (!beste.istFenster()) return Schritt::nichts;
  if (anlass == Anlass::titel && (pauseGemeldet_ || !aktuell_)) return Schritt::nichts;
  const bool ohneBild = streamWeg_ || pauseGemeldet_;
  if (aktuell_ && beste.gleichesFenster(*aktuell_)) {
    kandidat_.reset();
    if (beste.quelle != aktuell_->quelle) {
      buchen();
      aktuell_ = beste;
    }
    return ohneBild ? Schritt::umschalten : Schritt::nichts;
  }
  if (anlass == Anlass::titel) return Schritt::nichts;
  if (ohneBild || (kandidat_ && beste.gleichesFenster(*kandidat_))) return Schritt::umschalten;
  kandidat_ = beste;
  return Schritt::nichts;
}

std::optional<Bildzustand::Einlass> Bildzustand::lasseEin(std::uint32_t fenster) {
  const std::lock_guard halter(zustand_);
  const double ab = pauseGemeldet_ ? hostSekunden() : std::numeric_limits<double>::lowest();
  return std::exchange(einlass_, Einlass{fenster, ab});
}

void Bildzustand::setzeEinlass(const std::optional<Einlass>& einlass) {
  const std::lock_guard halter(zustand_);
  einlass_ = einlass;
}

std::uint32_t Bildzustand::fenster() const {
  const std::lock_guard halter(zustand_);
  return aktuell_ ? aktuell_->id : 0;
}

bool Bildzustand::nimmtAuf() const {
  const std::lock_guard halter(zustand_);
  return einlass_.has_value();
}

bool Bildzustand::laesstEin(const Bild& bild) const {
  const std::lock_guard halter(zustand_);
  return einlass_ && bild.fenster() == einlass_->fenster && bild.zeit() >= einlass_->ab;
}

std::optional<Bildzustand::Uebergang> Bildzustand::uebernimm(const Wahl& wahl) {
  const std::lock_guard halter(zustand_);
  if (abgebrochen_) return std::nullopt;
  if (pauseGemeldet_) {
    aktuellSeit_ = unixSekunden();  // the pause belongs to no source
  } else {
    buchen();
  }
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
  einlass_.reset();
  buchen();
  return hostSekunden();
}

Bildzustand::Ende Bildzustand::brichAb() {
  const std::lock_guard halter(zustand_);
  abgebrochen_ = true;
  return {std::exchange(laeuft_, false), beaufsichtigt_, stream_};
}

std::vector<Bildzeiten::Quellenzeit> Bildzustand::schliesseZeiten() {
  const std::lock_guard halter(zustand_);
  buchen();
  return zeiten_.laengsteZuerst();
}

void Bildzustand::buchen() {
  const double jetzt = unixSekunden();
  // A clock that was set back has no seconds to book.
  if (aktuell_) zeiten_.buche(aktuell_->quelle, std::max(0.0, jetzt - aktuellSeit_));
  aktuellSeit_ = jetzt;
}

}  // namespace hallkorb
