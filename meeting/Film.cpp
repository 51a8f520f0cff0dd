#include "meeting/Film.h"

#include <cerrno>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Ordnerwacht.h"
#include "base/Speichermangel.h"
#include "base/Text.h"
#include "platform/HostClock.h"

namespace hallkorb {
namespace {

std::string text(const std::optional<Fehler>& fehler) {
  return fehler ? fehler->description : "unbekannt";
}

}  // namespace

Film::Film(std::string ziel, VideoWriterFactory& schreiber, Dateien& dateien)
    : ziel_(std::move(ziel)), schreiber_(schreiber), dateien_(dateien) {}

VideoEinstellungen Film::einstellungen() {
  return {.breite = BREITE,
          .hoehe = HOEHE,
          .bitrate = 1'400'000,
          .schluesselbildAbstand = 30,
          .bilderJeSekunde = 15.0,
          .haltezeit = 0.5};
}

Ergebnis Film::writerAnlegen() {
  if (schreiberAngelegt_) return {};
  if (const Ergebnis ergebnis = raeumePlatz(); ergebnis.gescheitert()) return ergebnis;
  Fehler fehler;
  auto writer = schreiber_.videoWriter(ziel_, einstellungen(), fehler);
  if (!writer) return fehler;
  schreiberAngelegt_ = true;
  const std::lock_guard halter(lock_);
  writer_ = std::move(writer);
  return {};
}

// The platform's writer goes by the path: it must not write where no other file may.
Ergebnis Film::raeumePlatz() {
  if (beharrlich([this] { return dateien_.loeschen(ziel_); }) != -Ordnerwacht::AUSGETAUSCHT)
    return {};
  return Fehler::ausErrno(Ordnerwacht::AUSGETAUSCHT, ziel_);
}

bool Film::nimm(const Bild& bild) {
  if (bild.status() != BildStatus::vollstaendig) return true;
  const std::lock_guard halter(lock_);
  if (!writer_) return true;
  if (bild.zeit() < frischAb_) return false;
  if (!basis_) beginne(bild.zeit());
  const bool genommen = writer_->schreibt() && writer_->bereit() && writer_->haengeAn(bild);
  if (genommen) ++frames_;
  meldeAusfall();
  return genommen || !writer_->schreibt();
}

void Film::zweifle() {
  const std::lock_guard halter(lock_);
  if (!writer_) return;
  const double jetzt = hostSekunden();
  if (!zweifel_) zweifel_ = jetzt;
  if (!seitBlick_) seitBlick_ = jetzt;
  writer_->begrenze(zweifel_);
}

void Film::beginneBlick() {
  const std::lock_guard halter(lock_);
  seitBlick_.reset();
}

void Film::klaere() {
  const std::lock_guard halter(lock_);
  zweifel_ = seitBlick_;
  if (writer_) writer_->begrenze(zweifel_);
}

void Film::nimmZurueck() {
  const std::lock_guard halter(lock_);
  frischAb_ = hostSekunden();
  if (writer_ && basis_) frames_ -= writer_->nimmZurueck();
}

// Tried once: what keeps a file from being begun does not go away by itself. The first picture may
// come long after the writer was made, and the folder is then another one.
void Film::beginne(double zeit) {
  basis_ = zeit;
  const Ergebnis platz = fangeMangel([this] { return raeumePlatz(); });
  if (platz.gelungen() && writer_->starte(zeit)) {
    Dateien::Zustand zustand;
    if (beharrlich([&] { return dateien_.zustand(ziel_, zustand); }) == 0) eigene_ = zustand;
    return;
  }
  ausfallGemeldet_ = true;
  log("[hallkorb] Video-Schreiber startete nicht: " +
      (platz.gescheitert() ? platz.fehler().description : text(writer_->fehler())));
}

void Film::pruefe() {
  const std::unique_lock halter(lock_, std::try_to_lock);
  if (!halter) return;
  meldeAusfall();
  pruefeOrt();
}

void Film::meldeAusfall() {
  if (!writer_ || !basis_ || ausfallGemeldet_ || writer_->schreibt()) return;
  ausfallGemeldet_ = true;
  log("[hallkorb] Video-Schreiber ausgefallen: " + text(writer_->fehler()));
}

// A folder that is removed takes the file along while the writer goes on in it.
void Film::pruefeOrt() {
  if (verlustGemeldet_ || ausfallGemeldet_ || amOrt()) return;
  verlustGemeldet_ = true;
  log("[hallkorb] Video-Datei entfernt, verschoben oder ersetzt: " + ziel_ +
      " — Ton laeuft weiter");
}

bool Film::amOrt() const {
  if (!eigene_) return true;
  Dateien::Zustand dort;
  const int nummer = beharrlich([&] { return dateien_.zustand(ziel_, dort); });
  return nummer == 0 ? dort.selbeDatei(*eigene_) : nummer != -ENOENT && nummer != -ENOTDIR;
}

Film::Aufnahme Film::entnimm() {
  const std::lock_guard halter(lock_);
  if (writer_ && basis_ && zweifel_) frames_ -= writer_->nimmZurueck();
  meldeAusfall();
  return {std::move(writer_), frames_};
}

void Film::verwirf() {
  std::unique_ptr<VideoWriter> weg;  // its end takes a while: without the lock
  const std::lock_guard halter(lock_);
  if (writer_ && basis_ && zweifel_) static_cast<void>(writer_->nimmZurueck());
  weg = std::move(writer_);
}

bool Film::schliesseAb(Aufnahme& aufnahme) {
  VideoWriter* writer = aufnahme.writer.get();
  if (writer == nullptr || aufnahme.frames < 1 || !writer->schreibt()) return false;
  // Finishing goes by the path.
  Dateien::Zustand zustand;
  int da = beharrlich([&] { return dateien_.zustand(ziel_, zustand); });
  if (da == 0 && eigene_ && !zustand.selbeDatei(*eigene_)) {
    log("[hallkorb] Video-Abschluss fehlgeschlagen: an ihrem Ort ist eine andere Datei");
    return false;
  }
  if (!writer->schliesseAb(hostSekunden())) {
    log("[hallkorb] Video-Abschluss fehlgeschlagen: " + text(writer->fehler()));
    return false;
  }
  aufnahme.frames -= writer->ausgelassen();
  // The folder may have been removed while the writer went on in a file without a name.
  da = beharrlich([&] { return dateien_.zustand(ziel_, zustand); });
  if (da == 0) return true;
  log("[hallkorb] Video-Abschluss fehlgeschlagen: " + Fehler::ausErrno(-da, ziel_).description);
  return false;
}

}  // namespace hallkorb
