#include "platform/macos/screen/InhaltAbfrage.h"

#include <utility>

#include "platform/macos/Fehlertexte.h"

namespace hallkorb {

Ergebnis frageInhalt(SckAufrufe& dienst, bool ohneDesktop, std::shared_ptr<const Inhalt>& inhalt,
                     const std::shared_ptr<Wartestelle>& stelle, Wartestelle::Frist frist) {
  struct Auskunft {
    std::shared_ptr<const Inhalt> inhalt;
    Ergebnis ergebnis;
  };
  Antwort<Auskunft> antwort(stelle);
  dienst.frageInhalt(ohneDesktop, [empfang = antwort.empfang()](
                                      std::shared_ptr<const Inhalt> gefunden, Ergebnis ergebnis) {
    empfang({std::move(gefunden), std::move(ergebnis)});
  });
  std::optional<Auskunft> auskunft = antwort.warte(frist);
  if (!auskunft) return ohneAntwort(*stelle, "der Dienst fuer Bildschirmaufnahmen");
  if (auskunft->ergebnis.gescheitert()) return erklaert(std::move(auskunft->ergebnis).fehler());
  if (auskunft->inhalt == nullptr) {
    return Fehler::eigener(Fehlercode::keineFensterliste,
                           "keine Liste der Fenster und Bildschirme");
  }
  inhalt = std::move(auskunft->inhalt);
  return {};
}

}  // namespace hallkorb
