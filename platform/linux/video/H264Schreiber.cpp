#include "platform/linux/video/H264Schreiber.h"

#include <cerrno>
#include <cmath>
#include <utility>

#include "base/Faden.h"
#include "platform/HostClock.h"
#include "platform/linux/BgrBild.h"

namespace hallkorb {
namespace {

constexpr std::chrono::seconds SICHERUNG{1};

}  // namespace

Ergebnis H264Schreiber::moeglich(const VideoEinstellungen& einstellungen) {
  if (Ergebnis ergebnis = ladeLibav(); ergebnis.gescheitert()) return ergebnis;
  if (H264Kodierer::vorhandene() == nullptr) {
    return Fehler{"libav", ENOSYS, "libavcodec hat keinen brauchbaren H.264-Kodierer"};
  }
  const bool gerade = einstellungen.breite % 2 == 0 && einstellungen.hoehe % 2 == 0;
  if (!gerade || einstellungen.breite < 2 || einstellungen.hoehe < 2) {
    return Fehler{"hallkorb", 3, "Breite und Hoehe des Videos muessen gerade sein"};
  }
  return {};
}

H264Schreiber::H264Schreiber(std::string pfad, const VideoEinstellungen& einstellungen,
                             const H264Art* art)
    : pfad_(std::move(pfad)), einstellungen_(einstellungen), art_(art) {}

H264Schreiber::~H264Schreiber() {
  beendeFaden();
  [[maybe_unused]] const Ergebnis ergebnis = datei_.schliesse();
}

bool H264Schreiber::starte(double basis) {
  schweigeLibav();
  basis_ = basis;
  const Ergebnis ergebnis = beginne();
  melde(ergebnis);
  if (ergebnis.gescheitert()) return false;
  {
    const std::lock_guard halter(lock_);
    laeuft_ = true;
  }
  auto faden = neuerFaden("video-kodierer", [this] { laufe(); });
  if (!faden) {
    melde(keinFaden());
    beendeFaden();
    return false;
  }
  faden_ = std::move(*faden);
  return true;
}

Ergebnis H264Schreiber::beginne() {
  for (auto& bild : bilder_) {
    bild.reset(av_frame_alloc());
    if (!bild) return Fehler::ausErrno(ENOMEM, "Videobild");
    bild->format = AV_PIX_FMT_YUV420P;
    bild->width = einstellungen_.breite;
    bild->height = einstellungen_.hoehe;
    if (const int code = av_frame_get_buffer(bild.get(), 0); code < 0) {
      return libavFehler(code, "Videobild");
    }
  }
  const H264Art* art = art_ != nullptr ? art_ : H264Kodierer::vorhandene();
  if (art == nullptr) return Fehler{"libav", ENOSYS, "kein H.264-Kodierer"};
  if (Ergebnis ergebnis = kodierer_.oeffne(einstellungen_, *art); ergebnis.gescheitert()) {
    return ergebnis;
  }
  return datei_.beginne(pfad_, kodierer_.strom());
}

bool H264Schreiber::schreibt() const {
  const std::lock_guard halter(lock_);
  return laeuft_ && !fehler_;
}

bool H264Schreiber::bereit() const {
  const std::lock_guard halter(lock_);
  return laeuft_ && !fehler_ && wartende_ < WARTEPLAETZE;
}

bool H264Schreiber::haengeAn(const Bild& bild) {
  const auto* pixel = dynamic_cast<const BgrBild*>(&bild);
  const std::int64_t zeit = takt(bild.zeit());
  if (pixel == nullptr || zeit <= letzter_) return false;
  AVFrame* ziel = nullptr;
  {
    const std::lock_guard halter(lock_);
    if (!laeuft_ || fehler_ || wartende_ == WARTEPLAETZE) return false;
    ziel = bilder_[(vorderstes_ + wartende_) % WARTEPLAETZE].get();
  }
  if (Ergebnis ergebnis = letterbox_.zeichne(*pixel, *ziel); ergebnis.gescheitert()) {
    melde(ergebnis);
    return false;
  }
  ziel->pts = zeit;
  letzter_ = zeit;
  {
    const std::lock_guard halter(lock_);
    ++wartende_;
  }
  neues_.notify_one();
  return true;
}

bool H264Schreiber::schliesseAb(double ende) {
  {
    const std::lock_guard halter(lock_);
    if (!laeuft_) return false;
  }
  beendeFaden();
  if (!fehler()) melde(sichere(takt(ende)));
  melde(fehler() ? datei_.schliesse() : datei_.schliesseAb(takt(ende)));
  return !fehler();
}

std::optional<Fehler> H264Schreiber::fehler() const {
  const std::lock_guard halter(lock_);
  return fehler_;
}

void H264Schreiber::laufe() {
  auto naechsteSicherung = Uhr::now() + SICHERUNG;
  std::unique_lock halter(lock_);
  while (!fehler_) {
    neues_.wait_until(halter, naechsteSicherung, [this] { return wartende_ > 0 || zuEnde_; });
    if (wartende_ > 0) {
      const AVFrame& bild = *bilder_[vorderstes_];
      halter.unlock();
      melde(kodiere(bild));
      halter.lock();
      vorderstes_ = (vorderstes_ + 1) % WARTEPLAETZE;
      --wartende_;
    } else if (zuEnde_) {
      return;
    }
    if (Uhr::now() >= naechsteSicherung) {
      const double jetzt = hostSekunden();
      halter.unlock();
      melde(sichere(takt(jetzt)));
      halter.lock();
      naechsteSicherung = Uhr::now() + SICHERUNG;
    }
  }
}

Ergebnis H264Schreiber::kodiere(const AVFrame& bild) {
  AVPacket* paket = nullptr;
  if (Ergebnis ergebnis = kodierer_.kodiere(bild, paket); ergebnis.gescheitert()) return ergebnis;
  if (paket == nullptr) return {};
  return datei_.schreibe(*paket);
}

Ergebnis H264Schreiber::sichere(std::int64_t bis) {
  if (Ergebnis ergebnis = datei_.sichere(); ergebnis.gescheitert()) return ergebnis;
  return datei_.verlaengere(bis);
}

void H264Schreiber::melde(Ergebnis ergebnis) {
  if (ergebnis.gelungen()) return;
  const std::lock_guard halter(lock_);
  if (!fehler_) fehler_ = std::move(ergebnis).fehler();
}

void H264Schreiber::beendeFaden() {
  {
    const std::lock_guard halter(lock_);
    zuEnde_ = true;
  }
  neues_.notify_one();
  if (faden_.joinable()) faden_.join();
  const std::lock_guard halter(lock_);
  laeuft_ = false;
}

std::int64_t H264Schreiber::takt(double zeit) const {
  return std::llround((zeit - basis_) * H264Kodierer::TICKS);
}

}  // namespace hallkorb
