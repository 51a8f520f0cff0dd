#include "platform/linux/screen/Bildvergleich.h"

#include <cstddef>
#include <cstring>

namespace hallkorb {

bool Bildvergleich::gleich(const BgrBild& bild) {
  if (!voriges_ || voriges_->breite() != bild.breite() || voriges_->hoehe() != bild.hoehe()) {
    return false;
  }
  const auto laenge = static_cast<std::size_t>(bild.breite()) * 4;
  const auto anders = [&](int zeile) {
    const auto y = static_cast<std::size_t>(zeile);
    return std::memcmp(bild.daten() + y * bild.zeilenLaenge(),
                       voriges_->daten() + y * voriges_->zeilenLaenge(), laenge) != 0;
  };
  if (andereZeile_ < bild.hoehe() && anders(andereZeile_)) return false;
  for (int zeile = 0; zeile < bild.hoehe(); ++zeile) {
    if (!anders(zeile)) continue;
    andereZeile_ = zeile;
    return false;
  }
  return true;
}

}  // namespace hallkorb
