#include "platform/macos/video/AssetSchreiber.h"

#include <cerrno>
#include <cmath>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Dateien.h"
#include "base/Speichermangel.h"
#include "platform/macos/screen/MacBild.h"
#include "platform/macos/Wartestelle.h"

namespace hallkorb {
namespace {

constexpr Medienzeit FRAGMENT{2, 1};
constexpr const char* UNFERTIG =
    "die Datei ist nach der Wartezeit nicht fertig; sie kann noch vollstaendig werden";

}  // namespace

Medienzeit medienzeit(double sekunden) {
  return {std::llround(sekunden * 1e9), 1'000'000'000};
}

AssetSchreiber::AssetSchreiber(std::unique_ptr<SchreiberAufrufe> aufrufe, std::string pfad,
                               std::chrono::milliseconds abschluss)
    : aufrufe_(std::move(aufrufe)), pfad_(std::move(pfad)), abschluss_(abschluss) {}

std::unique_ptr<AssetSchreiber> AssetSchreiber::neu(std::unique_ptr<SchreiberAufrufe> aufrufe,
                                                    const std::string& pfad,
                                                    const VideoEinstellungen& einstellungen,
                                                    Fehler& fehler,
                                                    std::chrono::milliseconds abschluss) {
  Ergebnis ergebnis = aufrufe->baue(pfad, einstellungen);
  if (ergebnis.gelungen()) {
    // Must be set before the input is added.
    if (const Ergebnis ohne = aufrufe->setzeFragmente(FRAGMENT); ohne.gescheitert()) {
      log("[hallkorb] Video ohne Fragmente, nach einem Absturz nicht abspielbar: " +
          ohne.fehler().description);
    }
  }
  if (ergebnis.gelungen() && !aufrufe->nimmtEingang()) {
    ergebnis = Fehler::eigener(Fehlercode::keinVideoEingang,
                               "AVAssetWriter nimmt den Video-Eingang nicht an");
  }
  if (ergebnis.gelungen()) ergebnis = aufrufe->fuegeEingangHinzu();
  if (ergebnis.gescheitert()) {
    fehler = std::move(ergebnis).fehler();
    return nullptr;
  }
  return std::unique_ptr<AssetSchreiber>(new AssetSchreiber(std::move(aufrufe), pfad, abschluss));
}

bool AssetSchreiber::starte(double basis) {
  // The system refuses to overwrite a file. It has a call that removes one, but that one would take
  // a folder with all that is in it.
  static_cast<void>(beharrlich([this] { return posixDateien().loeschen(pfad_); }));
  // If the session could not be begun, the writer still reports that it is writing.
  begonnen_ = merke(fangeMangel([&] { return beginne(basis); }));
  return schreibt();
}

Ergebnis AssetSchreiber::beginne(double basis) {
  Ergebnis ergebnis = aufrufe_->beginneSchreiben();
  return ergebnis.gelungen() ? aufrufe_->setzeBeginn(medienzeit(basis)) : ergebnis;
}

bool AssetSchreiber::schreibt() const {
  return begonnen_ && aufrufe_->status() == SchreiberStatus::schreibt;
}

bool AssetSchreiber::bereit() const {
  return schreibt() && aufrufe_->bereit();
}

bool AssetSchreiber::haengeAn(const Bild& bild) {
  const void* probe = static_cast<const MacBild&>(bild).probe();
  return schreibt() && merke(fangeMangel([&] { return aufrufe_->haengeAn(probe); }));
}

bool AssetSchreiber::schliesseAb(double ende) {
  bool fertig = false;
  const Ergebnis ergebnis = fangeMangel([&] { fertig = vollende(ende); });
  return merke(ergebnis) && fertig;
}

bool AssetSchreiber::vollende(double ende) {
  if (!schreibt()) return false;
  // If these two fail, the file ends a little early, but can still be completed.
  merke(aufrufe_->markiereFertig());
  merke(aufrufe_->setzeEnde(medienzeit(ende)));
  Antwort<bool> antwort(std::make_shared<Wartestelle>());
  if (!merke(aufrufe_->schliesseAb([empfang = antwort.empfang()] { empfang(true); }))) return false;
  const bool geantwortet = antwort.warte(Wartestelle::Uhr::now() + abschluss_).has_value();
  if (aufrufe_->status() == SchreiberStatus::fertig) return true;
  // The system goes on with it.
  if (!geantwortet) merke(Fehler{"posix", ETIMEDOUT, UNFERTIG});
  return false;
}

// The writer's own error says more than that of a call.
std::optional<Fehler> AssetSchreiber::fehler() const {
  if (std::optional<Fehler> eigener = aufrufe_->fehler()) return eigener;
  const std::lock_guard halter(lock_);
  return fehler_;
}

bool AssetSchreiber::merke(Ergebnis ergebnis) {
  if (ergebnis.gelungen()) return true;
  const std::lock_guard halter(lock_);
  if (!fehler_) fehler_ = std::move(ergebnis).fehler();
  return false;
}

}  // namespace hallkorb
