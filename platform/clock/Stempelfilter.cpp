#include "platform/clock/Stempelfilter.h"

#include <algorithm>
#include <cmath>

namespace hallkorb {
namespace {

// How fast the level follows blocks in place: fast enough for any crystal, slow enough for jitter.
constexpr double NACHLAUF = 0.05;
// A false stamp is late by one block, give or take.
constexpr double EIN_BLOCK = 1.25;
// Stamps of one reading of the clock are this close: what a resampler holds is taken off them, and
// that wavers by some frames.
constexpr double GLEICH = 0.001;  // s

}  // namespace

void Stempelfilter::nimm(std::optional<double> stempel, double dauer) {
  const bool brauchbar = stempel && std::isfinite(*stempel) && *stempel > 0;
  Wartender& neu = ring_[(vorn_ + anzahl_++) % HOECHSTENS];
  neu.abweichung = brauchbar ? std::optional(*stempel - summe_) : std::nullopt;
  // Blocks can be shorter than GLEICH: half of what came since is less than a clock that runs
  // shows.
  neu.wiederholt =
      brauchbar && letzter_ && std::abs(*stempel - *letzter_) < std::min(GLEICH, seitLetztem_ / 2);
  neu.dauer = dauer;
  if (brauchbar && !neu.wiederholt) {
    letzter_ = stempel;
    seitLetztem_ = 0.0;
    bloeckeSeitLetztem_ = 0;
  } else if (++bloeckeSeitLetztem_ > 1 && neu.wiederholt) {
    neu.abweichung.reset();
    verwirfZweiten();
  }
  seitLetztem_ += dauer;
  summe_ += dauer;
  wartendDauer_ += dauer;
}

// The block after the last new stamp, if it still waits: its stamp is no true one either.
void Stempelfilter::verwirfZweiten() {
  if (bloeckeSeitLetztem_ > anzahl_) return;
  ring_[(vorn_ + anzahl_ - bloeckeSeitLetztem_) % HOECHSTENS].abweichung.reset();
}

std::optional<Stempelfilter::Ort> Stempelfilter::naechster(bool alles) {
  if (anzahl_ == 0) return std::nullopt;
  const Wartender& front = wartender(0);
  const bool reif = alles || (wartendDauer_ - front.dauer >= GEDULD && anzahl_ > MINDESTENS);
  if (!stand_ && front.abweichung) {
    if (!reif) return std::nullopt;
    stand_ = kleinste(0);
  }

  Ort ort;
  if (stand_) {
    const double unterschied = front.abweichung.value_or(*stand_) - *stand_;
    if (unterschied > TOLERANZ) {
      if (!ordneSpaetenEin(reif, ort)) return std::nullopt;
    } else if (unterschied < -TOLERANZ && front.wiederholt) {
      // The clock stands still. Otherwise the one before was late, and this one is in place.
    } else if (unterschied < -TOLERANZ) {
      ort.sprung = unterschied;
      *stand_ += unterschied;
    } else if (front.abweichung) {
      *stand_ += NACHLAUF * unterschied;
      ort.gemessen = true;
    }
    ort.zeit = position_ + (ort.gemessen ? *front.abweichung : *stand_);
  }

  position_ += front.dauer;
  wartendDauer_ -= front.dauer;
  vorn_ = (vorn_ + 1) % HOECHSTENS;
  if (--anzahl_ == 0) wartendDauer_ = 0.0;  // so that no rounding adds up
  return ort;
}

// Whether the late block at the front is decided.
bool Stempelfilter::ordneSpaetenEin(bool reif, Ort& ort) {
  const double wahr = kleinste(0).value_or(*stand_);
  if (wahr <= *stand_ + TOLERANZ) return true;  // a later one is in place: the stamp was false
  if (!reif) return false;
  if (einzeln()) return true;
  const double neu = mitteBei(wahr);
  ort.sprung = neu - *stand_;
  stand_ = neu;
  return true;
}

// Whether the front is late by one block and none of those that follow is as little late: a false
// stamp just before a loss. Both have the same cause, so they often come together.
bool Stempelfilter::einzeln() const {
  const Wartender& front = wartender(0);
  const std::optional<double> spaeter = kleinste(1);
  return spaeter && *spaeter > *front.abweichung + TOLERANZ &&
         *front.abweichung - *stand_ < EIN_BLOCK * front.dauer;
}

// The mean of those that are in place if `abweichung` is.
double Stempelfilter::mitteBei(double abweichung) const {
  double summe = 0.0;
  int zahl = 0;
  for (std::size_t i = 0; i < anzahl_; ++i) {
    const auto& a = wartender(i).abweichung;
    if (!a || std::abs(*a - abweichung) > TOLERANZ) continue;
    summe += *a - abweichung;
    ++zahl;
  }
  return zahl == 0 ? abweichung : abweichung + summe / zahl;
}

std::optional<double> Stempelfilter::kleinste(std::size_t ab) const {
  std::optional<double> bisher;
  for (std::size_t i = ab; i < anzahl_; ++i) {
    const auto& a = wartender(i).abweichung;
    if (a && (!bisher || *a < *bisher)) bisher = a;
  }
  return bisher;
}

const Stempelfilter::Wartender& Stempelfilter::wartender(std::size_t i) const {
  return ring_[(vorn_ + i) % HOECHSTENS];
}

void Stempelfilter::beginneNeu() {
  wartendDauer_ = summe_ = position_ = 0.0;
  stand_.reset();
  letzter_.reset();
  bloeckeSeitLetztem_ = 0;
}

}  // namespace hallkorb
