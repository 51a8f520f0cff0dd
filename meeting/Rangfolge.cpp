#include "meeting/Rangfolge.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "meeting/Faltung.h"

namespace hallkorb {
namespace {

struct Kandidat {
  const FensterInfo* w = nullptr;
  std::int64_t rang = 0;
  bool nativ = false;  // a meeting application's own window, not a browser's
  std::string_view grund;
};

bool istBesser(const Kandidat& a, const Kandidat& b) {
  if (a.rang != b.rang) return a.rang < b.rang;
  if (a.nativ != b.nativ) return a.nativ;
  return a.w->breite * a.w->hoehe > b.w->breite * b.w->hoehe;
}

std::string quelle(const FensterInfo& w) {
  const std::string_view titel = horizontalGetrimmt(w.titel);
  std::string text = anzeigeName(w.bundle, w.app) + " · ";
  text += titel.empty() ? std::string_view("Warteraum/Vorschau") : titel;
  return text;
}

// Gathers candidates from all windows, and what explains their absence.
class Rangierer {
 public:
  void sieh(const FensterInfo& w) {
    if (std::find(EIGENE_BUNDLES.begin(), EIGENE_BUNDLES.end(), w.bundle) != EIGENE_BUNDLES.end()) {
      return;
    }
    const MeetingApp* app = sucheMeetingApp(w.bundle);
    if (app == nullptr && !istBrowser(w.bundle)) return;
    const std::string_view titel = normTitel(w.titel, puffer_);
    if (app != nullptr) merke(*app, w, titel);
    const auto urteil = app != nullptr ? app->regel.urteile(w, titel) : urteileBrowser(w, titel);
    if (urteil) kandidaten_.push_back({&w, urteil->rang, app != nullptr, urteil->grund});
  }

  MeetingKandidaten ergebnis() {
    std::stable_sort(kandidaten_.begin(), kandidaten_.end(), istBesser);
    MeetingKandidaten ergebnis;
    ergebnis.liste.reserve(kandidaten_.size());
    for (const Kandidat& k : kandidaten_) {
      ergebnis.liste.push_back({"fenster", k.w->id, quelle(*k.w), k.rang, std::string(k.grund)});
    }
    ergebnis.ohne = std::string(KEIN_BILD) + " (" + erklaerung() + ")";
    return ergebnis;
  }

 private:
  void merke(const MeetingApp& app, const FensterInfo& w, std::string_view titel) {
    if (app.regel.nennenswert && ersteApp_.empty()) ersteApp_ = app.name;
    const bool teilt = app.regel.teilt != nullptr && app.regel.teilt(w, titel);
    if (teilt && teiltIn_.empty()) teiltIn_ = app.name;
  }

  [[nodiscard]] std::string erklaerung() const {
    if (!teiltIn_.empty()) {
      return "Du teilst in " + std::string(teiltIn_) + ", kein Teilnehmerfenster sichtbar";
    }
    if (ersteApp_.empty()) return "keine Meeting-App offen";
    return std::string(ersteApp_) + " offen, aber kein Meeting sichtbar";
  }

  std::vector<Kandidat> kandidaten_;
  std::string_view teiltIn_;   // the application in which the user shares a screen
  std::string_view ersteApp_;  // the first open application that is worth a mention
  std::string puffer_;
};

}  // namespace

MeetingKandidaten meetingKandidaten(const std::vector<FensterInfo>& fenster) {
  Rangierer rangierer;
  for (const FensterInfo& w : fenster)
    rangierer.sieh(w);
  return rangierer.ergebnis();
}

Wahl besteWahl(const MeetingKandidaten& kandidaten) {
  if (!kandidaten.liste.empty()) return kandidaten.liste.front();
  return {"nichts", 0, "", 0, kandidaten.ohne};
}

Wahl waehleMeetingZiel(const std::vector<FensterInfo>& fenster) {
  return besteWahl(meetingKandidaten(fenster));
}

}  // namespace hallkorb
