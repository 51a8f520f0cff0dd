#include "platform/linux/screen/AppKennungen.h"

#include <algorithm>
#include <array>

namespace hallkorb {
namespace {

constexpr std::string_view CHROME = "com.google.Chrome";
constexpr std::string_view EDGE = "com.microsoft.edgemac";

constexpr AppKennung TABELLE[] = {
    // Zoom: the maker's package; Flatpak.
    {"zoom", "us.zoom.xos", "Zoom"},
    {"zoom workplace", "us.zoom.xos", "Zoom"},
    {"us.zoom.zoom", "us.zoom.xos", "Zoom"},

    // Teams: the maker's client while there was one; the wrappers of the web page.
    {"teams", "com.microsoft.teams2", "Teams"},
    {"teams-insiders", "com.microsoft.teams2", "Teams"},
    {"microsoft teams", "com.microsoft.teams2", "Teams"},
    {"microsoft teams - preview", "com.microsoft.teams2", "Teams"},
    {"microsoft teams - insiders", "com.microsoft.teams2", "Teams"},
    {"com.microsoft.teams", "com.microsoft.teams2", "Teams"},
    {"teams-for-linux", "com.microsoft.teams2", "Teams"},
    {"teams-for-linux_teams-for-linux", "com.microsoft.teams2", "Teams"},
    {"com.github.ismaelmartinez.teams_for_linux", "com.microsoft.teams2", "Teams"},
    {"portal-for-teams", "com.microsoft.teams2", "Teams"},

    // Webex: the maker's package.
    {"webex", "Cisco-Systems.Spark", "Webex"},
    {"ciscocollabhost", "Cisco-Systems.Spark", "Webex"},
    {"com.cisco.webex", "Cisco-Systems.Spark", "Webex"},
    {"com.webex.webex", "Cisco-Systems.Spark", "Webex"},

    // Slack: the maker's package; Snap; Flatpak.
    {"slack", "com.tinyspeck.slackmacgap", "Slack"},
    {"slack_slack", "com.tinyspeck.slackmacgap", "Slack"},
    {"com.slack.slack", "com.tinyspeck.slackmacgap", "Slack"},

    {"google-chrome", CHROME, "Google Chrome"},
    {"google-chrome-stable", CHROME, "Google Chrome"},
    {"google-chrome-beta", CHROME, "Google Chrome"},
    {"google-chrome-unstable", "com.google.Chrome.canary", "Google Chrome"},
    {"google-chrome-canary", "com.google.Chrome.canary", "Google Chrome"},
    {"com.google.chrome", CHROME, "Google Chrome"},
    {"com.google.chromedev", "com.google.Chrome.canary", "Google Chrome"},

    {"chromium", CHROME, "Chromium"},
    {"chromium-browser", CHROME, "Chromium"},
    {"chromium_chromium", CHROME, "Chromium"},
    {"org.chromium.chromium", CHROME, "Chromium"},
    {"ungoogled-chromium", CHROME, "Chromium"},
    {"io.github.ungoogled_software.ungoogled_chromium", CHROME, "Chromium"},

    {"firefox", "org.mozilla.firefox", "Firefox"},
    {"firefox-esr", "org.mozilla.firefox", "Firefox"},
    {"firefox-default", "org.mozilla.firefox", "Firefox"},
    {"firefox-aurora", "org.mozilla.firefox", "Firefox"},
    {"firefox-nightly", "org.mozilla.firefox", "Firefox"},
    {"firefox developer edition", "org.mozilla.firefox", "Firefox"},
    {"firefoxdeveloperedition", "org.mozilla.firefox", "Firefox"},
    {"nightly", "org.mozilla.firefox", "Firefox"},
    {"firefox_firefox", "org.mozilla.firefox", "Firefox"},
    {"org.mozilla.firefox", "org.mozilla.firefox", "Firefox"},

    {"microsoft-edge", EDGE, "Microsoft Edge"},
    {"microsoft-edge-stable", EDGE, "Microsoft Edge"},
    {"microsoft-edge-beta", EDGE, "Microsoft Edge"},
    {"microsoft-edge-dev", EDGE, "Microsoft Edge"},
    {"microsoft-edge-canary", EDGE, "Microsoft Edge"},
    {"com.microsoft.edge", EDGE, "Microsoft Edge"},
    {"com.microsoft.edgedev", EDGE, "Microsoft Edge"},

    {"brave-browser", "com.brave.Browser", "Brave"},
    {"brave-browser-beta", "com.brave.Browser", "Brave"},
    {"brave-browser-nightly", "com.brave.Browser", "Brave"},
    {"brave", "com.brave.Browser", "Brave"},
    {"brave_brave", "com.brave.Browser", "Brave"},
    {"com.brave.browser", "com.brave.Browser", "Brave"},

    {"vivaldi", "com.vivaldi.Vivaldi", "Vivaldi"},
    {"vivaldi-stable", "com.vivaldi.Vivaldi", "Vivaldi"},
    {"vivaldi-snapshot", "com.vivaldi.Vivaldi", "Vivaldi"},
    {"com.vivaldi.vivaldi", "com.vivaldi.Vivaldi", "Vivaldi"},

    {"opera", "com.operasoftware.Opera", "Opera"},
    {"opera beta", "com.operasoftware.Opera", "Opera"},
    {"opera developer", "com.operasoftware.Opera", "Opera"},
    {"opera-stable", "com.operasoftware.Opera", "Opera"},
    {"opera-beta", "com.operasoftware.Opera", "Opera"},
    {"opera-developer", "com.operasoftware.Opera", "Opera"},
    {"opera_opera", "com.operasoftware.Opera", "Opera"},
    {"com.opera.opera", "com.operasoftware.Opera", "Opera"},
};

std::string klein(std::string_view text) {
  std::string ergebnis(text);
  for (char& zeichen : ergebnis) {
    if (zeichen >= 'A' && zeichen <= 'Z') zeichen = static_cast<char>(zeichen - 'A' + 'a');
  }
  return ergebnis;
}

std::string_view dateiName(std::string_view pfad) {
  const std::size_t strich = pfad.rfind('/');
  if (strich != std::string_view::npos) pfad.remove_prefix(strich + 1);
  if (pfad.ends_with(".desktop")) pfad.remove_suffix(std::string_view(".desktop").size());
  return pfad;
}

const AppKennung* suche(std::string_view merkmal) {
  const auto* treffer =
      std::find_if(std::begin(TABELLE), std::end(TABELLE),
                   [&](const AppKennung& eintrag) { return eintrag.merkmal == merkmal; });
  return treffer != std::end(TABELLE) ? treffer : nullptr;
}

// An application of Chrome's store: 32 letters from a to p, which stand for the hexadecimal digits.
std::string_view webAppKennung(std::string_view text) {
  constexpr std::size_t LAENGE = 32;
  std::string_view rest = text.substr(0, LAENGE);
  const bool alle =
      std::all_of(rest.begin(), rest.end(), [](char c) { return c >= 'a' && c <= 'p'; });
  if (rest.size() < LAENGE || !alle) return {};
  const bool zuEnde = text.size() == LAENGE || text[LAENGE] == '-' || text[LAENGE] == '_';
  return zuEnde ? rest : std::string_view();
}

// The installed web app that one of the window's names stands for.
std::string_view webApp(std::string_view merkmal) {
  for (const std::string_view anfang : {"crx__", "crx_", "chrome-", "chromium-", "msedge-_",
                                        "msedge-", "microsoft-edge-", "google-chrome-"}) {
    if (!merkmal.starts_with(anfang)) continue;
    const std::string_view kennung = webAppKennung(merkmal.substr(anfang.size()));
    if (!kennung.empty()) return kennung;
  }
  return {};
}

bool istEdge(std::string_view merkmal) {
  return merkmal.starts_with("microsoft-edge") || merkmal.starts_with("msedge-") ||
         merkmal.starts_with("com.microsoft.edge") || merkmal.starts_with("crx__");
}

std::string unbedenklich(std::string_view text) {
  std::string ergebnis(text);
  for (char& zeichen : ergebnis) {
    const bool steuer = static_cast<unsigned char>(zeichen) < 0x20 || zeichen == 0x7F;
    if (steuer || zeichen == '"' || zeichen == '\\') zeichen = '_';
  }
  return ergebnis;
}

}  // namespace

std::span<const AppKennung> appKennungen() {
  return TABELLE;
}

std::optional<ScreenWindow::Anwendung> anwendungAus(const AppMerkmale& merkmale) {
  const std::string_view datei = dateiName(merkmale.desktopDatei);
  const std::array<std::string_view, 3> eigene{merkmale.klasse, merkmale.instanz, datei};
  std::array<std::string, 3> namen;
  std::transform(eigene.begin(), eigene.end(), namen.begin(), klein);

  const AppKennung* bekannt = nullptr;
  for (const std::string& name : namen) {
    if (bekannt == nullptr) bekannt = suche(name);
  }
  const bool edge = bekannt != nullptr ? bekannt->bundle == EDGE
                                       : std::any_of(namen.begin(), namen.end(), istEdge);
  // A web app of another browser belongs to that browser.
  if (bekannt == nullptr || bekannt->bundle.starts_with(CHROME) || bekannt->bundle == EDGE) {
    for (const std::string& name : namen) {
      const std::string_view kennung = webApp(name);
      if (kennung.empty()) continue;
      std::string app = bekannt != nullptr ? std::string(bekannt->name) : "Web-App";
      return ScreenWindow::Anwendung{
          std::string(edge ? EDGE : CHROME) + ".app." + std::string(kennung), std::move(app)};
    }
  }
  if (bekannt != nullptr) {
    return ScreenWindow::Anwendung{std::string(bekannt->bundle), std::string(bekannt->name)};
  }
  for (const std::string_view name : eigene) {
    if (!name.empty()) return ScreenWindow::Anwendung{unbedenklich(name), std::string(name)};
  }
  return std::nullopt;
}

}  // namespace hallkorb
