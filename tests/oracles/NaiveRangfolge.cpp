#include "tests/oracles/NaiveRangfolge.h"

#include <utf8proc.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <regex>
#include <set>

namespace hallkorb::naiv {
namespace {

std::string durchUtf8proc(const std::string& text, int optionen) {
  utf8proc_uint8_t* neu = nullptr;
  const auto laenge = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()), &neu,
                                   static_cast<utf8proc_option_t>(optionen));
  std::string ergebnis(reinterpret_cast<char*>(neu), static_cast<std::size_t>(laenge));
  std::free(neu);
  return ergebnis;
}

std::string ersetzt(std::string text, const std::string& alt, const std::string& neu) {
  for (auto stelle = text.find(alt); stelle != std::string::npos; stelle = text.find(alt)) {
    text.replace(stelle, alt.size(), neu);
  }
  return text;
}

std::string ohneRaender(const std::string& text, const std::vector<std::string>& raender) {
  for (const auto& rand : raender) {
    if (text.starts_with(rand)) return ohneRaender(text.substr(rand.size()), raender);
    if (text.ends_with(rand)) {
      return ohneRaender(text.substr(0, text.size() - rand.size()), raender);
    }
  }
  return text;
}

const std::vector<std::string> WAAGRECHT{
    "\t",     " ",      "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004",
    "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};

std::vector<std::string> allerLeerraum() {
  std::vector<std::string> alle = WAAGRECHT;
  for (const char* zeile : {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"}) {
    alle.emplace_back(zeile);
  }
  return alle;
}

std::string normiert(const std::string& titel) {
  std::string text =
      durchUtf8proc(titel, UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK);
  for (const char* strich : {"–", "—"})
    text = ersetzt(text, strich, "-");
  return ohneRaender(ersetzt(text, "’", "'"), allerLeerraum());
}

// The title with one byte for each character: small letters and the hyphen as they are, "X" for
// other letters and numbers, "." for the rest.
std::string umriss(const std::string& titel) {
  const std::string zerlegt = durchUtf8proc(titel, UTF8PROC_CHARBOUND);
  std::string alle;
  std::string zeichen;
  const auto fertig = [&] {
    if (zeichen.empty()) return;
    utf8proc_int32_t erster = 0;
    utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(zeichen.data()),
                     static_cast<utf8proc_ssize_t>(zeichen.size()), &erster);
    const std::string art = utf8proc_category_string(erster);
    if (zeichen.size() == 1 && ((zeichen[0] >= 'a' && zeichen[0] <= 'z') || zeichen[0] == '-')) {
      alle += zeichen;
    } else {
      alle += art[0] == 'L' || art[0] == 'N' ? 'X' : '.';
    }
    zeichen.clear();
  };
  for (const char byte : zerlegt) {
    if (byte == '\xff') {
      fertig();
    } else {
      zeichen += byte;
    }
  }
  fertig();
  return alle;
}

bool meetCode(const std::string& titel) {
  static const std::regex CODE("(^|\\.)[a-z]{3}-[a-z]{4}-[a-z]{3}($|[X.])");
  return std::regex_search(umriss(titel), CODE);
}

bool hat(const std::string& titel, const std::vector<std::string>& worte) {
  for (const auto& wort : worte) {
    if (titel.find(wort) != std::string::npos) return true;
  }
  return false;
}

const std::map<std::string, std::string> APPS{{"us.zoom.xos", "Zoom"},
                                              {"us.zoom.videomeetings", "Zoom"},
                                              {"com.microsoft.teams2", "Teams"},
                                              {"com.microsoft.teams", "Teams"},
                                              {"Cisco-Systems.Spark", "Webex"},
                                              {"com.cisco.webexmeetingsapp", "Webex"},
                                              {"com.webex.meetingmanager", "Webex"},
                                              {"com.apple.FaceTime", "FaceTime"},
                                              {"com.tinyspeck.slackmacgap", "Slack"}};

bool browser(const std::string& bundle) {
  static const std::set<std::string> ALLE{"com.google.Chrome",          "com.apple.Safari",
                                          "company.thebrowser.Browser", "org.mozilla.firefox",
                                          "com.microsoft.edgemac",      "com.brave.Browser",
                                          "com.vivaldi.Vivaldi",        "com.operasoftware.Opera",
                                          "com.google.Chrome.canary",   "company.thebrowser.dia"};
  return ALLE.count(bundle) > 0 || bundle.rfind("com.google.Chrome.app.", 0) == 0 ||
         bundle.rfind("com.microsoft.edgemac.app.", 0) == 0;
}

const std::vector<std::string> BESPRECHUNG{"meeting", "besprechung", "webinar", "konferenz"};

bool teamsSeite(const std::string& titel) {
  return titel == "microsoft teams" ||
         hat(titel, {"chat |", "chat|", "aktivitat |", "activity |", "kalender |", "calendar |",
                     "teams |", "dateien |", "files |", "apps |", "anrufe |", "calls |",
                     "onedrive |", "planner |", "benachrichtigung", "notification"});
}

struct Regel {
  int rang;
  std::string grund;
  std::function<bool(const FensterInfo&, const std::string&)> gilt;
};

bool gross(const FensterInfo& w) {
  return !(w.breite < 320) && !(w.hoehe < 240);
}

const std::map<std::string, std::vector<Regel>>& regeln() {
  static const auto ZOOM_OHNE = [](const std::string& t) {
    return t == "zoom" || t == "window" ||
           hat(t, {"workplace",  "zm_hud",     "toast",       "toolbar",       "statusbar",
                   "annotation", "annotaion",  "reactions",   "number window", "padding window",
                   "gift panel", "teilnehmer", "participant", "chat",          "einstellungen",
                   "settings",   "verbinden",  "connecting",  "umfrage",       "poll"});
  };
  static const std::map<std::string, std::vector<Regel>> REGELN{
      {"Zoom",
       {{1, "Zoom-Meetingfenster",
         [](const auto& w, const auto& t) {
           return !ZOOM_OHNE(t) && w.sichtbar && hat(t, BESPRECHUNG) && gross(w);
         }},
        {2, "geteilter Bildschirm eines Teilnehmers (Zoom-Fenster)",
         [](const auto& w, const auto& t) {
           static const std::regex MUSTER("^bildschirm von |'s screen$|s bildschirm$");
           return !ZOOM_OHNE(t) && w.sichtbar && gross(w) && std::regex_search(t, MUSTER);
         }},
        {3, "schwebendes Zoom-Fenster",
         [](const auto& w, const auto& t) {
           return !ZOOM_OHNE(t) && w.sichtbar && hat(t, {"floating video"}) && w.breite >= 160 &&
                  w.hoehe >= 90;
         }},
        {4, "Zoom-Warteraum/Vorschau",
         [](const auto& w, const auto& t) {
           return t.empty() && w.sichtbar && w.breite >= 600 && w.hoehe >= 400;
         }}}},
      {"Teams",
       {{1, "Teams-Meetingfenster",
         [](const auto& w, const auto& t) {
           return !teamsSeite(t) && (hat(t, BESPRECHUNG) || hat(t, {"anruf", "call"})) &&
                  w.sichtbar && gross(w);
         }}}},
      {"Webex",
       {{1, "Webex-Meetingfenster",
         [](const auto& w, const auto& t) {
           static const std::set<std::string> NIE{"webex", "cisco webex meetings",
                                                  "webex meetings"};
           return NIE.count(t) == 0 && (hat(t, BESPRECHUNG) || hat(t, {"anruf", "call"})) &&
                  w.sichtbar && gross(w);
         }}}},
      {"FaceTime",
       {{1, "FaceTime-Anruf", [](const auto& w, const auto&) { return w.sichtbar && gross(w); }}}},
      {"Slack",
       {{1, "Slack-Huddle",
         [](const auto& w, const auto& t) {
           return hat(t, {"huddle"}) && w.sichtbar && gross(w);
         }}}},
      {"",
       {{1, "Meeting im Browser",
         [](const auto& w, const auto& t) {
           if (hat(t, {"auswahlen", "choose what to share", "teilen mit", "zum teilen", "freigeben",
                       "share your screen", "teilt ihren", "teilt einen", "is sharing",
                       "bildschirm teilen"})) {
             return false;
           }
           const bool meet = hat(t, {"meet.google.com", "google meet"}) || meetCode(t) ||
                             t == "meet" || t.rfind("meet - ", 0) == 0;
           const bool zoom = hat(t, {"zoom"}) && hat(t, {"meeting", "webinar"});
           const bool teams =
               hat(t, {"microsoft teams", "teams.microsoft.com", "teams.live.com"}) &&
               !teamsSeite(t);
           const bool andere =
               hat(t, {"webex", "whereby", "jitsi", "around.co", "gather.town", "riverside",
                       "streamyard", "livestorm", "demio", "bigmarker"});
           return (meet || zoom || teams || andere) && w.sichtbar && gross(w);
         }}}},
  };
  return REGELN;
}

}  // namespace

std::set<std::string> gruende() {
  std::set<std::string> alle;
  for (const auto& [app, regelnDerApp] : regeln()) {
    for (const Regel& regel : regelnDerApp)
      alle.insert(regel.grund);
  }
  return alle;
}

Ergebnis kandidaten(const std::vector<FensterInfo>& fenster) {
  struct Kandidat {
    FensterInfo w;
    Regel regel;
    bool nativ;
  };
  std::vector<Kandidat> uebrig;
  bool teilt = false;
  std::string erste;
  for (const FensterInfo& w : fenster) {
    if (w.bundle == "de.hallkorb.app" || w.bundle == "de.hallkorb.recorder") continue;
    const bool nativ = APPS.count(w.bundle) > 0;
    if (!nativ && !browser(w.bundle)) continue;
    const std::string name = nativ ? APPS.at(w.bundle) : "";
    const std::string titel = normiert(w.titel);
    if (erste.empty() && (name == "Zoom" || name == "Teams" || name == "Webex")) erste = name;
    teilt =
        teilt || (name == "Zoom" && w.sichtbar && hat(titel, {"share toolbar", "share statusbar"}));
    for (const Regel& regel : regeln().at(name)) {
      if (!regel.gilt(w, titel)) continue;
      uebrig.push_back({w, regel, nativ});
      break;
    }
  }
  Ergebnis ergebnis;
  while (!uebrig.empty()) {
    std::size_t bester = 0;
    for (std::size_t i = 1; i < uebrig.size(); ++i) {
      const Kandidat& a = uebrig[i];
      const Kandidat& b = uebrig[bester];
      const double flaecheA = a.w.breite * a.w.hoehe;
      const double flaecheB = b.w.breite * b.w.hoehe;
      if (a.regel.rang < b.regel.rang ||
          (a.regel.rang == b.regel.rang &&
           (a.nativ > b.nativ || (a.nativ == b.nativ && flaecheA > flaecheB)))) {
        bester = i;
      }
    }
    const Kandidat k = uebrig[bester];
    uebrig.erase(uebrig.begin() + static_cast<std::ptrdiff_t>(bester));
    std::string wer = k.nativ ? APPS.at(k.w.bundle) : k.w.app;
    if (wer.empty()) wer = k.w.bundle;
    std::string was = ohneRaender(k.w.titel, WAAGRECHT);
    if (was.empty()) was = "Warteraum/Vorschau";
    ergebnis.liste.push_back({"fenster", k.w.id, wer + " · " + was, k.regel.rang, k.regel.grund});
  }
  const std::string detail = teilt           ? "Du teilst in Zoom, kein Teilnehmerfenster sichtbar"
                             : erste.empty() ? "keine Meeting-App offen"
                                             : erste + " offen, aber kein Meeting sichtbar";
  ergebnis.ohne = "kein Meetingfenster – kein Bild (" + detail + ")";
  return ergebnis;
}

}  // namespace hallkorb::naiv
