#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meeting/Rangfolge.h"

namespace hallkorb {
namespace {

const std::string ZOOM = "us.zoom.xos";
const std::string TEAMS = "com.microsoft.teams2";
const std::string WEBEX = "Cisco-Systems.Spark";
const std::string FACETIME = "com.apple.FaceTime";
const std::string SLACK = "com.tinyspeck.slackmacgap";
const std::string CHROME = "com.google.Chrome";

const std::string NICHTS_OFFEN = "kein Meetingfenster – kein Bild (keine Meeting-App offen)";

FensterInfo fenster(std::uint32_t id, const std::string& bundle, const std::string& titel,
                    double breite = 800, double hoehe = 600, bool sichtbar = true) {
  return {id, titel, bundle, "App", 0, 0, breite, hoehe, sichtbar, 0};
}

std::vector<std::uint32_t> ids(const std::vector<FensterInfo>& liste) {
  std::vector<std::uint32_t> alle;
  for (const Wahl& w : meetingKandidaten(liste).liste)
    alle.push_back(w.id);
  return alle;
}

// The rank and reason of a single window; "" if it is no candidate.
std::string urteil(const FensterInfo& w) {
  const auto kandidaten = meetingKandidaten({w});
  if (kandidaten.liste.empty()) return "";
  return std::to_string(kandidaten.liste[0].rang) + " " + kandidaten.liste[0].grund;
}

std::string urteil(const std::string& bundle, const std::string& titel) {
  return urteil(fenster(1, bundle, titel));
}

TEST(RangfolgeTest, WithoutWindowsThereIsNothing) {
  const auto kandidaten = meetingKandidaten({});
  EXPECT_TRUE(kandidaten.liste.empty());
  EXPECT_EQ(kandidaten.ohne, NICHTS_OFFEN);
  EXPECT_EQ(wahlJSON(waehleMeetingZiel({})),
            R"({"art":"nichts","id":0,"quelle":"","rang":0,"grund":")" + NICHTS_OFFEN + "\"}");
}

TEST(RangfolgeTest, AChoiceIsPrintedOnOneLineWithItsTextsEscaped) {
  EXPECT_EQ(wahlJSON(waehleMeetingZiel({fenster(4294967295U, ZOOM, "Zoom\n\"Meeting\"\\ \x01")})),
            "{\"art\":\"fenster\",\"id\":4294967295,\"quelle\":\"Zoom · Zoom "
            "\\\"Meeting\\\"\\\\ \x01\",\"rang\":1,\"grund\":\"Zoom-Meetingfenster\"}");
}

struct Zeile {
  std::string titel;
  std::string urteil;
};

TEST(RangfolgeTest, ZoomTitles) {
  const std::string r1 = "1 Zoom-Meetingfenster";
  const std::string r2 = "2 geteilter Bildschirm eines Teilnehmers (Zoom-Fenster)";
  const std::string r3 = "3 schwebendes Zoom-Fenster";
  const std::string r4 = "4 Zoom-Warteraum/Vorschau";
  for (const Zeile& z : std::vector<Zeile>{
           {"Zoom Meeting", r1},
           {"ZOOM MEETING 40-Minuten", r1},
           {"Zoom Meting", ""},
           {"Besprechung", r1},
           {"BESPRECHU\u0308NG", r1},
           {"Besprechun", ""},
           {"Zoom Webinar", r1},
           {"Zoom Webina", ""},
           {"Videokonferenz", r1},
           {"Konferen", ""},
           {"Zoom", ""},
           {" zoom ", ""},
           {"Zoom.", ""},
           {"Window", ""},
           {"Windows", ""},
           {"Bildschirm von Anna", r2},
           {"Bildschirm von ", ""},  // the blank is trimmed
           {"Bildschirm vonAnna", ""},
           {"Der Bildschirm von Anna", ""},
           {"Anna's Screen", r2},
           {"Anna’s screen", r2},
           {"Annas Screen", ""},
           {"Anna's Screen 2", ""},
           {"Annas Bildschirm", r2},
           {"Hans' Bildschirm", ""},
           {"Hans Bildschirm", r2},
           {"Annas Bildschirme", ""},
           {"Anna's Meeting Bildschirm von", r1},
           {"Zoom Floating Video Window", r3},
           {"zoom floating video", r3},
           {"floating-video", ""},
           {"", r4},
           {" \t\n", r4},
           {"-", ""},
           {"Zoom Workplace", ""},
           {"Zoom Workplace Meeting", ""},
           {"Zoom Meeting zm_hud", ""},
           {"Meeting Toast", ""},
           {"Zoom share toolbar window meeting", ""},
           {"zoom share statusbar window meeting", ""},
           {"Annotation - Meeting", ""},
           {"Annotaion - Meeting", ""},
           {"Anotation - Meeting", r1},
           {"Meeting Reactions", ""},
           {"Meeting Reaction", r1},
           {"Meeting number window", ""},
           {"Meeting numbered window", r1},
           {"Meeting padding window", ""},
           {"Meeting gift panel", ""},
           {"Meeting gift", r1},
           {"Teilnehmer (3) Meeting", ""},
           {"Teilnehme Meeting", r1},
           {"Meeting Participants", ""},
           {"Meeting Chat", ""},
           {"Meeting-Einstellungen", ""},
           {"Meeting-Einstellung", r1},
           {"Meeting Settings", ""},
           {"Meeting Setting", r1},
           {"Verbinden mit Meeting", ""},
           {"Verbinde mit Meeting", r1},
           {"Connecting to Meeting", ""},
           {"Connect to Meeting", r1},
           {"Meeting-Umfrage", ""},
           {"Meeting-Umfragen", ""},
           {"Meeting-Umfrag", r1},
           {"Meeting Polls", ""},
           {"Meeting Pol", r1},
       }) {
    EXPECT_EQ(urteil(ZOOM, z.titel), z.urteil) << z.titel;
    EXPECT_EQ(urteil("us.zoom.videomeetings", z.titel), z.urteil) << z.titel;
  }
}

TEST(RangfolgeTest, TeamsTitles) {
  const std::string ja = "1 Teams-Meetingfenster";
  for (const Zeile& z : std::vector<Zeile>{
           {"Besprechung mit Anna | Microsoft Teams", ja},
           {"Meeting in \"Allgemein\"", ja},
           {"Meeting|Microsoft Teams", ja},
           {"Anruf mit Anna", ja},
           {"Anru mit Anna", ""},
           {"Call with Anna", ja},
           {"Cal with Anna", ""},
           {"Recall", ja},
           {"Webinar", ja},
           {"Telefonkonferenz", ja},
           {"Anna", ""},
           {"", ""},
           {"Microsoft Teams", ""},
           {"Microsoft Teams Meeting", ja},
           {"Chat | Meeting | Microsoft Teams", ""},
           {"Meeting Chat| Teams", ""},
           {"Chatten | Meeting", ja},
           {"Aktivität | Meeting", ""},
           {"Aktivita\u0308t | Meeting", ""},
           {"Aktivitäten | Meeting", ja},
           {"Activity | Meeting", ""},
           {"Activities | Meeting", ja},
           {"Kalender | Meeting", ""},
           {"Kalender: Meeting", ja},
           {"Calendar | Meeting", ""},
           {"Teams | Meeting", ""},
           {"Dateien | Meeting", ""},
           {"Files | Meeting", ""},
           {"Apps | Meeting", ""},
           {"Anrufe | Microsoft Teams", ""},
           {"Anruf | Microsoft Teams", ja},
           {"Calls | Microsoft Teams", ""},
           {"Call | Microsoft Teams", ja},
           {"OneDrive | Meeting", ""},
           {"Planner | Meeting", ""},
           {"Benachrichtigung Meeting", ""},
           {"Meeting Notification", ""},
           {"Meeting Notifications", ""},
           {"Meeting Notify", ja},
       }) {
    EXPECT_EQ(urteil(TEAMS, z.titel), z.urteil) << z.titel;
    EXPECT_EQ(urteil("com.microsoft.teams", z.titel), z.urteil) << z.titel;
  }
}

TEST(RangfolgeTest, WebexTitles) {
  const std::string ja = "1 Webex-Meetingfenster";
  for (const Zeile& z : std::vector<Zeile>{
           {"Webex Meeting", ja},
           {"Webex Meetings", ""},
           {"WEBEX MEETINGS ", ""},
           {"Webex", ""},
           {"Cisco Webex Meetings", ""},
           {"Cisco Webex Meeting", ja},
           {"Webex Meetings 2", ja},
           {"Webex Anruf", ja},
           {"Webex Call", ja},
           {"Chat | Webex Call", ja},
           {"Webinar", ja},
           {"Besprechung", ja},
           {"Konferenz", ja},
           {"Anna", ""},
       }) {
    for (const char* bundle :
         {"Cisco-Systems.Spark", "com.cisco.webexmeetingsapp", "com.webex.meetingmanager"}) {
      EXPECT_EQ(urteil(bundle, z.titel), z.urteil) << z.titel;
    }
  }
}

TEST(RangfolgeTest, FaceTimeAndSlack) {
  EXPECT_EQ(urteil(FACETIME, "FaceTime"), "1 FaceTime-Anruf");
  EXPECT_EQ(urteil(FACETIME, ""), "1 FaceTime-Anruf");
  EXPECT_EQ(urteil(SLACK, "Huddle mit Anna - Slack"), "1 Slack-Huddle");
  EXPECT_EQ(urteil(SLACK, "HÜDDLE"), "1 Slack-Huddle");
  EXPECT_EQ(urteil(SLACK, "Hudle mit Anna"), "");
  EXPECT_EQ(urteil(SLACK, "Besprechung"), "");
}

TEST(RangfolgeTest, BrowserTitles) {
  const std::string ja = "1 Meeting im Browser";
  for (const Zeile& z : std::vector<Zeile>{
           {"meet.google.com/abc", ja},
           {"meet.google.co", ""},
           {"Google Meet", ja},
           {"Google-Meet", ""},
           {"Meet – abc-defg-hij", ja},
           {"abc-defg-hij", ja},
           {"abc-defg-hijk", ""},
           {"Meet", ja},
           {"Meet – Runde", ja},
           {"Meet — Runde", ja},
           {"Meet Runde", ""},
           {"Das Meet – Runde", ""},
           {"Meet -", ""},
           {"Zoom Meeting", ja},
           {"Webinar in Zoom", ja},
           {"Zoom Besprechung", ""},
           {"Meeting", ""},
           {"Zoom", ""},
           {"Anna | Microsoft Teams", ja},
           {"Microsoft Teams", ""},
           {"Chat | Microsoft Teams", ""},
           {"Aktivita\u0308t | Microsoft Teams", ""},
           {"teams.microsoft.com", ja},
           {"teams.live.com", ja},
           {"teams.life.com", ""},
           {"Kalender | teams.live.com", ""},
           {"Kalender | teams.live.com | Webex", ja},  // another service all the same
           {"Webex", ja},
           {"Webx", ""},
           {"Whereby", ja},
           {"Where by", ""},
           {"Jitsi Meet", ja},
           {"Jits Meet", ""},
           {"around.co", ja},
           {"around", ""},
           {"gather.town", ja},
           {"gathertown", ""},
           {"Riverside", ja},
           {"River side", ""},
           {"StreamYard", ja},
           {"Stream Yard", ""},
           {"Livestorm", ja},
           {"Livestrom", ""},
           {"Demio", ja},
           {"Demo", ""},
           {"BigMarker", ja},
           {"Big Marker", ""},
           {"Nachrichten", ""},
           {"", ""},
           {"Choose what to share - Google Meet", ""},
           {"Choose what to shar - Google Meet", ja},
           {"Auswählen – Google Meet", ""},
           {"Auswahl – Google Meet", ja},
           {"Teilen mit Google Meet", ""},
           {"Teilen in Google Meet", ja},
           {"Zum Teilen: Google Meet", ""},
           {"Google Meet freigeben", ""},
           {"Google Meet freigebe", ja},
           {"Share your screen - Google Meet", ""},
           {"Share the screen - Google Meet", ja},
           {"Google Meet teilt Ihren Bildschirm", ""},
           {"Google Meet teilt Ihre Bildschirm", ja},
           {"meet.google.com teilt einen Tab", ""},
           {"meet.google.com teilt ein Tab", ja},
           {"meet.google.com is sharing a window", ""},
           {"meet.google.com is shared", ja},
           {"Bildschirm teilen – Google Meet", ""},
           {"Bildschirm teile – Google Meet", ja},
       }) {
    EXPECT_EQ(urteil(CHROME, z.titel), z.urteil) << z.titel;
  }
}

TEST(RangfolgeTest, MeetingCodes) {
  for (const char* ja :
       {"abc-defg-hij", "(abc-defg-hij)", "meet - abc-defg-hij", "x abc-defg-hij y",
        "abc-defg-hij.", "abc-defg-hij1", "abc-defg-hijü", "abc-defg-hij_", "_abc-defg-hij",
        "👍abc-defg-hij", "a-b abc-defg-hij", "abcd-efg-hij abc-defg-hij", "aaa-bbbb-ccc",
        "abc\nabc-defg-hij", "·abc-defg-hij·", "\u200Babc-defg-hij"}) {
    EXPECT_TRUE(hatMeetCode(ja)) << ja;
  }
  for (const char* nein :
       {"", "-", "abc", "abc-defg", "abc-defg-", "abc-defg-hi", "abc-defg-hijk", "ab-defg-hij",
        "abcd-efgh-ijk", "abc-def-hij", "abc-defgh-ijk", "abc-defg-hij-", "abc-defg-hij--",
        "abc-defg-hij-klm", "-abc-defg-hij", "xabc-defg-hij", "1abc-defg-hij", "²abc-defg-hij",
        "жabc-defg-hij", "abc--defg-hij", "abc-defg--hij", "abc defg hij", "abc-de3g-hij",
        "ab1-defg-hij", "ABC-DEFG-HIJ", "abc-dефg-hij",
        // A joiner belongs to the character before it, which is then no plain letter.
        "abc-defg-hij\u200D", "abc\u200D-defg-hij"}) {
    EXPECT_FALSE(hatMeetCode(nein)) << nein;
  }
}

TEST(RangfolgeTest, TeamsPages) {
  for (const char* ja :
       {"microsoft teams", "chat | x", "x chat|y", "x aktivitat | y", "activity | ", "kalender |",
        "calendar |", "teams |", "dateien |", "files |", "apps |", "anrufe |", "calls |",
        "onedrive |", "planner |", "benachrichtigungen", "notifications"}) {
    EXPECT_TRUE(teamsNie(ja)) << ja;
  }
  for (const char* nein : {"", "microsoft teams 2", "chat", "chat -", "call |", "Chat | x"}) {
    EXPECT_FALSE(teamsNie(nein)) << nein;
  }
}

TEST(RangfolgeTest, SizesDecideAtTheirLimits) {
  struct Fall {
    std::string bundle;
    std::string titel;
    double breite;
    double hoehe;
    std::string urteil;
  };
  for (const Fall& f : std::vector<Fall>{
           {ZOOM, "Zoom Meeting", 1280, 800, "1 Zoom-Meetingfenster"},
           {ZOOM, "Zoom Meeting", 300, 800, ""},
           {ZOOM, "Zoom Meeting", 320, 240, "1 Zoom-Meetingfenster"},
           {ZOOM, "Zoom Meeting", 319.99, 240, ""},
           {ZOOM, "Zoom Meeting", 320, 239.99, ""},
           {ZOOM, "Annas Bildschirm", 320, 240,
            "2 geteilter Bildschirm eines Teilnehmers (Zoom-Fenster)"},
           {ZOOM, "Annas Bildschirm", 319, 240, ""},
           {ZOOM, "Floating Video", 160, 90, "3 schwebendes Zoom-Fenster"},
           {ZOOM, "Floating Video", 159.5, 90, ""},
           {ZOOM, "Floating Video", 160, 89, ""},
           {ZOOM, "Floating Video Meeting", 319, 600, "3 schwebendes Zoom-Fenster"},
           {ZOOM, "Floating Video Meeting", 320, 600, "1 Zoom-Meetingfenster"},
           {ZOOM, "", 600, 400, "4 Zoom-Warteraum/Vorschau"},
           {ZOOM, "", 599, 400, ""},
           {ZOOM, "", 600, 399, ""},
           {TEAMS, "Meeting", 320, 240, "1 Teams-Meetingfenster"},
           {TEAMS, "Meeting", 319, 240, ""},
           {WEBEX, "Meeting", 320, 240, "1 Webex-Meetingfenster"},
           {WEBEX, "Meeting", 320, 239, ""},
           {FACETIME, "x", 320, 240, "1 FaceTime-Anruf"},
           {FACETIME, "x", 319, 240, ""},
           {SLACK, "Huddle", 320, 240, "1 Slack-Huddle"},
           {SLACK, "Huddle", 320, 239, ""},
           {CHROME, "Google Meet", 320, 240, "1 Meeting im Browser"},
           {CHROME, "Google Meet", 319, 240, ""},
       }) {
    EXPECT_EQ(urteil(fenster(1, f.bundle, f.titel, f.breite, f.hoehe)), f.urteil)
        << f.titel << f.breite << "x" << f.hoehe;
    EXPECT_EQ(urteil(fenster(1, f.bundle, f.titel, f.breite, f.hoehe, false)), "") << f.titel;
  }
}

TEST(RangfolgeTest, OnlyKnownApplicationsAreLookedAt) {
  for (const auto bundle : BROWSER_BUNDLES) {
    EXPECT_EQ(urteil(std::string(bundle), "Google Meet"), "1 Meeting im Browser") << bundle;
    EXPECT_TRUE(istBrowser(bundle));
    EXPECT_FALSE(meetingApp(bundle));
  }
  for (const char* bundle :
       {"com.google.Chrome.app.x", "com.google.Chrome.app.", "com.microsoft.edgemac.app.x"}) {
    EXPECT_TRUE(istBrowser(bundle)) << bundle;
  }
  for (const char* bundle :
       {"", "com.google.Chrome.app", "com.google.Chrome ", "com.google.chrome",
        "com.google.Chrome.beta", "com.apple.Safari.app.x", "us.zoom.xos", "org.gnome.Terminal"}) {
    EXPECT_FALSE(istBrowser(bundle)) << bundle;
  }
  for (const char* bundle :
       {"", "us.zoom.xos2", "US.ZOOM.XOS", "com.microsoft.teams3", "com.google.Chrome"}) {
    EXPECT_FALSE(meetingApp(bundle)) << bundle;
  }
  EXPECT_EQ(meetingApp("com.webex.meetingmanager"), "Webex");
  EXPECT_EQ(urteil("org.gnome.Terminal", "Zoom Meeting"), "");
}

// The title is a meeting for every rule, so an application with another one's rule is noticed by
// the reason.
TEST(RangfolgeTest, EachApplicationHasItsOwnRule) {
  for (const MeetingApp& app : MEETING_BUNDLES) {
    SCOPED_TRACE(app.bundle);
    ASSERT_NE(app.regel.urteile, nullptr);
    const std::string sein = urteil(std::string(app.bundle), "Huddle Meeting");
    EXPECT_TRUE(sein.starts_with("1 " + std::string(app.name) + "-")) << sein;
    for (const MeetingApp& andere : MEETING_BUNDLES) {
      EXPECT_EQ(app.name == andere.name, app.regel.urteile == andere.regel.urteile)
          << andere.bundle;
    }
  }
}

TEST(RangfolgeTest, OwnWindowsAreNeverCandidates) {
  for (const char* bundle : {"de.hallkorb.app", "de.hallkorb.recorder"}) {
    for (const char* titel : {"Zoom Meeting", "Google Meet", "Huddle", ""}) {
      EXPECT_EQ(urteil(bundle, titel), "");
    }
    EXPECT_EQ(waehleMeetingZiel({fenster(1, bundle, "Zoom Meeting")}).grund, NICHTS_OFFEN);
  }
}

TEST(RangfolgeTest, SourcesAreNamedForPeople) {
  EXPECT_EQ(anzeigeName("us.zoom.xos", "zoom.us"), "Zoom");
  EXPECT_EQ(anzeigeName("com.google.Chrome", "Google Chrome"), "Google Chrome");
  EXPECT_EQ(anzeigeName("com.google.Chrome", ""), "com.google.Chrome");
  EXPECT_EQ(anzeigeName("", ""), "");
  const auto quelle = [](const std::string& titel) {
    return waehleMeetingZiel({fenster(1, FACETIME, titel)}).quelle;
  };
  EXPECT_EQ(waehleMeetingZiel({fenster(1, ZOOM, " Zoom Meeting ")}).quelle, "Zoom · Zoom Meeting");
  EXPECT_EQ(waehleMeetingZiel({fenster(1, ZOOM, "")}).quelle, "Zoom · Warteraum/Vorschau");
  EXPECT_EQ(waehleMeetingZiel({fenster(1, ZOOM, "\u00A0\t")}).quelle, "Zoom · Warteraum/Vorschau");
  EXPECT_EQ(quelle("Ännas Änruf – x"), "FaceTime · Ännas Änruf – x");
  EXPECT_EQ(quelle("\t\n x \n\t"), "FaceTime · \n x \n");
  EXPECT_EQ(quelle("\n"), "FaceTime · \n");
  EXPECT_EQ(waehleMeetingZiel({{1, "Google Meet", CHROME, "", 0, 0, 800, 600, true, 0}}).quelle,
            "com.google.Chrome · Google Meet");
}

TEST(RangfolgeTest, BetterRanksThenNativeWindowsThenLargerOnesComeFirst) {
  EXPECT_EQ(ids({fenster(1, CHROME, "Google Meet", 2000, 1500),
                 fenster(2, TEAMS, "Besprechung", 400, 300)}),
            (std::vector<std::uint32_t>{2, 1}));
  EXPECT_EQ(
      ids({fenster(1, TEAMS, "Meeting", 400, 300), fenster(2, ZOOM, "Zoom Meeting", 500, 300)}),
      (std::vector<std::uint32_t>{2, 1}));
  EXPECT_EQ(ids({fenster(5, TEAMS, "Meeting", 400, 300), fenster(3, ZOOM, "Meeting", 300 * 4, 100),
                 fenster(4, ZOOM, "Meeting", 300, 400), fenster(2, WEBEX, "Meeting", 400, 300),
                 fenster(9, FACETIME, "", 600, 300)}),
            (std::vector<std::uint32_t>{9, 5, 2}));
  EXPECT_EQ(ids({fenster(7, ZOOM, ""), fenster(6, ZOOM, "Floating Video"),
                 fenster(5, ZOOM, "Anna's Screen"), fenster(4, CHROME, "Meet"),
                 fenster(3, ZOOM, "Meeting", 320, 240)}),
            (std::vector<std::uint32_t>{3, 4, 5, 6, 7}));
  EXPECT_EQ(
      ids({fenster(1, ZOOM, "Meeting", 1e200, 1e200), fenster(2, ZOOM, "Meeting", 1e300, 1e300)}),
      (std::vector<std::uint32_t>{1, 2}));  // both areas overflow: a tie
}

TEST(RangfolgeTest, TheExplanationNamesWhatIsOpen) {
  const auto grund = [](const std::vector<FensterInfo>& liste) {
    return meetingKandidaten(liste).ohne;
  };
  const std::string vor = "kein Meetingfenster – kein Bild (";
  EXPECT_EQ(grund({fenster(1, TEAMS, "Chat | Microsoft Teams")}),
            vor + "Teams offen, aber kein Meeting sichtbar)");
  EXPECT_EQ(grund({fenster(1, WEBEX, "Webex", 10, 10, false), fenster(2, ZOOM, "Zoom")}),
            vor + "Webex offen, aber kein Meeting sichtbar)");
  EXPECT_EQ(grund({fenster(1, CHROME, "Google Meet"), fenster(2, SLACK, "Huddle"),
                   fenster(3, FACETIME, "")}),
            NICHTS_OFFEN);
  EXPECT_EQ(grund({fenster(1, TEAMS, "x"), fenster(2, ZOOM, "zoom share toolbar window")}),
            vor + "Du teilst in Zoom, kein Teilnehmerfenster sichtbar)");
  EXPECT_EQ(grund({fenster(1, ZOOM, "Zoom Share Statusbar Window", 5, 5),
                   fenster(2, ZOOM, "share toolbar", 800, 600, false)}),
            vor + "Du teilst in Zoom, kein Teilnehmerfenster sichtbar)");
  EXPECT_EQ(grund({fenster(1, ZOOM, "share toolbar", 800, 600, false)}),
            vor + "Zoom offen, aber kein Meeting sichtbar)");
  EXPECT_EQ(grund({fenster(1, ZOOM, "toolbar")}), vor + "Zoom offen, aber kein Meeting sichtbar)");
  // It is filled even if there are candidates.
  EXPECT_EQ(grund({fenster(1, ZOOM, "Zoom Meeting")}),
            vor + "Zoom offen, aber kein Meeting sichtbar)");
}

// Quadratic work would not finish within the test's time limit; bench/ measures the time.
TEST(RangfolgeTest, AHundredThousandWindowsAreRanked) {
  std::vector<FensterInfo> liste;
  for (std::uint32_t i = 0; i < 100'000; ++i) {
    liste.push_back(fenster(i, i % 2 == 0 ? ZOOM : CHROME,
                            i % 3 == 0 ? "Wöchentliche Besprechung – 12" : "abc-defg-hi und weiter",
                            320 + i % 1000));
  }
  const auto kandidaten = meetingKandidaten(liste);
  EXPECT_EQ(kandidaten.liste.size(), 16'667U);
  EXPECT_EQ(kandidaten.liste.front().id, 1998U);
}

TEST(RangfolgeTest, ATitleOfAMillionCharactersIsReadOnce) {
  std::string lang;
  while (lang.size() < 1'000'000)
    lang += "abc-defg-hijk ";
  EXPECT_FALSE(hatMeetCode(lang));
  EXPECT_TRUE(hatMeetCode(lang + "abc-defg-hij"));
  EXPECT_FALSE(hatMeetCode(std::string(1'000'000, 'a') + "-defg-hij"));
}

}  // namespace
}  // namespace hallkorb
