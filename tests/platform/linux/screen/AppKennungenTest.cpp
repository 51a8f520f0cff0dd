#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/linux/screen/AppKennungen.h"

namespace hallkorb {
namespace {

constexpr const char* WEB_APP = "cifhbcnohmdccbgoicgdjpfamggdegmo";

std::string bundle(const AppMerkmale& merkmale) {
  const auto anwendung = anwendungAus(merkmale);
  return anwendung ? anwendung->bundle : "-";
}

std::string bundleDerKlasse(const std::string& instanz, const std::string& klasse) {
  return bundle({instanz, klasse, ""});
}

TEST(AppKennungen, ApplicationsAsTheirPackagesNameThem) {
  EXPECT_EQ(bundleDerKlasse("zoom", "zoom"), "us.zoom.xos");
  EXPECT_EQ(bundleDerKlasse("microsoft teams - preview", "Microsoft Teams - Preview"),
            "com.microsoft.teams2");
  EXPECT_EQ(bundleDerKlasse("teams-for-linux", "teams-for-linux"), "com.microsoft.teams2");
  EXPECT_EQ(bundleDerKlasse("webex", "Webex"), "Cisco-Systems.Spark");
  EXPECT_EQ(bundleDerKlasse("CiscoCollabHost", "CiscoCollabHost"), "Cisco-Systems.Spark");
  EXPECT_EQ(bundleDerKlasse("slack", "Slack"), "com.tinyspeck.slackmacgap");
  EXPECT_EQ(bundleDerKlasse("google-chrome", "Google-chrome"), "com.google.Chrome");
  EXPECT_EQ(bundleDerKlasse("google-chrome (/home/me/profil)", "Google-chrome"),
            "com.google.Chrome");
  EXPECT_EQ(bundleDerKlasse("chromium", "Chromium"), "com.google.Chrome");
  EXPECT_EQ(bundleDerKlasse("Navigator", "firefox"), "org.mozilla.firefox");
  EXPECT_EQ(bundleDerKlasse("Navigator", "Firefox-esr"), "org.mozilla.firefox");
  EXPECT_EQ(bundleDerKlasse("microsoft-edge", "Microsoft-edge"), "com.microsoft.edgemac");
  EXPECT_EQ(bundleDerKlasse("brave-browser", "Brave-browser"), "com.brave.Browser");
  EXPECT_EQ(bundleDerKlasse("vivaldi-stable", "Vivaldi-stable"), "com.vivaldi.Vivaldi");
  EXPECT_EQ(bundleDerKlasse("opera", "Opera"), "com.operasoftware.Opera");
}

TEST(AppKennungen, TheDesktopFileSpeaksIfTheClassIsUnknown) {
  EXPECT_EQ(bundle({"x", "y", "us.zoom.Zoom"}), "us.zoom.xos");
  EXPECT_EQ(bundle({"x", "y", "/usr/share/applications/org.mozilla.firefox.desktop"}),
            "org.mozilla.firefox");
  EXPECT_EQ(bundle({"", "", "com.github.IsmaelMartinez.teams_for_linux"}), "com.microsoft.teams2");
  EXPECT_EQ(bundle({"slack", "Slack", "org.mozilla.firefox"}), "com.tinyspeck.slackmacgap");
}

TEST(AppKennungen, WebAppsOfChromeAndEdge) {
  const std::string app = WEB_APP;
  EXPECT_EQ(bundleDerKlasse("crx_" + app, "Google-chrome"), "com.google.Chrome.app." + app);
  EXPECT_EQ(bundleDerKlasse("crx_" + app, "Chromium"), "com.google.Chrome.app." + app);
  EXPECT_EQ(bundleDerKlasse("crx_" + app, "crx_" + app), "com.google.Chrome.app." + app);
  EXPECT_EQ(bundleDerKlasse("crx__" + app, "Microsoft-edge"), "com.microsoft.edgemac.app." + app);
  EXPECT_EQ(bundleDerKlasse("msedge-_" + app + "-Default", "msedge-_" + app + "-Default"),
            "com.microsoft.edgemac.app." + app);
  EXPECT_EQ(bundle({"", "Google-chrome", "chrome-" + app + "-Default.desktop"}),
            "com.google.Chrome.app." + app);
}

TEST(AppKennungen, WebAppsOfOtherBrowsersAreTheBrowsers) {
  EXPECT_EQ(bundleDerKlasse("crx_" + std::string(WEB_APP), "Brave-browser"), "com.brave.Browser");
}

TEST(AppKennungen, WhatOnlyLooksLikeAWebApp) {
  const std::string app = WEB_APP;
  EXPECT_EQ(bundleDerKlasse("crx_" + app.substr(1), "Google-chrome"), "com.google.Chrome");
  EXPECT_EQ(bundleDerKlasse("crx_" + app + "a", "Google-chrome"), "com.google.Chrome");
  EXPECT_EQ(bundleDerKlasse("crx_q" + app.substr(1), "Google-chrome"), "com.google.Chrome");
}

TEST(AppKennungen, EverythingElseKeepsItsClassName) {
  const auto anwendung = anwendungAus({"gimp-2.10", "Gimp-2.10", ""});
  ASSERT_TRUE(anwendung);
  EXPECT_EQ(anwendung->bundle, "Gimp-2.10");
  EXPECT_EQ(anwendung->name, "Gimp-2.10");
  EXPECT_EQ(bundle({"xterm", "", ""}), "xterm");
  EXPECT_EQ(bundle({"", "", "org.gnome.Terminal"}), "org.gnome.Terminal");
  EXPECT_EQ(bundle({"zoomed", "Zoomer", ""}), "Zoomer");
}

TEST(AppKennungen, AWindowThatSaysNothingHasNoApplication) {
  EXPECT_FALSE(anwendungAus({}));
}

TEST(AppKennungen, IdentifiersCanBeWrittenBetweenQuotationMarks) {
  const auto anwendung = anwendungAus({"", "a\"b\\c\nd\x7F", ""});
  ASSERT_TRUE(anwendung);
  EXPECT_EQ(anwendung->bundle, "a_b_c_d_");
  EXPECT_EQ(anwendung->name, "a\"b\\c\nd\x7F");
}

TEST(AppKennungen, EveryEntryIsFoundInAnyCaseAndOnlyOnce) {
  std::set<std::string> gesehen;
  for (const AppKennung& eintrag : appKennungen()) {
    std::string klasse(eintrag.merkmal);
    EXPECT_TRUE(gesehen.insert(klasse).second) << klasse;
    for (char& zeichen : klasse) {
      EXPECT_FALSE(zeichen >= 'A' && zeichen <= 'Z') << eintrag.merkmal;
      if (zeichen >= 'a' && zeichen <= 'z') zeichen = static_cast<char>(zeichen - 'a' + 'A');
    }
    const auto anwendung = anwendungAus({"", klasse, ""});
    ASSERT_TRUE(anwendung);
    EXPECT_EQ(anwendung->bundle, eintrag.bundle);
    EXPECT_EQ(anwendung->name, eintrag.name);
  }
}

}  // namespace
}  // namespace hallkorb
