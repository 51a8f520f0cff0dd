// What is known of meeting applications and web meetings: which window shows a meeting.
//
// No platform says that a window shows a meeting. Knowledge of the applications does: Zoom's dozen
// auxiliary windows have names of their own, the main window of Teams differs from its meetings
// only by the page it names, and browsers name the meeting only in the title. The rules were tuned
// by hand on German and English screens, and stand here in full for whoever wonders about a choice.
// docs/meeting.md explains them in words.
//
// To add an application, write its rule and enter it in MEETING_BUNDLES.
//
// Pure functions; any thread. The words in the tables are in the form of normTitel()
// (meeting/Faltung.h), and `title` is always a title in that form.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "meeting/FensterInfo.h"

namespace hallkorb {

// Why a window is a candidate, and how good a one.
struct Urteil {
  std::int64_t rang = 0;  // 1 is best
  std::string_view grund;
};

// How the windows of one application are judged. A window may have any size and be hidden.
struct MeetingRegel {
  // nullopt if the window shows no meeting.
  std::optional<Urteil> (*urteile)(const FensterInfo& w, std::string_view title) = nullptr;
  // Whether the application is worth a mention if it is open without a meeting. Some are open all
  // day.
  bool nennenswert = false;
  // Whether the window shows that the user is sharing their screen; null if no window does.
  bool (*teilt)(const FensterInfo& w, std::string_view title) = nullptr;
};

[[nodiscard]] std::optional<Urteil> urteileZoom(const FensterInfo& w, std::string_view title);
[[nodiscard]] std::optional<Urteil> urteileTeams(const FensterInfo& w, std::string_view title);
[[nodiscard]] std::optional<Urteil> urteileWebex(const FensterInfo& w, std::string_view title);
[[nodiscard]] std::optional<Urteil> urteileFaceTime(const FensterInfo& w, std::string_view title);
[[nodiscard]] std::optional<Urteil> urteileSlack(const FensterInfo& w, std::string_view title);
[[nodiscard]] std::optional<Urteil> urteileBrowser(const FensterInfo& w, std::string_view title);
[[nodiscard]] bool teiltInZoom(const FensterInfo& w, std::string_view title);

inline constexpr MeetingRegel ZOOM_REGEL{urteileZoom, true, teiltInZoom};
inline constexpr MeetingRegel TEAMS_REGEL{urteileTeams, true, nullptr};
inline constexpr MeetingRegel WEBEX_REGEL{urteileWebex, true, nullptr};
inline constexpr MeetingRegel FACETIME_REGEL{urteileFaceTime, false, nullptr};
inline constexpr MeetingRegel SLACK_REGEL{urteileSlack, false, nullptr};

struct MeetingApp {
  std::string_view bundle;
  std::string_view name;  // for people
  MeetingRegel regel;
};

inline constexpr auto MEETING_BUNDLES = std::to_array<MeetingApp>({
    {"us.zoom.xos", "Zoom", ZOOM_REGEL},
    {"us.zoom.videomeetings", "Zoom", ZOOM_REGEL},
    {"com.microsoft.teams2", "Teams", TEAMS_REGEL},
    {"com.microsoft.teams", "Teams", TEAMS_REGEL},
    {"Cisco-Systems.Spark", "Webex", WEBEX_REGEL},
    {"com.cisco.webexmeetingsapp", "Webex", WEBEX_REGEL},
    {"com.webex.meetingmanager", "Webex", WEBEX_REGEL},
    {"com.apple.FaceTime", "FaceTime", FACETIME_REGEL},
    {"com.tinyspeck.slackmacgap", "Slack", SLACK_REGEL},
});

inline constexpr std::array<std::string_view, 10> BROWSER_BUNDLES{
    "com.google.Chrome",     "com.apple.Safari",        "company.thebrowser.Browser",
    "org.mozilla.firefox",   "com.microsoft.edgemac",   "com.brave.Browser",
    "com.vivaldi.Vivaldi",   "com.operasoftware.Opera", "com.google.Chrome.canary",
    "company.thebrowser.dia"};

// The host application and this program: never a meeting.
inline constexpr std::array<std::string_view, 2> EIGENE_BUNDLES{"de.hallkorb.app",
                                                                "de.hallkorb.recorder"};

inline constexpr std::array<std::string_view, 4> MEETING_WORTE{"meeting", "besprechung", "webinar",
                                                               "konferenz"};

// Browsers' pickers and dialogs for sharing a screen.
inline constexpr std::array<std::string_view, 10> TEILEN_WORTE{
    "auswahlen",         "choose what to share", "teilen mit",  "zum teilen", "freigeben",
    "share your screen", "teilt ihren",          "teilt einen", "is sharing", "bildschirm teilen"};

// Zoom's auxiliary windows. One has a misspelt title in some versions of the application.
inline constexpr std::array<std::string_view, 20> ZOOM_NEBENFENSTER{
    "workplace",  "zm_hud",     "toast",       "toolbar",       "statusbar",
    "annotation", "annotaion",  "reactions",   "number window", "padding window",
    "gift panel", "teilnehmer", "participant", "chat",          "einstellungen",
    "settings",   "verbinden",  "connecting",  "umfrage",       "poll"};

// Meeting services in the browser beside Google Meet, Zoom and Teams.
inline constexpr std::array<std::string_view, 10> WEB_DIENSTE{
    "webex",     "whereby",    "jitsi",     "around.co", "gather.town",
    "riverside", "streamyard", "livestorm", "demio",     "bigmarker"};

// Host names of the web clients of Google Meet and of Teams.
inline constexpr std::string_view MEET_WIRT = "meet.google.com";
inline constexpr std::array<std::string_view, 2> TEAMS_WIRTE{"teams.microsoft.com",
                                                             "teams.live.com"};

// Pages of Teams that are never a meeting.
inline constexpr std::array<std::string_view, 16> TEAMS_SEITEN{
    "chat |",     "chat|",     "aktivitat |",      "activity |",  "kalender |", "calendar |",
    "teams |",    "dateien |", "files |",          "apps |",      "anrufe |",   "calls |",
    "onedrive |", "planner |", "benachrichtigung", "notification"};

// The meeting application with this bundle identifier, or null.
[[nodiscard]] const MeetingApp* sucheMeetingApp(std::string_view bundle);
// Its name.
[[nodiscard]] std::optional<std::string_view> meetingApp(std::string_view bundle);

// Whether the application is a browser, or a web application that Chrome or Edge has installed.
[[nodiscard]] bool istBrowser(std::string_view bundle);

// How a source is named for people: the meeting application's name, otherwise the application's own
// name, otherwise its bundle identifier.
[[nodiscard]] std::string anzeigeName(const std::string& bundle, const std::string& app);

// Whether the title is that of a Teams page which is never a meeting.
[[nodiscard]] bool teamsNie(std::string_view title);

// Whether the title holds a Google Meet code: exactly three runs of 3, 4 and 3 letters a to z,
// joined by hyphens, that no letter, number or hyphen precedes and no hyphen follows.
[[nodiscard]] bool hatMeetCode(std::string_view title);

}  // namespace hallkorb
