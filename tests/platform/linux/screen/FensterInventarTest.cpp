// The inventory of a real X server's windows.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"
#include "tests/support/Warten.h"
#include "tests/support/X11Bildschirm.h"

namespace hallkorb {
namespace {

class FensterInventar : public testing::Test {
 protected:
  X11Bildschirm bildschirm_;
};

std::vector<std::uint32_t> nummern(const ScreenContent& content) {
  std::vector<std::uint32_t> alle;
  for (const ScreenWindow& fenster : content.windows)
    alle.push_back(fenster.id);
  return alle;
}

TEST_F(FensterInventar, AnEmptyScreenHasNoWindows) {
  EXPECT_TRUE(bildschirm_.inventar().windows.empty());
}

TEST_F(FensterInventar, DescribesAWindow) {
  const auto zoom = bildschirm_.fenster({"--klasse", "zoom", "zoom", "--titel", "Zoom Meeting",
                                         "--groesse", "800", "600", "--ort", "100", "50"});
  ASSERT_TRUE(
      bildschirm_.warteAuf(zoom->id(), [](const ScreenWindow& f) { return f.hoehe > 600; }));
  const auto fenster = bildschirm_.finde(zoom->id());
  ASSERT_TRUE(fenster);
  EXPECT_EQ(fenster->titel, "Zoom Meeting");
  ASSERT_TRUE(fenster->anwendung);
  EXPECT_EQ(fenster->anwendung->bundle, "us.zoom.xos");
  EXPECT_EQ(fenster->anwendung->name, "Zoom");
  EXPECT_TRUE(fenster->sichtbar);
  EXPECT_EQ(fenster->ebene, 0);
  // The frame: its corner is where the window was asked to be; border and title bar come on top.
  EXPECT_EQ(fenster->x, 100.0);
  EXPECT_EQ(fenster->y, 50.0);
  EXPECT_GE(fenster->breite, 800.0);
  EXPECT_LT(fenster->breite, 820.0);
  EXPECT_GT(fenster->hoehe, 610.0);
  EXPECT_LT(fenster->hoehe, 660.0);
}

TEST_F(FensterInventar, FollowsAWindowThatChanges) {
  const auto programm = bildschirm_.fenster({"--ort", "0", "0", "--groesse", "300", "200"});
  programm->tu("titel Größe – 漢");
  programm->tu("groesse 500 400");
  programm->tu("ort -200 -30");
  ASSERT_TRUE(bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) {
    return f.x == -200.0 && f.y == -30.0 && f.breite >= 500.0 && f.breite < 520.0;
  }));
  EXPECT_EQ(bildschirm_.finde(programm->id())->titel, "Größe – 漢");
}

TEST_F(FensterInventar, ReadsATitleInLatin1) {
  const auto programm = bildschirm_.fenster({});
  programm->tu(
      "titel-latin1 Gr\xF6\xDF"
      "e");
  EXPECT_TRUE(bildschirm_.warteAuf(programm->id(),
                                   [](const ScreenWindow& f) { return f.titel == "Größe"; }));
}

TEST_F(FensterInventar, AMinimisedWindowIsNotVisible) {
  const auto programm = bildschirm_.fenster({});
  programm->tu("minimiere");
  EXPECT_TRUE(
      bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) { return !f.sichtbar; }));
  programm->tu("zeige");
  EXPECT_TRUE(
      bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) { return f.sichtbar; }));
}

TEST_F(FensterInventar, AWithdrawnOrClosedWindowIsGone) {
  const auto eines = bildschirm_.fenster({});
  const auto anderes = bildschirm_.fenster({});
  eines->tu("verstecke");
  EXPECT_TRUE(warteBis([&] { return !bildschirm_.finde(eines->id()); }));
  anderes->schliesse();
  EXPECT_TRUE(warteBis([&] { return !bildschirm_.finde(anderes->id()); }));
}

TEST_F(FensterInventar, TheFrontWindowComesFirst) {
  const auto a = bildschirm_.fenster({});
  const auto b = bildschirm_.fenster({});
  const std::vector<std::uint32_t> aVorn{a->id(), b->id()};
  const std::vector<std::uint32_t> bVorn{b->id(), a->id()};
  a->tu("vorn");
  EXPECT_TRUE(warteBis([&] { return nummern(bildschirm_.inventar()) == aVorn; }));
  b->tu("vorn");
  EXPECT_TRUE(warteBis([&] { return nummern(bildschirm_.inventar()) == bVorn; }));
}

TEST_F(FensterInventar, LayersAndDesktops) {
  const auto programm = bildschirm_.fenster({});
  const auto ebene = [&](std::int64_t erwartet) {
    return bildschirm_.warteAuf(programm->id(),
                                [=](const ScreenWindow& f) { return f.ebene == erwartet; });
  };
  programm->tu("zustand _NET_WM_STATE_ABOVE 1");
  EXPECT_TRUE(ebene(1));
  programm->tu("zustand _NET_WM_STATE_ABOVE 0");
  EXPECT_TRUE(ebene(0));
  programm->tu("zustand _NET_WM_STATE_BELOW 1");
  EXPECT_TRUE(ebene(-1));
  programm->tu("zustand _NET_WM_STATE_FULLSCREEN 1");
  EXPECT_TRUE(ebene(2));
  programm->tu("zustand _NET_WM_STATE_FULLSCREEN 0");
  EXPECT_TRUE(ebene(-1));
  programm->tu("schreibtisch 1");
  EXPECT_TRUE(
      bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) { return !f.sichtbar; }));
}

TEST_F(FensterInventar, AShadedWindowIsStillVisible) {
  const auto programm = bildschirm_.fenster({"--groesse", "400", "300"});
  programm->tu("zustand _NET_WM_STATE_SHADED 1");
  // The window is shaded once the window manager has set that state, which the inventory does not
  // show. A layer that is requested afterwards shows that the manager has got that far.
  programm->tu("zustand _NET_WM_STATE_ABOVE 1");
  ASSERT_TRUE(
      bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) { return f.ebene == 1; }));
  EXPECT_TRUE(bildschirm_.finde(programm->id())->sichtbar);
}

TEST_F(FensterInventar, DesktopsAreLeftOutAndDocksLieAbove) {
  const auto boden = bildschirm_.fenster({"--typ", "_NET_WM_WINDOW_TYPE_DESKTOP"});
  const auto leiste = bildschirm_.fenster({"--typ", "_NET_WM_WINDOW_TYPE_DOCK"});
  EXPECT_TRUE(
      bildschirm_.warteAuf(leiste->id(), [](const ScreenWindow& f) { return f.ebene == 1; }));
  EXPECT_FALSE(bildschirm_.finde(boden->id()));
}

TEST_F(FensterInventar, AShadowThatAWindowDrawsItselfIsNotPartOfIt) {
  const auto programm =
      bildschirm_.fenster({"--ort", "300", "200", "--groesse", "500", "400", "--ohne-rahmen",
                           "--schatten", "20", "30", "10", "40"});
  ASSERT_TRUE(bildschirm_.warteAuf(
      programm->id(), [](const ScreenWindow& f) { return f.breite == 450.0 && f.hoehe == 350.0; }));
  const auto fenster = bildschirm_.finde(programm->id());
  EXPECT_EQ(fenster->x, 320.0);
  EXPECT_EQ(fenster->y, 210.0);
}

TEST_F(FensterInventar, AWindowWithoutAClassBelongsToItsProcess) {
  const auto programm = bildschirm_.fenster({"--klasse", "", ""});
  // The window manager lists a window a moment after it has shown it.
  ASSERT_TRUE(
      bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) { return f.sichtbar; }));
  const auto fenster = bildschirm_.finde(programm->id());
  ASSERT_TRUE(fenster && fenster->anwendung);
  EXPECT_EQ(fenster->anwendung->bundle, "testfenster");
}

TEST_F(FensterInventar, MenusAreNoWindows) {
  const auto menu = bildschirm_.fenster({"--ohne-verwalter"});
  EXPECT_TRUE(bildschirm_.inventar().windows.empty());
}

TEST_F(FensterInventar, FindsTheWindowsAlsoAfterTheWindowManagerHasEnded) {
  const auto programm = bildschirm_.fenster({"--titel", "bleibt"});
  bildschirm_.beendeVerwalter();
  ASSERT_TRUE(
      bildschirm_.warteAuf(programm->id(), [](const ScreenWindow& f) { return f.sichtbar; }));
  EXPECT_EQ(bildschirm_.finde(programm->id())->titel, "bleibt");
}

TEST_F(FensterInventar, TheListOfAWindowManagerThatHasEndedIsNotTrusted) {
  const auto altes = bildschirm_.fenster({});
  bildschirm_.beendeVerwalter();
  const auto neues = bildschirm_.fenster({"--titel", "neu"});
  altes->schliesse();
  ASSERT_TRUE(warteBis(
      [&] { return nummern(bildschirm_.inventar()) == std::vector<std::uint32_t>{neues->id()}; }));
  EXPECT_EQ(bildschirm_.finde(neues->id())->titel, "neu");
}

TEST(FensterInventarTwm, FindsTheWindowInItsFrame) {
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::TWM);
  const auto zoom = bildschirm.fenster(
      {"--klasse", "zoom", "zoom", "--titel", "Zoom Meeting", "--ort", "10", "20"});
  ASSERT_TRUE(bildschirm.warteAuf(zoom->id(), [](const ScreenWindow& f) { return f.sichtbar; }));
  const auto fenster = bildschirm.finde(zoom->id());
  EXPECT_EQ(fenster->titel, "Zoom Meeting");
  ASSERT_TRUE(fenster->anwendung);
  EXPECT_EQ(fenster->anwendung->bundle, "us.zoom.xos");
  for (const ScreenWindow& anderes : bildschirm.inventar().windows)
    EXPECT_TRUE(anderes.id == zoom->id() || !anderes.sichtbar) << anderes.id;
}

TEST(FensterInventarOhneVerwalter, ListsTheWindowsAsTheyLie) {
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::KEINER);
  const auto a = bildschirm.fenster({"--ort", "10", "20", "--groesse", "300", "200"});
  const auto b = bildschirm.fenster({"--klasse", "slack", "Slack"});
  const auto menu = bildschirm.fenster({"--ohne-verwalter"});
  EXPECT_EQ(nummern(bildschirm.inventar()), (std::vector<std::uint32_t>{b->id(), a->id()}));
  a->tu("vorn");
  EXPECT_EQ(nummern(bildschirm.inventar()), (std::vector<std::uint32_t>{a->id(), b->id()}));
  const auto fenster = bildschirm.finde(a->id());
  EXPECT_EQ(fenster->x, 10.0);
  EXPECT_EQ(fenster->y, 20.0);
  EXPECT_EQ(fenster->breite, 300.0);
  EXPECT_EQ(fenster->hoehe, 200.0);
  b->tu("verstecke");
  EXPECT_FALSE(bildschirm.finde(b->id())->sichtbar);
}

// A window manager that says no more than that it lives.
class Wortkarger {
 public:
  explicit Wortkarger(const std::string& display) : verbindung_(display, std::chrono::hours(1)) {
    if (verbindung_.oeffne().gescheitert()) throw std::runtime_error("no X server");
    xcb_connection_t* c = verbindung_.get();
    wurzel_ = verbindung_.schirm().root;
    const std::uint32_t menu[] = {1};
    const xcb_window_t zeuge = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, zeuge, wurzel_, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                      menu);
    for (const xcb_window_t fenster : {wurzel_, zeuge})
      setze(fenster, "_NET_SUPPORTING_WM_CHECK", {zeuge});
  }

  // With `werte` empty, the property is there and empty.
  void setze(xcb_window_t fenster, const std::string& name, std::vector<std::uint32_t> werte) {
    xcb_connection_t* c = verbindung_.get();
    const X11Antwort<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
    if (!atom) throw std::runtime_error("no atom");
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, fenster, atom->atom, XCB_ATOM_WINDOW, 32,
                        static_cast<std::uint32_t>(werte.size()), werte.data());
    const X11Antwort<xcb_get_input_focus_reply_t> fertig(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  }
  [[nodiscard]] xcb_window_t wurzel() const { return wurzel_; }

 private:
  X11Verbindung verbindung_;
  xcb_window_t wurzel_ = XCB_NONE;
};

TEST(FensterInventarOhneVerwalter, AWindowManagerMayLiveWithoutAList) {
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::KEINER);
  Wortkarger verwalter(bildschirm.display());
  const auto programm = bildschirm.fenster({});
  EXPECT_EQ(nummern(bildschirm.inventar()), std::vector<std::uint32_t>{programm->id()});
  // An empty list is one, and the truth.
  verwalter.setze(verwalter.wurzel(), "_NET_CLIENT_LIST", {});
  EXPECT_TRUE(bildschirm.inventar().windows.empty());
  verwalter.setze(verwalter.wurzel(), "_NET_CLIENT_LIST", {programm->id()});
  EXPECT_EQ(nummern(bildschirm.inventar()), std::vector<std::uint32_t>{programm->id()});
}

// The one that kept the order was killed, and its successor keeps none.
TEST(FensterInventarOhneVerwalter, AnOrderThatIsNoLongerKeptHidesNoWindow) {
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::KEINER);
  Wortkarger verwalter(bildschirm.display());
  const auto eines = bildschirm.fenster({});
  const auto neues = bildschirm.fenster({});
  verwalter.setze(verwalter.wurzel(), "_NET_CLIENT_LIST_STACKING", {eines->id()});
  verwalter.setze(verwalter.wurzel(), "_NET_CLIENT_LIST", {eines->id(), neues->id()});
  EXPECT_EQ(nummern(bildschirm.inventar()), (std::vector<std::uint32_t>{neues->id(), eines->id()}));
  verwalter.setze(verwalter.wurzel(), "_NET_CLIENT_LIST_STACKING", {neues->id(), eines->id()});
  EXPECT_EQ(nummern(bildschirm.inventar()), (std::vector<std::uint32_t>{eines->id(), neues->id()}));
}

// Any program may set them to anything.
TEST(FensterInventarOhneVerwalter, FramesAndShadowsThatCannotBeAreNone) {
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::KEINER);
  Wortkarger verwalter(bildschirm.display());
  const auto programm = bildschirm.fenster({"--ort", "10", "20", "--groesse", "300", "200"});
  const auto masse = [&] {
    const auto fenster = bildschirm.finde(programm->id());
    return std::array{fenster->x, fenster->y, fenster->breite, fenster->hoehe};
  };
  verwalter.setze(programm->id(), "_NET_FRAME_EXTENTS", {3, 4, 5, 6});
  EXPECT_EQ(masse(), (std::array{7.0, 15.0, 307.0, 211.0}));
  verwalter.setze(programm->id(), "_NET_FRAME_EXTENTS", {3, 4, 30'000, 6});
  EXPECT_EQ(masse(), (std::array{10.0, 20.0, 300.0, 200.0}));
  verwalter.setze(programm->id(), "_GTK_FRAME_EXTENTS", {10, 20, 30, 40});
  EXPECT_EQ(masse(), (std::array{20.0, 50.0, 270.0, 130.0}));
  for (const std::uint32_t breite : {150U, 0xFFFF'FFF0U}) {
    verwalter.setze(programm->id(), "_GTK_FRAME_EXTENTS", {breite, 150, 0, 0});
    EXPECT_EQ(masse(), (std::array{10.0, 20.0, 300.0, 200.0})) << breite;
  }
}

TEST(FensterInventarFehler, NoServerIsAnErrorAtOnce) {
  ScreenContent content;
  const Ergebnis ergebnis = X11ScreenCapture(":4711").inventar(content);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().domain, "x11");
  EXPECT_EQ(ergebnis.fehler().description, "kein X-Server antwortet auf :4711");
}

TEST(FensterInventarFehler, ADisplayThatIsNoneIsAnError) {
  ScreenContent content;
  EXPECT_EQ(X11ScreenCapture("unlesbar").inventar(content).fehler().description,
            "DISPLAY ist nicht lesbar: unlesbar");
}

TEST(FensterInventarFehler, ServersOfOtherComputersAreNotAsked) {
  ScreenContent content;
  EXPECT_EQ(X11ScreenCapture("rechner.invalid:0").inventar(content).fehler().description,
            "kein X-Server antwortet auf rechner.invalid:0");
}

TEST(FensterInventarFehler, AServerThatIsStoppedHoldsNobodyUpForLong) {
  const X11Bildschirm bildschirm;
  bildschirm.signalAnServer(SIGSTOP);
  const auto anfang = std::chrono::steady_clock::now();
  ScreenContent content;
  EXPECT_TRUE(X11ScreenCapture(bildschirm.display()).inventar(content).gescheitert());
  // The limit is 2.8 s; the rest is for a computer that is busy with other tests.
  EXPECT_LT(std::chrono::steady_clock::now() - anfang, std::chrono::seconds(30));
  bildschirm.signalAnServer(SIGCONT);
  EXPECT_TRUE(bildschirm.schirm().inventar(content).gelungen());
}

TEST(FensterInventarFehler, AStoppedProgramHoldsNobodyUp) {
  const X11Bildschirm bildschirm;
  const auto programm = bildschirm.fenster({"--titel", "steht"});
  ASSERT_TRUE(
      bildschirm.warteAuf(programm->id(), [](const ScreenWindow& f) { return f.sichtbar; }));
  programm->signal(SIGSTOP);
  EXPECT_EQ(bildschirm.finde(programm->id())->titel, "steht");
}

}  // namespace
}  // namespace hallkorb
