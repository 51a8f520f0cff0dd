#include "platform/linux/video/Letterbox.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace hallkorb {
namespace {

constexpr int SCHWARZ_HELL = 16;
constexpr int SCHWARZ_FARBE = 128;
constexpr std::size_t BYTES_JE_PUNKT = 4;
constexpr std::size_t UEBERHANG = 256;  // bytes that are read beyond a row, at most

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
  if (Ergebnis ergebnis = richteEin(bild, ziel); ergebnis.gescheitert()) return ergebnis;
  std::uint8_t* ebenen[4] = {};
  for (int i = 0; i < 3; ++i) {
    const int teiler = i == 0 ? 1 : 2;
    ebenen[i] = ziel.data[i] + static_cast<std::ptrdiff_t>(lage_.y / teiler) * ziel.linesize[i] +
                lage_.x / teiler;
  }
  // The scaler works in vectors and so reads and writes a little beyond the end of rows. Behind the
  // picture's last rows there may be no memory, so they are read from a copy with room behind it.
  const std::size_t zeile = bild.zeilenLaenge();
  const int kopierte = std::min(hoehe_, 1 + static_cast<int>(UEBERHANG / zeile));
  const int obere = hoehe_ - kopierte;
  const std::uint8_t* rest = bild.daten() + zeile * static_cast<std::size_t>(obere);
  // Of the last row no more than its pixels are the picture's.
  const std::size_t bytes = zeile * static_cast<std::size_t>(kopierte - 1) +
                            static_cast<std::size_t>(breite_) * BYTES_JE_PUNKT;
  ende_.resize(zeile * static_cast<std::size_t>(kopierte) + UEBERHANG);
  std::memcpy(ende_.data(), rest, bytes);
  if (Ergebnis ergebnis = wandle(bild.daten(), zeile, 0, obere, ebenen, ziel);
      ergebnis.gescheitert())
    return ergebnis;
  if (Ergebnis ergebnis = wandle(ende_.data(), zeile, obere, kopierte, ebenen, ziel);
      ergebnis.gescheitert())
    return ergebnis;
  // The black last: it covers what was written beyond the rows.
  for (int i = 0; i < 3; ++i) {
    schwaerze(ziel.data[i], ziel.linesize[i], ziel.width, ziel.height, lage_, i == 0 ? 1 : 2,
              i == 0 ? SCHWARZ_HELL : SCHWARZ_FARBE);
  }
  return {};
}

// Takes the next rows of the picture.
Ergebnis Letterbox::wandle(const std::uint8_t* daten, std::size_t zeile, int ab, int anzahl,
                           std::uint8_t* const ebenen[], AVFrame& ziel) {
  if (anzahl == 0) return {};
  const std::uint8_t* quelle[4] = {daten};
  const int quellZeile[4] = {static_cast<int>(zeile)};
  const int code =
      libav().sws_scale(wandler_.get(), quelle, quellZeile, ab, anzahl, ebenen, ziel.linesize);
  if (code < 0) return libavFehler(code, "Bildumwandlung");
  return {};
}

Ergebnis Letterbox::richteEin(const BgrBild& bild, const AVFrame& ziel) {
  if (wandler_ && breite_ == bild.breite() && hoehe_ == bild.hoehe()) return {};
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
  return {};
}

}  // namespace hallkorb
