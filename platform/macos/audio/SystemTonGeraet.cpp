#include "platform/macos/audio/SystemTonGeraet.h"

#include <utility>

#include "platform/macos/Fehlertexte.h"
#include "platform/macos/screen/InhaltAbfrage.h"

namespace hallkorb {

// Hands the sound of the stream on.
class SystemTonGeraet::Tonempfaenger final : public StromEmpfaenger {
 public:
  Tonempfaenger(std::weak_ptr<BlockEmpfaenger> ziel, std::weak_ptr<SckStrom> strom)
      : ziel_(std::move(ziel)), strom_(std::move(strom)) {}

  void ton(const PcmBlock& block) override {
    if (const auto ziel = ziel_.lock()) ziel->block(block);
  }
  void beendet(const Fehler& grund) override {
    if (const auto strom = strom_.lock()) strom->merkeEnde();
    if (const auto ziel = ziel_.lock()) ziel->ausgefallen(erklaert(grund));
  }

 private:
  std::weak_ptr<BlockEmpfaenger> ziel_;
  std::weak_ptr<SckStrom> strom_;
};

SystemTonGeraet::SystemTonGeraet(std::shared_ptr<SckAufrufe> dienst) : dienst_(std::move(dienst)) {}

SystemTonGeraet::~SystemTonGeraet() {
  static_cast<void>(SystemTonGeraet::schliesse());
}

Ergebnis SystemTonGeraet::oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger,
                                 const std::shared_ptr<Wartestelle>& stelle,
                                 Wartestelle::Frist frist) {
  std::shared_ptr<const Inhalt> inhalt;
  if (Ergebnis ergebnis = frageInhalt(*dienst_, false, inhalt, stelle, frist);
      ergebnis.gescheitert())
    return ergebnis;
  if (!inhalt->hatDisplay()) return keinDisplay();
  strom_ = std::make_shared<SckStrom>(dienst_->strom(), ABBAU);
  tonempfaenger_ = std::make_shared<Tonempfaenger>(std::move(empfaenger), strom_);
  Ergebnis ergebnis = strom_->starte(*inhalt, std::nullopt, tonEinstellungen(), StromAusgang::ton,
                                     "sck.audio", tonempfaenger_, stelle, frist);
  if (ergebnis.gescheitert()) return erklaert(std::move(ergebnis).fehler());
  return {};
}

bool SystemTonGeraet::laeuft() {
  return strom_ != nullptr && strom_->laeuft();
}

Ergebnis SystemTonGeraet::schliesse() {
  Ergebnis ergebnis;
  if (strom_ != nullptr) ergebnis = strom_->beende();
  tonempfaenger_.reset();
  strom_.reset();
  if (ergebnis.gescheitert()) return erklaert(std::move(ergebnis).fehler());
  return {};
}

}  // namespace hallkorb
