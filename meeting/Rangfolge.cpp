#include "meeting/Rangfolge.h"

#include <algorithm>
#include <cstdint>

#include "meeting/Faltung.h"

namespace hallkorb {
namespace {

struct Kandidat {
  const FensterInfo* w = nullptr;
  std::int64_t rang = 0;
  bool nativ = false;  // a meeting application's own window, not a browser's
  std::string grund;
};

bool enthaelt(std::string_view titel, std::string_view wort) {
  return titel.find(wort) != std::string_view::npos;
}

template <class Worte>
bool enthaeltEins(std::string_view titel, const Worte& worte) {
  return std::any_of(worte.begin(), worte.end(),
                     [&](std::string_view wort) { return enthaelt(titel, wort); });
}

bool istKlein(const FensterInfo& w) {
  return w.breite < 320 || w.hoehe < 240;
}

bool istSichtbarUndGross(const FensterInfo& w) {
  return w.sichtbar && !istKlein(w);
}

bool istAnruf(std::string_view titel) {
  return enthaelt(titel, "anruf") || enthaelt(titel, "call");
}

std::optional<Kandidat> nativerKandidat(const FensterInfo& w, std::int64_t rang,
                                        std::string grund) {
  return Kandidat{&w, rang, true, std::move(grund)};
}

std::optional<Kandidat> zoom(const FensterInfo& w, std::string_view titel) {
  if (titel == "zoom" || titel == "window") return std::nullopt;
  if (enthaeltEins(titel, ZOOM_NEBENFENSTER) || !w.sichtbar) return std::nullopt;
  const bool gross = !istKlein(w);
  if (gross && enthaeltEins(titel, MEETING_WORTE)) {
    return nativerKandidat(w, 1, "Zoom-Meetingfenster");
  }
  if (gross && (titel.starts_with("bildschirm von ") || titel.ends_with("'s screen") ||
                titel.ends_with("s bildschirm"))) {
    return nativerKandidat(w, 2, "geteilter Bildschirm eines Teilnehmers (Zoom-Fenster)");
  }
  if (enthaelt(titel, "floating video") && w.breite >= 160 && w.hoehe >= 90) {
    return nativerKandidat(w, 3, "schwebendes Zoom-Fenster");
  }
  if (titel.empty() && w.breite >= 600 && w.hoehe >= 400) {
    return nativerKandidat(w, 4, "Zoom-Warteraum/Vorschau");
  }
  return std::nullopt;
}

std::optional<Kandidat> teamsOderWebex(const FensterInfo& w, std::string_view titel,
                                       std::string_view name) {
  const bool hauptfenster = name == "Teams" ? teamsNie(titel)
                                            : titel == "webex" || titel == "cisco webex meetings" ||
                                                  titel == "webex meetings";
  if (hauptfenster || !istSichtbarUndGross(w)) return std::nullopt;
  if (!enthaeltEins(titel, MEETING_WORTE) && !istAnruf(titel)) return std::nullopt;
  return nativerKandidat(w, 1, std::string(name) + "-Meetingfenster");
}

bool istWebMeeting(std::string_view titel) {
  if (enthaelt(titel, MEET_WIRT) || enthaelt(titel, "google meet") || hatMeetCode(titel) ||
      titel == "meet" || titel.starts_with("meet - ")) {
    return true;
  }
  if (enthaelt(titel, "zoom") && (enthaelt(titel, "meeting") || enthaelt(titel, "webinar"))) {
    return true;
  }
  if ((enthaelt(titel, "microsoft teams") || enthaeltEins(titel, TEAMS_WIRTE)) &&
      !teamsNie(titel)) {
    return true;
  }
  return enthaeltEins(titel, WEB_DIENSTE);
}

std::optional<Kandidat> browser(const FensterInfo& w, std::string_view titel) {
  if (!istSichtbarUndGross(w) || enthaeltEins(titel, TEILEN_WORTE) || !istWebMeeting(titel)) {
    return std::nullopt;
  }
  return Kandidat{&w, 1, false, "Meeting im Browser"};
}

// The rules over all windows, in their order: beside the candidates they gather what is to be said
// where there is none.
class Rangierer {
 public:
  void sieh(const FensterInfo& w) {
    if (std::find(EIGENE_BUNDLES.begin(), EIGENE_BUNDLES.end(), w.bundle) != EIGENE_BUNDLES.end()) {
      return;
    }
    const auto name = meetingApp(w.bundle);
    if (!name && !istBrowser(w.bundle)) return;
    const std::string_view titel = normTitel(w.titel, puffer_);
    auto kandidat = name ? nativ(w, titel, *name) : browser(w, titel);
    if (kandidat) kandidaten_.push_back(std::move(*kandidat));
  }

  MeetingKandidaten ergebnis() {
    std::stable_sort(kandidaten_.begin(), kandidaten_.end(),
                     [](const Kandidat& a, const Kandidat& b) {
                       if (a.rang != b.rang) return a.rang < b.rang;
                       if (a.nativ != b.nativ) return a.nativ;
                       return a.w->breite * a.w->hoehe > b.w->breite * b.w->hoehe;
                     });
    MeetingKandidaten ergebnis;
    ergebnis.liste.reserve(kandidaten_.size());
    for (Kandidat& k : kandidaten_) {
      ergebnis.liste.push_back({"fenster", k.w->id, quelle(*k.w), k.rang, std::move(k.grund)});
    }
    ergebnis.ohne = std::string(KEIN_BILD) + " (" + erklaerung() + ")";
    return ergebnis;
  }

 private:
  // FaceTime and Slack are open all day without a meeting; only the others say that they are.
  std::optional<Kandidat> nativ(const FensterInfo& w, std::string_view titel,
                                std::string_view name) {
    if (name == "FaceTime") {
      if (!istSichtbarUndGross(w)) return std::nullopt;
      return nativerKandidat(w, 1, "FaceTime-Anruf");
    }
    if (name == "Slack") {
      if (!enthaelt(titel, "huddle") || !istSichtbarUndGross(w)) return std::nullopt;
      return nativerKandidat(w, 1, "Slack-Huddle");
    }
    if (ersteApp_.empty()) ersteApp_ = name;
    if (name != "Zoom") return teamsOderWebex(w, titel, name);
    if (w.sichtbar && (enthaelt(titel, "share toolbar") || enthaelt(titel, "share statusbar"))) {
      zoomTeilt_ = true;
    }
    return zoom(w, titel);
  }

  static std::string quelle(const FensterInfo& w) {
    const std::string_view titel = horizontalGetrimmt(w.titel);
    std::string text = anzeigeName(w.bundle, w.app) + " · ";
    text += titel.empty() ? std::string_view("Warteraum/Vorschau") : titel;
    return text;
  }

  [[nodiscard]] std::string erklaerung() const {
    if (zoomTeilt_) return "Du teilst in Zoom, kein Teilnehmerfenster sichtbar";
    if (ersteApp_.empty()) return "keine Meeting-App offen";
    return std::string(ersteApp_) + " offen, aber kein Meeting sichtbar";
  }

  std::vector<Kandidat> kandidaten_;
  bool zoomTeilt_ = false;     // the user shares a screen in Zoom
  std::string_view ersteApp_;  // the first meeting application seen
  std::string puffer_;
};

// A letter as meeting codes have them.
bool istCodeBuchstabe(std::string_view zeichen) {
  return zeichen.size() == 1 && zeichen[0] >= 'a' && zeichen[0] <= 'z';
}

// Whether the runs of letters at the beginning of `titel` are those of a meeting code.
bool beginntMitMeetCode(std::string_view titel) {
  constexpr std::array<int, 3> LAENGEN{3, 4, 3};
  std::size_t lauf = 0;
  int laenge = 0;
  while (true) {
    const std::string_view zeichen = erstesZeichen(titel);
    if (istCodeBuchstabe(zeichen)) {
      ++laenge;
    } else {
      if (laenge != LAENGEN[lauf]) return false;
      ++lauf;
      // A hyphen opens a further run, even at the title's end.
      if (zeichen != "-") return lauf == LAENGEN.size();
      if (lauf == LAENGEN.size()) return false;
      laenge = 0;
    }
    titel.remove_prefix(zeichen.size());
  }
}

}  // namespace

std::optional<std::string_view> meetingApp(std::string_view bundle) {
  const auto app = std::find_if(MEETING_BUNDLES.begin(), MEETING_BUNDLES.end(),
                                [&](const auto& eintrag) { return eintrag.first == bundle; });
  if (app == MEETING_BUNDLES.end()) return std::nullopt;
  return app->second;
}

bool istBrowser(std::string_view bundle) {
  return std::find(BROWSER_BUNDLES.begin(), BROWSER_BUNDLES.end(), bundle) !=
             BROWSER_BUNDLES.end() ||
         bundle.starts_with("com.google.Chrome.app.") ||
         bundle.starts_with("com.microsoft.edgemac.app.");
}

std::string anzeigeName(const std::string& bundle, const std::string& app) {
  if (const auto name = meetingApp(bundle)) return std::string(*name);
  return app.empty() ? bundle : app;
}

bool teamsNie(std::string_view title) {
  return title == "microsoft teams" || enthaeltEins(title, TEAMS_SEITEN);
}

bool hatMeetCode(std::string_view title) {
  if (!enthaelt(title, "-")) return false;
  bool kannBeginnen = true;
  while (!title.empty()) {
    if (kannBeginnen && beginntMitMeetCode(title)) return true;
    const std::string_view zeichen = erstesZeichen(title);
    kannBeginnen = zeichen != "-" && !istBuchstabeOderZiffer(zeichen);
    title.remove_prefix(zeichen.size());
  }
  return false;
}

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
