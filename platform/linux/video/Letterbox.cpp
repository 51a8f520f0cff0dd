#include "platform/linux/video/Letterbox.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/linux/video/Farbwandler.h"

namespace hallkorb {
namespace {

constexpr int SCHWARZ_HELL = 16;
constexpr int SCHWARZ_FARBE = 128;

// Fills what lies around `flaeche` in one plane; `teiler` is the plane's resolution.
void schwaerze(std::uint8_t* ebene, int zeile, int breite, int hoehe, const Bildflaeche& flaeche,
               int teiler, int wert) {
  const int links = flaeche.x / teiler;
  const int rechts = links + flaeche.breite / teiler;
  const int oben = flaeche.y / teiler;
  const int unten = oben + flaeche.hoehe / teiler;
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

Bildflaeche flaecheIn(int zielBreite, int zielHoehe, int breite, int hoehe) {
  const double faktor =
      std::min(static_cast<double>(zielBreite) / breite, static_cast<double>(zielHoehe) / hoehe);
  Bildflaeche flaeche;
  flaeche.breite = std::min(gerade(breite * faktor), zielBreite);
  flaeche.hoehe = std::min(gerade(hoehe * faktor), zielHoehe);
  flaeche.x = (zielBreite - flaeche.breite) / 4 * 2;
  flaeche.y = (zielHoehe - flaeche.hoehe) / 4 * 2;
  return flaeche;
}

Ergebnis Letterbox::zeichne(const BgrBild& bild, AVFrame& ziel) {
  if (Ergebnis ergebnis = richteEin(bild, ziel); ergebnis.gescheitert()) return ergebnis;
  YuvEbenen ort;
  for (int i = 0; i < 3; ++i) {
    const int teiler = i == 0 ? 1 : 2;
    ort.daten[i] = ziel.data[i] +
                   static_cast<std::ptrdiff_t>(flaeche_.y / teiler) * ziel.linesize[i] +
                   flaeche_.x / teiler;
    ort.zeile[i] = ziel.linesize[i];
  }
  if (!zwischen_) {
    wandleFarben(bild, ort);
  } else {
    wandleFarben(bild, {{zwischen_->data[0], zwischen_->data[1], zwischen_->data[2]},
                        {zwischen_->linesize[0], zwischen_->linesize[1], zwischen_->linesize[2]}});
    const int code = libav().sws_scale(skalierer_.get(), zwischen_->data, zwischen_->linesize, 0,
                                       hoehe_, ort.daten, ziel.linesize);
    if (code < 0) return libavFehler(code, "Bildumwandlung");
  }
  // The black last: the scaler works in vectors and so writes a little beyond the end of rows.
  for (int i = 0; i < 3; ++i) {
    schwaerze(ziel.data[i], ziel.linesize[i], ziel.width, ziel.height, flaeche_, i == 0 ? 1 : 2,
              i == 0 ? SCHWARZ_HELL : SCHWARZ_FARBE);
  }
  return {};
}

Ergebnis Letterbox::richteEin(const BgrBild& bild, const AVFrame& ziel) {
  if (breite_ == bild.breite() && hoehe_ == bild.hoehe()) return {};
  breite_ = 0;  // until all of it is there
  zwischen_.reset();
  skalierer_.reset();
  flaeche_ = flaecheIn(ziel.width, ziel.height, bild.breite(), bild.hoehe());
  if (flaeche_.breite != bild.breite() || flaeche_.hoehe != bild.hoehe()) {
    if (Ergebnis ergebnis = legeZwischenbildAn(bild); ergebnis.gescheitert()) return ergebnis;
  }
  breite_ = bild.breite();
  hoehe_ = bild.hoehe();
  return {};
}

Ergebnis Letterbox::legeZwischenbildAn(const BgrBild& bild) {
  zwischen_.reset(av_frame_alloc());
  if (!zwischen_) return Fehler::ausErrno(ENOMEM, "Bildumwandlung");
  zwischen_->format = AV_PIX_FMT_YUV420P;
  zwischen_->width = bild.breite();
  zwischen_->height = bild.hoehe();
  if (const int code = av_frame_get_buffer(zwischen_.get(), 0); code < 0) {
    return libavFehler(code, "Bildumwandlung");
  }
  skalierer_.reset(libav().sws_getContext(bild.breite(), bild.hoehe(), AV_PIX_FMT_YUV420P,
                                          flaeche_.breite, flaeche_.hoehe, AV_PIX_FMT_YUV420P,
                                          SWS_BILINEAR, nullptr, nullptr, nullptr));
  if (skalierer_) return {};
  return Fehler{"libav", EINVAL,
                "Bilder von " + std::to_string(bild.breite()) + " x " +
                    std::to_string(bild.hoehe()) + " Punkten koennen nicht umgewandelt werden"};
}

}  // namespace hallkorb
