#include "session/Pegel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace hallkorb {
namespace {

constexpr std::int64_t PRO_SEKUNDE = 100;
constexpr std::size_t TEILUNG = 4;
constexpr std::size_t KLEINSTE = 512;  // pairs; a level of fewer is drawn as fast as none
constexpr std::int16_t VOLL = 32700;

// The next coarser level.
std::vector<std::int8_t> groeber(const std::vector<std::int8_t>& fein) {
  std::vector<std::int8_t> grob;
  grob.reserve(fein.size() / TEILUNG + 2);
  for (std::size_t i = 0; i < fein.size(); i += 2 * TEILUNG) {
    const std::size_t bis = std::min(i + 2 * TEILUNG, fein.size());
    std::int8_t tiefster = fein[i];
    std::int8_t hoechster = fein[i + 1];
    for (std::size_t j = i + 2; j < bis; j += 2) {
      tiefster = std::min(tiefster, fein[j]);
      hoechster = std::max(hoechster, fein[j + 1]);
    }
    grob.push_back(tiefster);
    grob.push_back(hoechster);
  }
  return grob;
}

}  // namespace

std::int8_t pegelwert(std::int16_t sample) {
  const double betrag = std::sqrt(std::abs(static_cast<double>(sample)) / 32768.0);
  const auto wert = static_cast<int>(std::ceil(betrag * 127.0));
  return static_cast<std::int8_t>(sample < 0 ? -wert : wert);
}

Pegelbau::Pegelbau(std::int64_t rate, std::int64_t samples)
    : laenge_(std::max<std::int64_t>(samples, 0)),
      breite_(std::max<std::int64_t>(rate / PRO_SEKUNDE, 1)) {
  while ((laenge_ - 1) / breite_ >= MAX_PAARE)
    breite_ *= 2;
  proSekunde_ = static_cast<double>(rate) / static_cast<double>(breite_);
  const auto paare = static_cast<std::size_t>((laenge_ + breite_ - 1) / breite_);
  tiefste_.assign(paare, INT16_MAX);
  hoechste_.assign(paare, INT16_MIN);
}

void Pegelbau::nimm(std::int64_t ab, std::span<const std::int16_t> samples) {
  if (ab < 0 || ab >= laenge_) return;
  const std::int64_t bis = std::min(laenge_ - ab, static_cast<std::int64_t>(samples.size())) + ab;
  for (std::int64_t von = ab; von < bis;) {
    const std::int64_t paar = von / breite_;
    const std::int64_t ende = std::min((paar + 1) * breite_, bis);
    const auto teil =
        samples.subspan(static_cast<std::size_t>(von - ab), static_cast<std::size_t>(ende - von));
    const auto [tiefster, hoechster] = std::minmax_element(teil.begin(), teil.end());
    auto& unten = tiefste_[static_cast<std::size_t>(paar)];
    auto& oben = hoechste_[static_cast<std::size_t>(paar)];
    unten = std::min(unten, *tiefster);
    oben = std::max(oben, *hoechster);
    von = ende;
  }
}

Pegel Pegelbau::baue() const {
  Pegel pegel;
  pegel.proSekunde = proSekunde_;
  std::vector<std::int8_t> feinste(2 * tiefste_.size(), 0);
  for (std::size_t i = 0; i < tiefste_.size(); ++i) {
    if (tiefste_[i] > hoechste_[i]) continue;  // nothing was there
    feinste[2 * i] = pegelwert(tiefste_[i]);
    feinste[2 * i + 1] = pegelwert(hoechste_[i]);
    pegel.uebersteuert += tiefste_[i] <= -VOLL || hoechste_[i] >= VOLL;
  }
  pegel.stufen.push_back(std::move(feinste));
  while (pegel.stufen.back().size() > 2 * KLEINSTE)
    pegel.stufen.push_back(groeber(pegel.stufen.back()));
  return pegel;
}

}  // namespace hallkorb
