#include "platform/clock/Taktregler.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace hallkorb {
namespace {

constexpr double TAU = 1.0;  // s, of the mean
constexpr double ANFANG =
    2 * TAU;                       // s: a mean over this long has the age and the noise of that one
constexpr double DAEMPFUNG = 1.4;  // twice 0.7
constexpr double VORFILTER = 4.0;  // its corner over the loop's
constexpr double GROESSTER_FEHLER = 0.0004;  // s, the most that one block can contribute
constexpr double ANDERER_TAKT = 0.0004;      // s of mean error at which the loop opens again
constexpr double VERENGUNG = 3.0;            // the bandwidth is 1 / (VERENGUNG * time)

double anteil(double dauer, double tau) {
  return 1 - std::exp(-dauer / tau);
}

}  // namespace

void Taktregler::schritt(double dauer, std::optional<double> abweichung) {
  if (greiftEin_) {
    if (abweichung) regle(dauer, *abweichung - versatz_);
  } else if (abweichung) {
    beobachte(dauer, *abweichung);
  }
  zeit_ += dauer;
}

void Taktregler::beobachte(double dauer, double abweichung) {
  if (zeit_ < ANFANG) {
    anfangSumme_ += abweichung * dauer;
    anfangZeit_ += zeit_ * dauer;
    anfangDauer_ += dauer;
    mittel_ = anfangSumme_ / anfangDauer_;
    return;
  }
  if (anfangDauer_ <= 0) {  // no true stamp in all that time
    zeit_ = 0.0;
    return beobachte(dauer, abweichung);
  }
  mittel_ += anteil(dauer, TAU) * (abweichung - mittel_);
  const double weg = mittel_ - anfangSumme_ / anfangDauer_;
  const double seit = zeit_ - TAU - anfangZeit_ / anfangDauer_;
  if (std::abs(weg) <= TOTZONE || seit < TAU) return;
  greiftEin_ = true;
  frequenz_ = verhaeltnis_ = std::clamp(weg / seit, -HOECHSTENS, HOECHSTENS);
  versatz_ = mittel_ + frequenz_ * TAU;  // the mean lags behind by this much
  if (std::abs(versatz_) > RUECKSTAND) rueckstand_ = std::exchange(versatz_, 0.0);
  mittel_ = 0.0;
  bandbreite_ = std::clamp(1 / (VERENGUNG * zeit_), SCHMAL, BREIT);
}

void Taktregler::regle(double dauer, double fehler) {
  mittel_ += anteil(dauer, TAU) * (fehler - mittel_);
  if (std::abs(mittel_) > RUECKSTAND) {
    rueckstand_ = fehler;
    mittel_ = 0.0;
  }
  stelleBandbreite(dauer);
  const double w = 2 * std::numbers::pi * bandbreite_;
  const double begrenzt = std::clamp(fehler, -GROESSTER_FEHLER, GROESSTER_FEHLER);
  geglaettet_ += anteil(dauer, 1 / (VORFILTER * w)) * (begrenzt - geglaettet_);
  frequenz_ = std::clamp(frequenz_ + w * w * geglaettet_ * dauer, -HOECHSTENS, HOECHSTENS);
  verhaeltnis_ = frequenz_ + DAEMPFUNG * w * geglaettet_;
}

void Taktregler::stelleBandbreite(double dauer) {
  if (std::abs(mittel_) > ANDERER_TAKT) {
    bandbreite_ = std::min(BREIT, bandbreite_ * std::exp(dauer / TAU));
  } else {
    bandbreite_ = std::max(SCHMAL, bandbreite_ / (1 + VERENGUNG * bandbreite_ * dauer));
  }
}

}  // namespace hallkorb
