#include "meeting/MeetingRegeln.h"

#include <algorithm>

#include "meeting/Faltung.h"

namespace hallkorb {
namespace {

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

bool nenntMeetingOderAnruf(std::string_view titel) {
  return enthaeltEins(titel, MEETING_WORTE) || enthaelt(titel, "anruf") || enthaelt(titel, "call");
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

bool istCodeBuchstabe(std::string_view zeichen) {
  return zeichen.size() == 1 && zeichen[0] >= 'a' && zeichen[0] <= 'z';
}

// Whether the title begins with the three runs of a meeting code.
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

std::optional<Urteil> urteileZoom(const FensterInfo& w, std::string_view title) {
  if (title == "zoom" || title == "window") return std::nullopt;
  if (enthaeltEins(title, ZOOM_NEBENFENSTER) || !w.sichtbar) return std::nullopt;
  const bool gross = !istKlein(w);
  if (gross && enthaeltEins(title, MEETING_WORTE)) return Urteil{1, "Zoom-Meetingfenster"};
  if (gross && (title.starts_with("bildschirm von ") || title.ends_with("'s screen") ||
                title.ends_with("s bildschirm"))) {
    return Urteil{2, "geteilter Bildschirm eines Teilnehmers (Zoom-Fenster)"};
  }
  if (enthaelt(title, "floating video") && w.breite >= 160 && w.hoehe >= 90) {
    return Urteil{3, "schwebendes Zoom-Fenster"};
  }
  if (title.empty() && w.breite >= 600 && w.hoehe >= 400) {
    return Urteil{4, "Zoom-Warteraum/Vorschau"};
  }
  return std::nullopt;
}

bool teiltInZoom(const FensterInfo& w, std::string_view title) {
  return w.sichtbar && (enthaelt(title, "share toolbar") || enthaelt(title, "share statusbar"));
}

std::optional<Urteil> urteileTeams(const FensterInfo& w, std::string_view title) {
  if (teamsNie(title) || !nenntMeetingOderAnruf(title)) return std::nullopt;
  if (!istSichtbarUndGross(w)) return std::nullopt;
  return Urteil{1, "Teams-Meetingfenster"};
}

std::optional<Urteil> urteileWebex(const FensterInfo& w, std::string_view title) {
  const bool hauptfenster =
      title == "webex" || title == "cisco webex meetings" || title == "webex meetings";
  if (hauptfenster || !nenntMeetingOderAnruf(title)) return std::nullopt;
  if (!istSichtbarUndGross(w)) return std::nullopt;
  return Urteil{1, "Webex-Meetingfenster"};
}

std::optional<Urteil> urteileFaceTime(const FensterInfo& w, std::string_view /*title*/) {
  if (!istSichtbarUndGross(w)) return std::nullopt;
  return Urteil{1, "FaceTime-Anruf"};
}

std::optional<Urteil> urteileSlack(const FensterInfo& w, std::string_view title) {
  if (!enthaelt(title, "huddle") || !istSichtbarUndGross(w)) return std::nullopt;
  return Urteil{1, "Slack-Huddle"};
}

std::optional<Urteil> urteileBrowser(const FensterInfo& w, std::string_view title) {
  if (!istSichtbarUndGross(w) || enthaeltEins(title, TEILEN_WORTE) || !istWebMeeting(title)) {
    return std::nullopt;
  }
  return Urteil{1, "Meeting im Browser"};
}

const MeetingApp* sucheMeetingApp(std::string_view bundle) {
  const auto* app = std::find_if(MEETING_BUNDLES.begin(), MEETING_BUNDLES.end(),
                                 [&](const MeetingApp& a) { return a.bundle == bundle; });
  return app != MEETING_BUNDLES.end() ? app : nullptr;
}

std::optional<std::string_view> meetingApp(std::string_view bundle) {
  const MeetingApp* app = sucheMeetingApp(bundle);
  if (app == nullptr) return std::nullopt;
  return app->name;
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

}  // namespace hallkorb
