#include "platform/linux/video/H264Schreiber.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

#include "base/Faden.h"
#include "base/Speichermangel.h"
#include "platform/HostClock.h"
#include "platform/linux/BgrBild.h"

namespace hallkorb {
namespace {

// An encoder that leaves pictures out has taken one again after a fraction of a second of them.
constexpr double NACHHOLEN_AM_ENDE = 2.0;

}  // namespace

Ergebnis H264Schreiber::moeglich(const VideoEinstellungen& einstellungen) {
  if (Ergebnis ergebnis = ladeLibav(); ergebnis.gescheitert()) return ergebnis;
  if (H264Kodierer::vorhandene() == nullptr) {
    return Fehler{"libav", ENOSYS, "libavcodec hat keinen brauchbaren H.264-Kodierer"};
  }
  const bool gerade = einstellungen.breite % 2 == 0 && einstellungen.hoehe % 2 == 0;
  if (!gerade || einstellungen.breite < 2 || einstellungen.hoehe < 2) {
    return Fehler::eigener(Fehlercode::ungeradesBild,
                           "Breite und Hoehe des Videos muessen gerade sein");
  }
  return {};
}

H264Schreiber::H264Schreiber(std::string pfad, const VideoEinstellungen& einstellungen,
                             const H264Art* art, Dateien& dateien, std::chrono::seconds sicherung)
    : pfad_(std::move(pfad)),
      einstellungen_(einstellungen),
      art_(art),
      haltezeit_(std::chrono::duration_cast<Uhr::duration>(
          std::chrono::duration<double>(einstellungen.haltezeit))),
      sicherung_(sicherung),
      datei_(dateien) {}

H264Schreiber::~H264Schreiber() {
  beendeFaden();
  [[maybe_unused]] const Ergebnis ergebnis = datei_.schliesse();
}

bool H264Schreiber::starte(double basis) {
  schweigeLibav();
  basis_ = basis;
  melde(fangeMangel([this] { return beginne(); }));
  if (gescheitert()) return false;
  {
    const std::lock_guard halter(lock_);
    laeuft_ = true;
  }
  auto faden = neuerFaden("video-kodierer", [this] { melde(fangeMangel([this] { laufe(); })); });
  if (!faden) {
    melde(fangeMangel([]() -> Ergebnis { return keinFaden(); }));
    beendeFaden();
    return false;
  }
  faden_ = std::move(*faden);
  return true;
}

Ergebnis H264Schreiber::beginne() {
  const double gehalten = std::ceil(einstellungen_.haltezeit * einstellungen_.bilderJeSekunde);
  plaetze_.resize(WARTEPLAETZE + static_cast<std::size_t>(gehalten));
  Ergebnis angelegt = legeAn(rest_);
  for (auto& [bild, faellig] : plaetze_) {
    if (angelegt.gelungen()) angelegt = legeAn(bild);
  }
  if (angelegt.gescheitert()) return angelegt;
  versucheAmEnde_ = static_cast<int>(NACHHOLEN_AM_ENDE * einstellungen_.bilderJeSekunde);
  const H264Art* art = art_ != nullptr ? art_ : H264Kodierer::vorhandene();
  if (art == nullptr) return Fehler{"libav", ENOSYS, "kein H.264-Kodierer"};
  if (Ergebnis ergebnis = kodierer_.oeffne(einstellungen_, *art); ergebnis.gescheitert()) {
    return ergebnis;
  }
  return datei_.beginne(pfad_, kodierer_.strom());
}

Ergebnis H264Schreiber::legeAn(LibavZeiger<AVFrame>& bild) const {
  bild.reset(av_frame_alloc());
  if (!bild) return Fehler::ausErrno(ENOMEM, "Videobild");
  bild->format = AV_PIX_FMT_YUV420P;
  bild->width = einstellungen_.breite;
  bild->height = einstellungen_.hoehe;
  const int code = av_frame_get_buffer(bild.get(), 0);
  return code < 0 ? Ergebnis(libavFehler(code, "Videobild")) : Ergebnis();
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
  if (pixel == nullptr) return false;
  Platz* platz = nullptr;
  {
    const std::lock_guard halter(lock_);
    if (!laeuft_ || fehler_ || wartende_ == plaetze_.size()) return false;
    platz = &plaetze_[(vorderstes_ + wartende_) % plaetze_.size()];
    if (std::exchange(verschoben_, false)) {
      basis_ = bild.zeit();
      letzter_ = -1;
    }
  }
  const std::int64_t zeit = takt(bild.zeit());
  if (zeit <= letzter_) return false;
  Ergebnis gezeichnet = fangeMangel([&] { return letterbox_.zeichne(*pixel, *platz->bild); });
  if (gezeichnet.gescheitert()) {
    melde(std::move(gezeichnet));
    return false;
  }
  platz->bild->pts = zeit;
  platz->faellig = Uhr::now() + haltezeit_;
  letzter_ = zeit;
  {
    const std::lock_guard halter(lock_);
    ++wartende_;
    if (wartende_ > 1) return true;  // it wakes for the one before
  }
  neues_.notify_one();
  return true;
}

void H264Schreiber::begrenze(std::optional<double> bis) {
  {
    const std::lock_guard halter(lock_);
    grenze_.reset();
    if (bis) {
      const std::chrono::duration<double> vonJetzt(*bis - hostSekunden());
      grenze_ = Uhr::now() + std::chrono::duration_cast<Uhr::duration>(vonJetzt);
    }
  }
  neues_.notify_one();
}

std::int64_t H264Schreiber::nimmZurueck() {
  const std::lock_guard halter(lock_);
  const std::size_t bleiben = inArbeit_ ? 1 : 0;
  const auto weg = static_cast<std::int64_t>(std::exchange(wartende_, bleiben) - bleiben);
  verschoben_ = verschoben_ || (weg > 0 && !angefangen_);
  return weg;
}

bool H264Schreiber::schliesseAb(double ende) {
  {
    const std::lock_guard halter(lock_);
    if (!laeuft_) return false;
  }
  beendeFaden();
  if (!gescheitert()) melde(sichere(takt(ende)));
  melde(gescheitert() ? datei_.schliesse() : datei_.schliesseAb(takt(ende)));
  return !gescheitert();
}

std::int64_t H264Schreiber::ausgelassen() const {
  const std::lock_guard halter(lock_);
  return ausgelassen_;
}

std::optional<Fehler> H264Schreiber::fehler() const {
  const std::lock_guard halter(lock_);
  return fehler_;
}

void H264Schreiber::laufe() {
  auto naechsteSicherung = Uhr::now() + sicherung_;
  std::unique_lock halter(lock_);
  while (!fehler_) {
    if (!istFaellig() && !istNachzuholen() && !zuEnde_) {
      neues_.wait_until(halter, naechstesEreignis(naechsteSicherung));
    }
    if (istFaellig()) {
      nimmVorderstes(halter);
    } else if (istNachzuholen()) {
      holeNach(halter);
    } else if (zuEnde_) {
      if (nachholen_) ++ausgelassen_;
      return;
    }
    if (Uhr::now() >= naechsteSicherung) {
      const std::int64_t bis =
          wartende_ > 0 ? plaetze_[vorderstes_].bild->pts : takt(hostSekunden());
      halter.unlock();
      melde(sichere(bis));
      halter.lock();
      naechsteSicherung = Uhr::now() + sicherung_;
    }
  }
}

// The first of the waiting is due after the limit.
bool H264Schreiber::gehalten() const {
  return grenze_ && plaetze_[vorderstes_].faellig > *grenze_;
}

bool H264Schreiber::istFaellig() const {
  if (wartende_ == 0) return false;
  return zuEnde_ || (Uhr::now() >= plaetze_[vorderstes_].faellig && !gehalten());
}

// A picture that waits is newer.
bool H264Schreiber::istNachzuholen() const {
  if (!nachholen_ || wartende_ > 0) return false;
  return zuEnde_ ? versucheAmEnde_ > 0 : Uhr::now() >= nachholzeit_;
}

H264Schreiber::Uhr::time_point H264Schreiber::naechstesEreignis(Uhr::time_point sicherung) const {
  if (wartende_ > 0) {
    return gehalten() ? sicherung : std::min(sicherung, plaetze_[vorderstes_].faellig);
  }
  return nachholen_ ? std::min(sicherung, nachholzeit_) : sicherung;
}

void H264Schreiber::nimmVorderstes(std::unique_lock<std::mutex>& halter) {
  LibavZeiger<AVFrame>& bild = plaetze_[vorderstes_].bild;
  inArbeit_ = angefangen_ = true;
  if (nachholen_) ++ausgelassen_;  // the one before is out of date
  halter.unlock();
  bild->pts = std::max(bild->pts, kodierter_ + 1);
  nachholen_ = !kodiere(*bild);
  if (nachholen_) std::swap(bild, rest_);
  halter.lock();
  inArbeit_ = false;
  vorderstes_ = (vorderstes_ + 1) % plaetze_.size();
  --wartende_;
}

// As if the screen had given the picture once more. At the end of the recording there is no time
// for that: then the attempts follow each other at once.
void H264Schreiber::holeNach(std::unique_lock<std::mutex>& halter) {
  const std::int64_t abstand = std::llround(H264Kodierer::TICKS / einstellungen_.bilderJeSekunde);
  if (zuEnde_) --versucheAmEnde_;
  rest_->pts = kodierter_ + (zuEnde_ ? 1 : abstand);
  halter.unlock();
  nachholen_ = !kodiere(*rest_);
  halter.lock();
}

// Returns false if the encoder has left the picture out.
bool H264Schreiber::kodiere(AVFrame& bild) {
  kodierter_ = bild.pts;
  nachholzeit_ =
      Uhr::now() + std::chrono::duration_cast<Uhr::duration>(
                       std::chrono::duration<double>(1.0 / einstellungen_.bilderJeSekunde));
  AVPacket* paket = nullptr;
  Ergebnis ergebnis = kodierer_.kodiere(bild, paket);
  const bool drin = paket != nullptr;
  if (ergebnis.gelungen() && drin) ergebnis = datei_.schreibe(*paket);
  const bool gescheitert = ergebnis.gescheitert();
  melde(std::move(ergebnis));
  return drin || gescheitert;
}

bool H264Schreiber::gescheitert() const {
  const std::lock_guard halter(lock_);
  return fehler_.has_value();
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
