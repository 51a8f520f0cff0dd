#include "platform/macos/audio/MikrofonGeraet.h"

#include <optional>
#include <utility>

namespace hallkorb {
namespace {

Fehler keinMikrofon() {
  return Fehler::eigener(Fehlercode::keinMikrofon, "kein Mikrofon gefunden");
}

Fehler veraendert() {
  return Fehler::eigener(Fehlercode::geraetGewechselt, "das Eingabegeraet hat gewechselt");
}

}  // namespace

MikrofonGeraet::MikrofonGeraet(std::unique_ptr<EngineAufrufe> engine)
    : engine_(std::move(engine)) {}

Ergebnis MikrofonGeraet::holeErlaubnis(const std::shared_ptr<Wartestelle>& stelle,
                                       Wartestelle::Frist frist) {
  Erlaubnis erlaubnis = engine_->erlaubnis();
  if (erlaubnis == Erlaubnis::nichtGefragt) {
    Antwort<bool> antwort(stelle);
    engine_->frageErlaubnis(antwort.empfang());
    const std::optional<bool> erteilt = antwort.warte(frist);
    if (!erteilt && stelle->abgebrochen()) return ohneAntwort(*stelle, {});
    if (erteilt) erlaubnis = *erteilt ? Erlaubnis::erteilt : Erlaubnis::verweigert;
  }
  if (erlaubnis == Erlaubnis::erteilt) return {};
  return mikrofonNichtErlaubt(erlaubnis);
}

Ergebnis MikrofonGeraet::oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger,
                                const std::shared_ptr<Wartestelle>& stelle,
                                Wartestelle::Frist frist) {
  if (Ergebnis ergebnis = holeErlaubnis(stelle, frist); ergebnis.gescheitert()) return ergebnis;
  engine_->baue();
  stand_ = Stand::gebaut;
  // Before the format is read: a change in between would go unnoticed.
  engine_->beobachte([empfaenger] {
    if (const auto e = empfaenger.lock()) e->ausgefallen(veraendert());
  });
  stand_ = Stand::beobachtet;
  EngineFormat format;
  if (Ergebnis ergebnis = engine_->liesFormat(format); ergebnis.gescheitert()) return ergebnis;
  if (!(format.rate > 0) || format.kanaele == 0) return keinMikrofon();
  if (Ergebnis ergebnis = engine_->setzeAbgriff(FRAMES, std::move(empfaenger));
      ergebnis.gescheitert())
    return ergebnis;
  stand_ = Stand::abgegriffen;
  if (Ergebnis ergebnis = engine_->starte(); ergebnis.gescheitert()) return ergebnis;
  stand_ = Stand::gestartet;
  return {};
}

bool MikrofonGeraet::laeuft() {
  return stand_ == Stand::gestartet && engine_->laeuft();
}

// Errors of removing the tap and of stopping do not matter: the engine is dropped in the end.
Ergebnis MikrofonGeraet::schliesse() {
  const Stand stand = std::exchange(stand_, Stand::nichts);
  if (stand >= Stand::beobachtet) engine_->beobachteNichtMehr();
  if (stand >= Stand::abgegriffen) static_cast<void>(engine_->entferneAbgriff());
  if (stand >= Stand::gestartet) static_cast<void>(engine_->stoppe());
  if (stand >= Stand::gebaut) engine_->gibFrei();
  return {};
}

}  // namespace hallkorb
