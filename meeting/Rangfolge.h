// Which window shows the running meeting: fixed rules over application, title and size.
//
// No platform tells that a window shows a meeting. What tells it is knowledge of the applications:
// Zoom's dozen auxiliary windows carry names of their own, Teams' main window looks like its
// meetings but for the page it names, and browsers name the meeting only in the title. The rules
// were tuned by hand on German and English screens; the tables are here to be read by who wonders
// about a choice. docs/meeting.md tells them in words.
//
// A native application's window goes before a browser's of the same rank, a larger window before a
// smaller one, since small ones are previews and toolbars.
//
// Pure functions; any thread. Words in the tables are in the form of normTitel()
// (meeting/Faltung.h), and `title` below means a title in that form.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "meeting/FensterInfo.h"
#include "meeting/Wahl.h"

namespace hallkorb {

// Bundle identifiers of meeting applications and their names.
inline constexpr std::array<std::pair<std::string_view, std::string_view>, 9> MEETING_BUNDLES{{
    {"us.zoom.xos", "Zoom"},
    {"us.zoom.videomeetings", "Zoom"},
    {"com.microsoft.teams2", "Teams"},
    {"com.microsoft.teams", "Teams"},
    {"Cisco-Systems.Spark", "Webex"},
    {"com.cisco.webexmeetingsapp", "Webex"},
    {"com.webex.meetingmanager", "Webex"},
    {"com.apple.FaceTime", "FaceTime"},
    {"com.tinyspeck.slackmacgap", "Slack"},
}};

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

// Zoom's auxiliary windows. One of them bears a misspelt title in some versions of the application.
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

inline constexpr std::string_view KEIN_BILD = "kein Meetingfenster – kein Bild";

// The name of the meeting application with this bundle identifier, if it is one.
[[nodiscard]] std::optional<std::string_view> meetingApp(std::string_view bundle);

// Whether the application is a browser, or a web application that Chrome or Edge has installed.
[[nodiscard]] bool istBrowser(std::string_view bundle);

// How a source is named for people: the meeting application's name, else the application's own
// name, else its bundle identifier.
[[nodiscard]] std::string anzeigeName(const std::string& bundle, const std::string& app);

// Whether the title is that of a Teams page which is never a meeting.
[[nodiscard]] bool teamsNie(std::string_view title);

// Whether the title holds a Google Meet code: exactly three runs of 3, 4 and 3 letters a to z,
// joined by hyphens, that no letter, number or hyphen precedes and no hyphen follows.
[[nodiscard]] bool hatMeetCode(std::string_view title);

struct MeetingKandidaten {
  std::vector<Wahl> liste;  // best first
  std::string ohne;         // why there is nothing to see, in case; filled in any case
};

[[nodiscard]] MeetingKandidaten meetingKandidaten(const std::vector<FensterInfo>& fenster);

// The best choice of a ranking, or "nichts" with the reason.
[[nodiscard]] Wahl besteWahl(const MeetingKandidaten& kandidaten);

// The best choice among these windows.
[[nodiscard]] Wahl waehleMeetingZiel(const std::vector<FensterInfo>& fenster);

}  // namespace hallkorb
