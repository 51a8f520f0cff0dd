#include "session/Bericht.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Ersatzdatei.h"
#include "base/Text.h"
#include "session/Ereignisse.h"
#include "session/Seitentext.h"
#include "session/Sitzungsordner.h"
#include "session/Vorlage.h"

namespace hallkorb {
namespace {

void setzeSkript(std::string& seite) {
  for (const std::string_view teil : SEITE_SKRIPT)
    seite += teil;
}

// Every level in an element of its own: what is never looked at is never decoded.
void setzePegel(std::string& seite, std::string_view name, const Pegel& pegel) {
  for (std::size_t i = 0; i < pegel.stufen.size(); ++i) {
    seite += formatiert("<script type=\"text/plain\" id=\"pegel-%.*s-%zu\">",
                        static_cast<int>(name.size()), name.data(), i);
    seite += alsBase64(pegel.stufen[i]) + "</script>\n";
  }
}

void setze(std::string& seite, std::string_view marke, const Seitendaten& daten) {
  if (marke == "regeln") seite += SEITE_REGELN;
  if (marke == "stil") seite += SEITE_STIL;
  if (marke == "skript") setzeSkript(seite);
  if (marke == "daten") seite += fuerSkript(daten.json);
  if (marke == "pegel") {
    setzePegel(seite, "me", daten.me);
    setzePegel(seite, "them", daten.them);
    setzePegel(seite, "roh", daten.roh);
  }
}

}  // namespace

std::string baueSeite(const Seitendaten& daten) {
  std::string seite;
  std::string_view rest = SEITE_HTML;
  while (true) {
    const std::size_t von = rest.find("{{");
    const std::size_t bis = rest.find("}}");
    if (von == std::string_view::npos || bis == std::string_view::npos) break;
    seite += rest.substr(0, von);
    setze(seite, rest.substr(von + 2, bis - von - 2), daten);
    rest.remove_prefix(bis + 2);
  }
  seite += rest;
  return seite;
}

std::variant<Bericht, Fehler> schreibeBericht(const std::string& pfad,
                                              const std::function<void(double)>& fortschritt) {
  const auto ordner = liesSitzungsordner(pfad);
  if (!ordner) return Fehler::eigener(Fehlercode::nichtLesbar, "der Ordner ist nicht lesbar");
  const auto ereignisse = liesEreignisse(ordner->zu(EREIGNISSE));
  if (ordner->leer() && !ereignisse)
    return Fehler::eigener(Fehlercode::nichtsDa, "der Ordner enthaelt keine Aufnahme");
  const Seitendaten daten =
      sammleSeitendaten(*ordner, ereignisse ? &*ereignisse : nullptr, fortschritt);
  const std::string seite = baueSeite(daten);
  const std::vector<std::uint8_t> bytes(seite.begin(), seite.end());
  Ergebnis ergebnis = ersetzeDatei(ordner->zu(SEITENDATEI), bytes, posixDateien(),
                                   Verweise::ersetzen, Unersetzbar::lassen);
  if (ergebnis.gescheitert()) return std::move(ergebnis).fehler();
  return Bericht{daten.dauer, daten.auffaellig};
}

}  // namespace hallkorb
