#include "platform/macos/screen/SckStrom.h"

#include <utility>

namespace hallkorb {
namespace {

constexpr const char* DIENST = "der Dienst fuer Bildschirmaufnahmen";

}  // namespace

SckStrom::SckStrom(std::unique_ptr<StromAufrufe> aufrufe, std::chrono::milliseconds abbau)
    : aufrufe_(std::move(aufrufe)), abbau_(abbau) {}

SckStrom::~SckStrom() {
  static_cast<void>(beende());
}

Ergebnis SckStrom::starte(const Inhalt& inhalt, std::optional<std::uint32_t> fenster,
                          const StromEinstellungen& einstellungen, StromAusgang ausgang,
                          const char* queue, std::weak_ptr<StromEmpfaenger> empfaenger,
                          const std::shared_ptr<Wartestelle>& stelle, Wartestelle::Frist frist) {
  if (Ergebnis ergebnis = aufrufe_->baue(inhalt, fenster, einstellungen, std::move(empfaenger));
      ergebnis.gescheitert()) {
    return ergebnis;
  }
  gebaut_ = true;
  if (Ergebnis ergebnis = aufrufe_->verbinde(ausgang, queue); ergebnis.gescheitert()) {
    gibFrei();
    return ergebnis;
  }
  Antwort<Ergebnis> antwort(stelle);
  aufrufe_->starte(antwort.empfang());
  std::optional<Ergebnis> geantwortet = antwort.warte(frist);
  gestartet_ = geantwortet && geantwortet->gelungen();
  if (!gestartet_) {
    stoppeOhneWarten();
    gibFrei();
  }
  if (!geantwortet) return ohneAntwort(*stelle, DIENST);
  return *std::move(geantwortet);
}

Ergebnis SckStrom::wechsle(const Inhalt& inhalt, std::uint32_t fenster,
                           const std::shared_ptr<Wartestelle>& stelle, Wartestelle::Frist frist) {
  Antwort<Ergebnis> antwort(stelle);
  aufrufe_->wechsle(inhalt, fenster, antwort.empfang());
  return warteAuf(antwort, *stelle, frist, DIENST);
}

Ergebnis SckStrom::beende() {
  Ergebnis ergebnis;
  const bool lief = std::exchange(gestartet_, false);
  if (lief && beendet_) {
    stoppeOhneWarten();
  } else if (lief) {
    const auto stelle = std::make_shared<Wartestelle>();
    Antwort<Ergebnis> antwort(stelle);
    aufrufe_->stoppe(antwort.empfang());
    ergebnis = warteAuf(antwort, *stelle, Wartestelle::Uhr::now() + abbau_, DIENST);
  }
  gibFrei();
  return ergebnis;
}

void SckStrom::stoppeOhneWarten() {
  aufrufe_->stoppe([](const Ergebnis&) {});
}

void SckStrom::gibFrei() {
  if (std::exchange(gebaut_, false)) aufrufe_->gibFrei();
}

}  // namespace hallkorb
