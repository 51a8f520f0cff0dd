#include "platform/linux/video/H264Schreiber.h"

#include <algorithm>
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
    : pfad_(std::move(pfad)),
      einstellungen_(einstellungen),
      art_(art),
      haltezeit_(std::chrono::duration_cast<Uhr::duration>(
          std::chrono::duration<double>(einstellungen.haltezeit))) {}

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
  const double gehalten = std::ceil(einstellungen_.haltezeit * einstellungen_.bilderJeSekunde);
  plaetze_.resize(WARTEPLAETZE + static_cast<std::size_t>(gehalten));
  for (auto& [bild, faellig] : plaetze_) {
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
  return laeuft_ && !fehler_ && wartende_ < plaetze_.size();
}

bool H264Schreiber::haengeAn(const Bild& bild) {
  const auto* pixel = dynamic_cast<const BgrBild*>(&bild);
  const std::int64_t zeit = takt(bild.zeit());
  if (pixel == nullptr || zeit <= letzter_) return false;
  Platz* platz = nullptr;
  {
    const std::lock_guard halter(lock_);
    if (!laeuft_ || fehler_ || wartende_ == plaetze_.size()) return false;
    platz = &plaetze_[(vorderstes_ + wartende_) % plaetze_.size()];
  }
  if (Ergebnis ergebnis = letterbox_.zeichne(*pixel, *platz->bild); ergebnis.gescheitert()) {
    melde(ergebnis);
    return false;
  }
  platz->bild->pts = zeit;
  // The file's first picture is not held back: players show nothing before it.
  platz->faellig = letzter_ < 0 ? Uhr::time_point::min() : Uhr::now() + haltezeit_;
  letzter_ = zeit;
  {
    const std::lock_guard halter(lock_);
    ++wartende_;
    if (wartende_ > 1) return true;  // it wakes for the one before
  }
  neues_.notify_one();
  return true;
}

std::int64_t H264Schreiber::nimmZurueck() {
  const std::lock_guard halter(lock_);
  const bool ersteBleibt =
      inArbeit_ || (wartende_ > 0 && plaetze_[vorderstes_].faellig == Uhr::time_point::min());
  const std::size_t bleiben = ersteBleibt ? 1 : 0;
  return static_cast<std::int64_t>(std::exchange(wartende_, bleiben) - bleiben);
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
    if (!istFaellig() && !zuEnde_) {
      neues_.wait_until(halter, naechstesEreignis(naechsteSicherung));
    }
    if (istFaellig()) {
      const AVFrame& bild = *plaetze_[vorderstes_].bild;
      inArbeit_ = true;
      halter.unlock();
      melde(kodiere(bild));
      halter.lock();
      inArbeit_ = false;
      vorderstes_ = (vorderstes_ + 1) % plaetze_.size();
      --wartende_;
    } else if (zuEnde_) {
      return;
    }
    if (Uhr::now() >= naechsteSicherung) {
      const std::int64_t bis =
          wartende_ > 0 ? plaetze_[vorderstes_].bild->pts : takt(hostSekunden());
      halter.unlock();
      melde(sichere(bis));
      halter.lock();
      naechsteSicherung = Uhr::now() + SICHERUNG;
    }
  }
}

// With `lock_` held.
bool H264Schreiber::istFaellig() const {
  return wartende_ > 0 && (zuEnde_ || Uhr::now() >= plaetze_[vorderstes_].faellig);
}

// With `lock_` held.
H264Schreiber::Uhr::time_point H264Schreiber::naechstesEreignis(Uhr::time_point sicherung) const {
  return wartende_ > 0 ? std::min(sicherung, plaetze_[vorderstes_].faellig) : sicherung;
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
