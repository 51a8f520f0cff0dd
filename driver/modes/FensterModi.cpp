#include "driver/modes/FensterModi.h"

#include <cmath>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Ausgabe.h"
#include "base/Dateien.h"
#include "base/Faden.h"
#include "base/Text.h"
#include "meeting/FensterInfo.h"
#include "meeting/Rangfolge.h"
#include "platform/Befristet.h"

namespace hallkorb {
namespace {

constexpr double PROBE_FRIST = 2.5;  // seconds for the screen's answer

// Truncated toward zero, without the sign of a negative zero.
std::string ganzzahl(double wert) {
  return formatiert("%.0f", std::trunc(wert) + 0.0);
}

std::string probeZeile(const FensterInfo& w) {
  return R"({"fenster":)" + std::to_string(w.id) + R"(,"app":")" + jsonEscape(w.app) +
         R"(","bundle":")" + w.bundle + R"(","titel":")" + jsonEscape(w.titel) + R"(","breite":)" +
         ganzzahl(w.breite) + R"(,"hoehe":)" + ganzzahl(w.hoehe) + R"(,"x":)" + ganzzahl(w.x) +
         R"(,"y":)" + ganzzahl(w.y) + R"(,"sichtbar":)" + (w.sichtbar ? "true" : "false") +
         R"(,"ebene":)" + std::to_string(w.ebene) + "}";
}

bool drucke(const std::vector<FensterInfo>& fenster, bool alle) {
  std::size_t andere = 0;
  for (const FensterInfo& w : fenster) {
    if (!alle && !meetingApp(w.bundle) && !istBrowser(w.bundle)) {
      ++andere;
    } else if (!druckeErgebnis(probeZeile(w))) {
      return false;
    }
  }
  if (andere > 0 && !druckeErgebnis(R"({"andere_fenster":)" + std::to_string(andere) + "}")) {
    return false;
  }
  return druckeErgebnis(R"({"wahl":)" + wahlJSON(waehleMeetingZiel(fenster)) + "}");
}

// What the question to the screen needs; its owner may have given up when the answer comes.
struct Frage {
  std::unique_ptr<ScreenCapture> bildschirm;
  ScreenContent content;
  Ergebnis ergebnis;
};

int probe(Plattform& plattform, bool alle) {
  const auto frage = std::make_shared<Frage>();
  frage->bildschirm = plattform.screenCapture();
  if (!laufeBefristet(plattform.executor(), PROBE_FRIST,
                      [frage] { frage->ergebnis = frage->bildschirm->inventar(frage->content); })) {
    log("[hallkorb] --fenster-probe: der Bildschirm antwortet nicht");
    return 2;
  }
  if (frage->ergebnis.gescheitert()) {
    log("[hallkorb] --fenster-probe: " + frage->ergebnis.fehler().description);
    return 2;
  }
  return drucke(metadaten(frage->content), alle) ? 0 : 2;
}

}  // namespace

int fensterWahl(const std::string& pfad) {
  const auto bytes = liesDatei(pfad);
  const auto eingabe =
      bytes ? liesEingabe({reinterpret_cast<const char*>(bytes->data()), bytes->size()})
            : std::nullopt;
  if (!eingabe) {
    log("[hallkorb] --fenster-wahl: JSON nicht lesbar");
    return 2;
  }
  return druckeErgebnis(wahlJSON(waehleMeetingZiel(eingabe->fenster))) ? 0 : 2;
}

int fensterProbe(Plattform& plattform, bool alle) {
  const auto task = plattform.executor().starte(
      [&plattform, alle] { plattform.runLoop().quit(probe(plattform, alle)); });
  if (task == nullptr) {
    log("[hallkorb] --fenster-probe: " + keinFaden().description);
    return 2;
  }
  return plattform.runLoop().run();
}

}  // namespace hallkorb
