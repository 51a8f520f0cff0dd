#include "platform/linux/Letterbox.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace hallkorb {
namespace {

constexpr int SCHWARZ_HELL = 16;
constexpr int SCHWARZ_FARBE = 128;

// Fills what lies around `lage` in one plane; `teiler` is the plane's resolution.
void schwaerze(std::uint8_t* ebene, int zeile, int breite, int hoehe, const Lage& lage, int teiler,
               int wert) {
  const int links = lage.x / teiler;
  const int rechts = links + lage.breite / teiler;
  const int oben = lage.y / teiler;
  const int unten = oben + lage.hoehe / teiler;
  for (int y = 0; y < hoehe / teiler; ++y) {
    std::uint8_t* anfang = ebene + static_cast<std::ptrdiff_t>(y) * zeile;
    if (y < oben || y >= unten) {
      std::memset(anfang, wert, static_cast<std::size_t>(breite / teiler));
    } else {
      std::memset(anfang, wert, static_cast<std::size_t>(links));
      std::memset(anfang + rechts, wert, static_cast<std::size_t>(breite / teiler - rechts));
    }
  }
}

int gerade(double wert) {
  return std::max(2, static_cast<int>(std::lround(wert / 2.0)) * 2);
}

}  // namespace

Lage lageIn(int zielBreite, int zielHoehe, int breite, int hoehe) {
  const double faktor =
      std::min(static_cast<double>(zielBreite) / breite, static_cast<double>(zielHoehe) / hoehe);
  Lage lage;
  lage.breite = std::min(gerade(breite * faktor), zielBreite);
  lage.hoehe = std::min(gerade(hoehe * faktor), zielHoehe);
  lage.x = (zielBreite - lage.breite) / 4 * 2;
  lage.y = (zielHoehe - lage.hoehe) / 4 * 2;
  return lage;
}

Ergebnis Letterbox::zeichne(const BgrBild& bild, AVFrame& ziel) {
  if (auto fehler = richteEin(bild, ziel)) return fehler;
  std::uint8_t* ebenen[4] = {};
  for (int i = 0; i < 3; ++i) {
    const int teiler = i == 0 ? 1 : 2;
    const int wert = i == 0 ? SCHWARZ_HELL : SCHWARZ_FARBE;
    schwaerze(ziel.data[i], ziel.linesize[i], ziel.width, ziel.height, lage_, teiler, wert);
    ebenen[i] = ziel.data[i] + static_cast<std::ptrdiff_t>(lage_.y / teiler) * ziel.linesize[i] +
                lage_.x / teiler;
  }
  const std::uint8_t* quelle[4] = {bild.daten()};
  const int quellZeile[4] = {static_cast<int>(bild.zeilenLaenge())};
  const int zeilen =
      libav().sws_scale(wandler_.get(), quelle, quellZeile, 0, hoehe_, ebenen, ziel.linesize);
  if (zeilen < 0) return libavFehler(zeilen, "Bildumwandlung");
  return std::nullopt;
}

Ergebnis Letterbox::richteEin(const BgrBild& bild, const AVFrame& ziel) {
  if (wandler_ && breite_ == bild.breite() && hoehe_ == bild.hoehe()) return std::nullopt;
  breite_ = bild.breite();
  hoehe_ = bild.hoehe();
  lage_ = lageIn(ziel.width, ziel.height, breite_, hoehe_);
  wandler_.reset(libav().sws_getContext(breite_, hoehe_, AV_PIX_FMT_BGR0, lage_.breite, lage_.hoehe,
                                        AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr,
                                        nullptr));
  constexpr int VOLL = 1;
  constexpr int BEGRENZT = 0;
  constexpr int EINS = 1 << 16;
  const int* farben = libav().sws_getCoefficients(SWS_CS_ITU709);
  if (!wandler_ || libav().sws_setColorspaceDetails(wandler_.get(), farben, VOLL, farben, BEGRENZT,
                                                    0, EINS, EINS) < 0) {
    wandler_.reset();
    return Fehler{"libav", EINVAL,
                  "Bilder von " + std::to_string(breite_) + " x " + std::to_string(hoehe_) +
                      " Punkten koennen nicht umgewandelt werden"};
  }
  return std::nullopt;
}

}  // namespace hallkorb
