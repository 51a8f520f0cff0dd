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
  if (!geantwortet) {
    if (!beendet_) aufrufe_->stoppe([](const Ergebnis&) {});
    geantwortet = ohneAntwort(*stelle, DIENST);
  }
  gestartet_ = geantwortet->gelungen();
  if (!gestartet_) gibFrei();
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
  if (std::exchange(gestartet_, false) && !beendet_) {
    const auto stelle = std::make_shared<Wartestelle>();
    Antwort<Ergebnis> antwort(stelle);
    aufrufe_->stoppe(antwort.empfang());
    ergebnis = warteAuf(antwort, *stelle, Wartestelle::Uhr::now() + abbau_, DIENST);
  }
  gibFrei();
  return ergebnis;
}

void SckStrom::gibFrei() {
  if (std::exchange(gebaut_, false)) aufrufe_->gibFrei();
}

}  // namespace hallkorb
