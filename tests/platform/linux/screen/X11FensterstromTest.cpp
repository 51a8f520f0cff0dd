// The moving picture of real windows.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "tests/support/Bildsammler.h"
#include "tests/support/Warten.h"
#include "tests/support/X11Bildschirm.h"

namespace hallkorb {
namespace {

constexpr double ABSTAND = 1.0 / 15.0;
constexpr double WEILE = 0.5;  // in which a moving window gives several pictures

constexpr std::uint32_t BLAU = 0x2060A0;
constexpr std::uint32_t ROT = 0xC01020;
constexpr std::uint32_t GRUEN = 0x10B030;

// How many pixels have another colour.
int andereAls(const Aufnahme& bild, std::uint32_t farbe) {
  int anzahl = 0;
  for (int y = 0; y < bild.hoehe; ++y) {
    for (int x = 0; x < bild.breite; ++x)
      anzahl += bild.farbe(x, y) != farbe ? 1 : 0;
  }
  return anzahl;
}

// The receiver of pictures does not notice how they come.
class X11Fensterstrom : public testing::TestWithParam<X11ScreenCapture::Weg> {
 public:
  ~X11Fensterstrom() override {
    if (strom_) strom_->stop();
  }

 protected:
  explicit X11Fensterstrom(X11Bildschirm::Verwalter verwalter = X11Bildschirm::Verwalter::OPENBOX)
      : bildschirm_(verwalter) {
    setzeHostClock(uhr_);
  }

  // Starts with the window and returns its first picture.
  std::optional<Aufnahme> starte(const Fensterprogramm& fenster, bool mitZeiger = false) {
    strom_ = bildschirm_.schirm(GetParam()).stream({1280, 800, ABSTAND, mitZeiger, 5});
    const Ergebnis ergebnis = strom_->start(fenster.id(), sammler_);
    EXPECT_TRUE(ergebnis.gelungen()) << ergebnis.fehler().gedruckt();
    return sammler_.warteAufBild();
  }
  // The same for a window that is not painted yet.
  std::future<Ergebnis> beginne(const Fensterprogramm& fenster, WindowStreamListener& zuschauer) {
    return std::async(std::launch::async, [&] { return strom_->start(fenster.id(), zuschauer); });
  }
  static bool istDa(const std::future<Ergebnis>& antwort) {
    return antwort.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }
  // How many pictures come in a while. The last change may give two: its event can be read after
  // the picture that shows it already.
  std::size_t neueInEinerWeile() {
    const std::size_t vorher = sammler_.zeiten().size();
    sammler_.warteAufAnzahl(std::numeric_limits<std::size_t>::max(), WEILE);
    return sammler_.zeiten().size() - vorher;
  }
  std::optional<Aufnahme> warteAufFarbe(std::uint32_t farbe) {
    return sammler_.warteAuf([=](const Aufnahme& bild) { return bild.farbe(5, 5) == farbe; });
  }

  LinuxHostClock uhr_;
  X11Bildschirm bildschirm_;
  Bildsammler sammler_;
  std::unique_ptr<WindowStream> strom_;
};

INSTANTIATE_TEST_SUITE_P(, X11Fensterstrom,
                         testing::Values(X11ScreenCapture::Weg::SEGMENT,
                                         X11ScreenCapture::Weg::SOCKET),
                         [](const auto& wert) {
                           return wert.param == X11ScreenCapture::Weg::SEGMENT ? "Segment"
                                                                               : "Socket";
                         });

TEST_P(X11Fensterstrom, TheFirstPictureComesThoughNothingMoves) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0", "--groesse", "640", "400"});
  const double vorher = hostSekunden();
  const auto bild = starte(*fenster);
  ASSERT_TRUE(bild);
  EXPECT_EQ(bild->breite, 640);
  EXPECT_EQ(bild->hoehe, 400);
  EXPECT_EQ(bild->farbe(0, 0), BLAU);
  EXPECT_EQ(bild->farbe(639, 399), BLAU);
  EXPECT_GT(bild->zeit, vorher);
  EXPECT_LT(bild->zeit, hostSekunden());
}

TEST_P(X11Fensterstrom, AStillWindowGivesOnePictureAndEachChangeAnother) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  // A window that is redirected may be asked to draw what had been covered, by a window manager
  // that takes its time; one that moved would give seven.
  fenster->tu("gleiche");
  EXPECT_LE(neueInEinerWeile(), 3U);
  fenster->tu("farbe C01020");
  EXPECT_TRUE(warteAufFarbe(ROT));
  EXPECT_LE(neueInEinerWeile(), 3U);
}

TEST_P(X11Fensterstrom, APictureThatIsNotTakenIsReadAgainThoughNothingMoves) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  fenster->tu("gleiche");
  neueInEinerWeile();
  const std::size_t vorher = sammler_.zeiten().size();
  sammler_.lehneAb(4);
  fenster->tu("farbe C01020");
  // The change may give two.
  ASSERT_TRUE(sammler_.warteAufAnzahl(vorher + 5));
  EXPECT_LE(neueInEinerWeile(), 2U);
  const std::vector<double> zeiten = sammler_.zeiten();
  for (std::size_t i = vorher + 1; i < zeiten.size(); ++i)
    EXPECT_GE(zeiten[i] - zeiten[i - 1], ABSTAND);
}

// A clock that does something to the window when it is asked for the time; also on the test's
// behalf, since only one may do so at a time.
class TaetigeUhr final : public HostClock {
 public:
  TaetigeUhr(Fensterprogramm& fenster, std::string befehl)
      : fenster_(fenster), befehl_(std::move(befehl)) {}
  double sekunden() const override {
    if (faellig.exchange(false)) tu(befehl_);
    return uhr_.sekunden();
  }
  std::int64_t unixMs() const override { return uhr_.unixMs(); }
  void tu(const std::string& befehl) const {
    const std::lock_guard halter(lock_);
    fenster_.tu(befehl);
  }

  mutable std::atomic<bool> faellig{true};

 private:
  Fensterprogramm& fenster_;
  const std::string befehl_;
  mutable std::mutex lock_;
  LinuxHostClock uhr_;
};

// Otherwise a picture that was read in a pause could pass for one that came after it.
TEST_P(X11Fensterstrom, WhatAPictureShowsIsNotOlderThanItsTime) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  const TaetigeUhr uhr(*fenster, "farbe 10B030");
  setzeHostClock(uhr);
  const auto bild = starte(*fenster);
  strom_->stop();
  setzeHostClock(uhr_);
  ASSERT_TRUE(bild);
  EXPECT_EQ(bild->farbe(5, 5), GRUEN);
}

TEST_P(X11Fensterstrom, NeverFasterThanAllowed) {
  const auto fenster = bildschirm_.fenster({"--bewegt", "60"});
  ASSERT_TRUE(starte(*fenster));
  ASSERT_TRUE(sammler_.warteAufAnzahl(20));
  strom_->stop();
  const std::vector<double> zeiten = sammler_.zeiten();
  for (std::size_t i = 1; i < zeiten.size(); ++i)
    EXPECT_GE(zeiten[i] - zeiten[i - 1], ABSTAND);
}

TEST_P(X11Fensterstrom, AWindowThatIsCoveredIsRecordedWhole) {
  const auto fenster =
      bildschirm_.fenster({"--farbe", "2060A0", "--ort", "100", "100", "--groesse", "400", "300"});
  const auto deckel =
      bildschirm_.fenster({"--farbe", "C01020", "--ort", "50", "50", "--groesse", "800", "600"});
  deckel->tu("vorn");
  ASSERT_TRUE(starte(*fenster));
  fenster->tu("farbe 10B030");
  const auto bild = warteAufFarbe(GRUEN);
  ASSERT_TRUE(bild);
  for (const int x : {0, 200, 399}) {
    for (const int y : {0, 150, 299})
      EXPECT_EQ(bild->farbe(x, y), GRUEN) << x << " " << y;
  }
}

TEST_P(X11Fensterstrom, AWindowOffTheScreenIsRecordedWhole) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0", "--groesse", "400", "300"});
  fenster->tu("ort -300 -200");
  ASSERT_TRUE(
      bildschirm_.warteAuf(fenster->id(), [](const ScreenWindow& f) { return f.x == -300.0; }));
  ASSERT_TRUE(starte(*fenster));
  fenster->tu("farbe 10B030");
  const auto bild = warteAufFarbe(GRUEN);
  ASSERT_TRUE(bild);
  EXPECT_EQ(bild->farbe(0, 0), GRUEN);
  EXPECT_EQ(bild->farbe(399, 299), GRUEN);
}

TEST_P(X11Fensterstrom, FollowsTheWindowsSize) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0", "--groesse", "400", "300"});
  ASSERT_TRUE(starte(*fenster));
  const auto mitGroesse = [&](int breite, int hoehe) {
    return sammler_.warteAuf([=](const Aufnahme& bild) {
      return bild.breite == breite && bild.hoehe == hoehe &&
             bild.farbe(breite - 1, hoehe - 1) == BLAU;
    });
  };
  fenster->tu("groesse 1000 700");
  EXPECT_TRUE(mitGroesse(1000, 700));
  fenster->tu("groesse 250 201");
  EXPECT_TRUE(mitGroesse(250, 201));
}

// Keeps whether any picture had a colour that must not be seen.
class Spaeher final : public WindowStreamListener {
 public:
  explicit Spaeher(std::uint32_t verboten) : verboten_(verboten) {}
  bool bild(const Bild& bild) override {
    const auto& bgr = dynamic_cast<const BgrBild&>(bild);
    for (int y = 0; y < bgr.hoehe(); ++y) {
      const std::uint8_t* zeile = bgr.daten() + static_cast<std::size_t>(y) * bgr.zeilenLaenge();
      for (int x = 0; x < bgr.breite(); ++x) {
        const std::uint8_t* p = zeile + static_cast<std::size_t>(x) * 4;
        const std::uint32_t farbe =
            std::uint32_t{p[2]} << 16 | std::uint32_t{p[1]} << 8 | std::uint32_t{p[0]};
        if (farbe == verboten_ || farbe == 0) gesehen = true;
      }
    }
    return sammler.bild(bild);
  }
  void gestoppt(const Fehler& fehler) override { sammler.gestoppt(fehler); }

  Bildsammler sammler;
  std::atomic<bool> gesehen{false};

 private:
  const std::uint32_t verboten_;
};

// Waits for the first drawing for as long as the test takes, and not for a second one.
constexpr AnstrichFristen BIS_GEMALT{std::chrono::hours(1), std::chrono::milliseconds(0),
                                     std::chrono::milliseconds(0), std::chrono::hours(1)};

// Draws until a picture of that width shows nothing else: the server may have emptied the window
// again after the drawing, and the stream may notice a change only after it.
bool maleBis(int breite, Spaeher& spaeher, const std::function<void()>& male) {
  return warteBis([&] {
    male();
    return spaeher.sammler
        .warteAuf([=](const Aufnahme& b) { return b.breite == breite && andereAls(b, BLAU) == 0; },
                  ABSTAND)
        .has_value();
  });
}

// What the program has not drawn yet has the colour of the background.
TEST_P(X11Fensterstrom, NothingUnpaintedIsSeen) {
  const auto deckel =
      bildschirm_.fenster({"--farbe", "C01020", "--ort", "200", "50", "--groesse", "800", "600"});
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0", "--ort", "100", "100", "--groesse",
                                            "400", "300", "--auf-befehl", "10B030"});
  fenster->tu("male");
  deckel->tu("vorn");
  const auto male = [&] { fenster->tu("male"); };
  Spaeher spaeher(GRUEN);
  strom_ = bildschirm_.schirm(GetParam(), BIS_GEMALT).stream({1280, 800, ABSTAND, false, 5});
  auto start = beginne(*fenster, spaeher);
  EXPECT_FALSE(spaeher.sammler.warteAufBild(WEILE));
  EXPECT_FALSE(istDa(start)) << "answered before there is anything to see";
  EXPECT_TRUE(maleBis(400, spaeher, male));
  EXPECT_TRUE(start.get().gelungen());
  EXPECT_FALSE(spaeher.gesehen.exchange(false)) << "covered at the start";
  fenster->tu("groesse 1000 700");
  EXPECT_TRUE(maleBis(1000, spaeher, male));
  EXPECT_FALSE(spaeher.gesehen.exchange(false)) << "made larger";
  fenster->tu("minimiere");
  fenster->tu("zeige");
  EXPECT_TRUE(maleBis(1000, spaeher, male));
  strom_->stop();
  EXPECT_FALSE(spaeher.gesehen) << "restored";
}

// The stream asks for the time when it is about to read, and what it then reads is another surface
// than the one that was painted.
TEST_P(X11Fensterstrom, AWindowThatChangesWhileItIsReadIsNotSeenUnpainted) {
  for (const auto& [befehl, breite] : {std::pair{"groesse 1000 700", 1000}, {"leere", 400}}) {
    const auto fenster = bildschirm_.fenster(
        {"--farbe", "2060A0", "--groesse", "400", "300", "--auf-befehl", "10B030"});
    const TaetigeUhr uhr(*fenster, befehl);
    setzeHostClock(uhr);
    Spaeher spaeher(GRUEN);
    strom_ = bildschirm_.schirm(GetParam(), BIS_GEMALT).stream({1280, 800, ABSTAND, false, 5});
    auto start = beginne(*fenster, spaeher);
    EXPECT_TRUE(maleBis(breite, spaeher, [&] { uhr.tu("male"); }));
    EXPECT_TRUE(start.get().gelungen());
    strom_->stop();
    setzeHostClock(uhr_);
    EXPECT_FALSE(uhr.faellig);
    EXPECT_FALSE(spaeher.gesehen) << befehl;
  }
}

TEST_P(X11Fensterstrom, AStopEndsTheWaitForTheFirstDrawing) {
  const auto fenster = bildschirm_.fenster({"--auf-befehl", "10B030"});
  strom_ = bildschirm_.schirm(GetParam(), BIS_GEMALT).stream({1280, 800, ABSTAND, false, 5});
  auto start = beginne(*fenster, sammler_);
  EXPECT_FALSE(sammler_.warteAufBild(WEILE));
  strom_->stop();
  EXPECT_TRUE(start.get().gescheitert());
  EXPECT_TRUE(sammler_.fehler().empty());
}

// As programs do that draw at the pace of the screen, whether anything has changed or not.
TEST_P(X11Fensterstrom, ADrawingThatChangesNothingGivesNoPicture) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  fenster->tu("gleiche");
  // A window manager that is still at work may give some.
  ASSERT_TRUE(warteBis([this] { return neueInEinerWeile() == 0; }));
  const std::size_t vorher = sammler_.zeiten().size();
  for (int i = 0; i < 8; ++i) {
    fenster->tu("male");
    EXPECT_FALSE(sammler_.warteAufAnzahl(vorher + 1, 2 * ABSTAND));
  }
  // Neither the first nor the second of two that differ is lost.
  fenster->tu("farbe C01020");
  EXPECT_TRUE(warteAufFarbe(ROT));
  fenster->tu("farbe 2060A0");
  EXPECT_TRUE(warteAufFarbe(BLAU));
}

TEST_P(X11Fensterstrom, APictureThatWasRefusedIsGivenAgainThoughItIsTheSame) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  ASSERT_TRUE(warteBis([this] { return neueInEinerWeile() == 0; }));
  sammler_.lehneAb(1);
  fenster->tu("farbe C01020");
  ASSERT_TRUE(warteAufFarbe(ROT));
  EXPECT_TRUE(warteAufFarbe(ROT));
}

TEST_P(X11Fensterstrom, AShadowThatAWindowDrawsItselfIsNotInThePicture) {
  bildschirm_.setzeZeiger(1500, 900);
  const auto fenster =
      bildschirm_.fenster({"--ort", "300", "200", "--groesse", "500", "400", "--farbe", "2060A0",
                           "--ohne-rahmen", "--schatten", "20", "30", "10", "40"});
  fenster->tu("zeigerform 68");
  const auto bild = starte(*fenster, true);
  ASSERT_TRUE(bild);
  EXPECT_EQ(bild->breite, 450);
  EXPECT_EQ(bild->hoehe, 350);
  // The pointer keeps its place in what is left.
  const auto frame = bildschirm_.finde(fenster->id());
  ASSERT_TRUE(frame);
  bildschirm_.setzeZeiger(static_cast<int>(frame->x) + 5, static_cast<int>(frame->y) + 5);
  EXPECT_TRUE(sammler_.warteAuf([](const Aufnahme& b) { return b.farbe(6, 7) != BLAU; }));
  // Maximised, a window has no shadow.
  fenster->tu("schatten 0 0 0 0");
  EXPECT_TRUE(sammler_.warteAuf([](const Aufnahme& b) { return b.breite == 500; }));
  // Wider than the window: nobody's shadow.
  fenster->tu("schatten 300 300 0 0");
  EXPECT_TRUE(sammler_.warteAuf([](const Aufnahme& b) { return b.breite == 500; }));
}

TEST_P(X11Fensterstrom, ANewTitleIsReportedBeforeWhatIsDrawnAfterIt) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  const auto anderes = bildschirm_.fenster({"--farbe", "C01020"});
  ASSERT_TRUE(starte(*fenster));
  // What it was when the window was chosen may be over.
  EXPECT_EQ(sammler_.titel(), 1U);
  fenster->tu("titel Bank");
  fenster->tu("farbe 10B030");
  ASSERT_TRUE(warteAufFarbe(GRUEN));
  EXPECT_GE(sammler_.titel(), 2U);
  // Also an old-fashioned one, and that of a window that came later; no other window's.
  const std::size_t bisher = sammler_.titel();
  fenster->tu("titel-latin1 Bank");
  EXPECT_TRUE(sammler_.warteAufTitel(bisher + 1));
  ASSERT_TRUE(strom_->wechsle(anderes->id()).gelungen());
  ASSERT_TRUE(warteAufFarbe(ROT));
  const std::size_t vorher = sammler_.titel();
  EXPECT_GE(vorher, bisher + 2);
  fenster->tu("titel Meet");
  anderes->tu("farbe 10B030");
  ASSERT_TRUE(warteAufFarbe(GRUEN));
  EXPECT_EQ(sammler_.titel(), vorher);
  anderes->tu("titel Mail");
  EXPECT_TRUE(sammler_.warteAufTitel(vorher + 1));
}

TEST_P(X11Fensterstrom, APictureKnowsItsWindow) {
  const auto eines = bildschirm_.fenster({"--farbe", "2060A0"});
  const auto anderes = bildschirm_.fenster({"--farbe", "C01020"});
  const auto bild = starte(*eines);
  ASSERT_TRUE(bild);
  EXPECT_EQ(bild->fenster, eines->id());
  ASSERT_TRUE(strom_->wechsle(anderes->id()).gelungen());
  const auto danach = warteAufFarbe(ROT);
  ASSERT_TRUE(danach);
  EXPECT_EQ(danach->fenster, anderes->id());
}

TEST_P(X11Fensterstrom, AMinimisedWindowGivesNothingUntilItIsBack) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  fenster->tu("minimiere");
  fenster->tu("bewegt 30");
  EXPECT_FALSE(
      sammler_.warteAuf([](const Aufnahme& bild) { return bild.farbe(5, 5) != BLAU; }, WEILE));
  fenster->tu("bewegt 0");
  fenster->tu("farbe 10B030");
  fenster->tu("zeige");
  EXPECT_TRUE(warteAufFarbe(GRUEN));
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST_P(X11Fensterstrom, AWindowMayBeMinimisedFromTheStart) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  fenster->tu("minimiere");
  strom_ = bildschirm_.schirm(GetParam()).stream({1280, 800, ABSTAND, false, 5});
  ASSERT_TRUE(strom_->start(fenster->id(), sammler_).gelungen());
  fenster->tu("zeige");
  EXPECT_TRUE(warteAufFarbe(BLAU));
}

TEST_P(X11Fensterstrom, AClosedWindowIsNoErrorAndAnotherOneCanFollow) {
  const auto eines = bildschirm_.fenster({"--farbe", "2060A0"});
  const auto anderes = bildschirm_.fenster({"--farbe", "C01020"});
  ASSERT_TRUE(starte(*eines));
  eines->schliesse();
  EXPECT_TRUE(strom_->wechsle(anderes->id()).gelungen());
  EXPECT_TRUE(warteAufFarbe(ROT));
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST_P(X11Fensterstrom, EachChangeOfTheWindowGivesAPicture) {
  const auto eines = bildschirm_.fenster({"--farbe", "2060A0", "--groesse", "400", "300"});
  const auto anderes = bildschirm_.fenster({"--farbe", "C01020", "--groesse", "500", "200"});
  ASSERT_TRUE(starte(*eines));
  ASSERT_TRUE(strom_->wechsle(anderes->id()).gelungen());
  const auto bild = warteAufFarbe(ROT);
  ASSERT_TRUE(bild);
  EXPECT_EQ(bild->breite, 500);
  ASSERT_TRUE(strom_->wechsle(eines->id()).gelungen());
  EXPECT_TRUE(warteAufFarbe(BLAU));
  // To the window that it shows already.
  eines->tu("gleiche");
  neueInEinerWeile();
  ASSERT_TRUE(strom_->wechsle(eines->id()).gelungen());
  EXPECT_TRUE(warteAufFarbe(BLAU));
}

TEST_P(X11Fensterstrom, WhereAChangeFailsTheOldWindowStays) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  const Ergebnis ergebnis = strom_->wechsle(0x7FFFFFF);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().domain, "x11");
  EXPECT_EQ(ergebnis.fehler().description, "das Fenster 134217727 kann nicht aufgenommen werden");
  fenster->tu("farbe 10B030");
  EXPECT_TRUE(warteAufFarbe(GRUEN));
}

TEST_P(X11Fensterstrom, SeveralRecordOneWindow) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  Bildsammler zweiter;
  const auto strom = bildschirm_.schirm(GetParam()).stream({1280, 800, ABSTAND, false, 5});
  ASSERT_TRUE(strom->start(fenster->id(), zweiter).gelungen());
  ASSERT_TRUE(zweiter.warteAufBild());
  fenster->tu("farbe 10B030");
  EXPECT_TRUE(warteAufFarbe(GRUEN));
  EXPECT_TRUE(zweiter.warteAuf([](const Aufnahme& bild) { return bild.farbe(5, 5) == GRUEN; }));
  strom->stop();
}

TEST_P(X11Fensterstrom, ThePointerIsInThePictureWhileItIsOverTheWindow) {
  bildschirm_.setzeZeiger(1500, 900);
  const auto fenster = bildschirm_.fenster(
      {"--farbe", "2060A0", "--ort", "0", "0", "--ohne-rahmen", "--groesse", "400", "300"});
  fenster->tu("zeigerform 68");  // an arrow, its tip at the top left, here red in white
  const auto ohne = starte(*fenster, true);
  ASSERT_TRUE(ohne);
  const auto punkte = [](const Aufnahme& bild) { return andereAls(bild, BLAU); };
  EXPECT_EQ(punkte(*ohne), 0);

  const auto frame = bildschirm_.finde(fenster->id());
  ASSERT_TRUE(frame);
  const int links = static_cast<int>(frame->x);
  const int oben = static_cast<int>(frame->y);
  bildschirm_.setzeZeiger(links + 200, oben + 150);
  const auto mit = sammler_.warteAuf([&](const Aufnahme& bild) { return punkte(bild) > 20; });
  ASSERT_TRUE(mit);
  EXPECT_NE(mit->farbe(201, 152), BLAU);
  EXPECT_LT(punkte(*mit), 500);

  // Out again: the motion alone is a change.
  bildschirm_.setzeZeiger(1500, 900);
  EXPECT_TRUE(sammler_.warteAuf([&](const Aufnahme& bild) { return punkte(bild) == 0; }));
}

TEST_P(X11Fensterstrom, ThePointerOverAnotherWindowIsNotInThePicture) {
  bildschirm_.setzeZeiger(1500, 900);
  const auto fenster =
      bildschirm_.fenster({"--farbe", "2060A0", "--ort", "0", "0", "--groesse", "800", "600"});
  const auto deckel =
      bildschirm_.fenster({"--farbe", "C01020", "--ort", "100", "100", "--groesse", "300", "300"});
  deckel->tu("vorn");
  ASSERT_TRUE(starte(*fenster, true));
  const auto mitZeiger = [](const Aufnahme& bild) { return andereAls(bild, BLAU) > 0; };
  bildschirm_.setzeZeiger(250, 250);
  EXPECT_FALSE(sammler_.warteAuf(mitZeiger, WEILE));
  bildschirm_.setzeZeiger(600, 400);
  EXPECT_TRUE(sammler_.warteAuf(mitZeiger));
}

// A frame as a window manager makes one: a child of the root window that takes the window in.
class Rahmen {
 public:
  Rahmen(const std::string& display, std::uint32_t fenster)
      : verbindung_(display, std::chrono::hours(1)) {
    if (verbindung_.oeffne().gescheitert()) throw std::runtime_error("no X server");
    xcb_connection_t* c = verbindung_.get();
    id_ = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, id_, verbindung_.schirm().root, 20, 20, 800, 700, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_reparent_window(c, fenster, id_, 5, 25);
    zeige();
  }

  void zeige() {
    xcb_map_window(verbindung_.get(), id_);
    gleiche();
  }
  void verstecke() {
    xcb_unmap_window(verbindung_.get(), id_);
    gleiche();
  }
  // Goes into another frame itself.
  void zieheUm(const Rahmen& neuer) {
    xcb_reparent_window(verbindung_.get(), id_, neuer.id_, 0, 0);
    gleiche();
  }

 private:
  void gleiche() {
    const X11Antwort<xcb_get_input_focus_reply_t> fertig(xcb_get_input_focus_reply(
        verbindung_.get(), xcb_get_input_focus(verbindung_.get()), nullptr));
  }

  X11Verbindung verbindung_;
  xcb_window_t id_ = XCB_NONE;
};

// A window gets no event of what becomes of its frame.
class X11FensterstromImRahmen : public X11Fensterstrom {
 protected:
  X11FensterstromImRahmen() : X11Fensterstrom(X11Bildschirm::Verwalter::KEINER) {}
};

INSTANTIATE_TEST_SUITE_P(, X11FensterstromImRahmen,
                         testing::Values(X11ScreenCapture::Weg::SEGMENT,
                                         X11ScreenCapture::Weg::SOCKET));

TEST_P(X11FensterstromImRahmen, AFrameThatWasAwayShowsTheWindowAnew) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  Rahmen rahmen(bildschirm_.display(), fenster->id());
  ASSERT_TRUE(starte(*fenster));
  for (const auto& [befehl, farbe] : {std::pair{"farbe C01020", ROT}, {"farbe 10B030", GRUEN}}) {
    rahmen.verstecke();
    rahmen.zeige();
    fenster->tu(befehl);
    EXPECT_TRUE(warteAufFarbe(farbe)) << befehl;
  }
}

TEST_P(X11FensterstromImRahmen, AFrameThatIsAwayGivesNoPictures) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  Rahmen rahmen(bildschirm_.display(), fenster->id());
  rahmen.verstecke();
  strom_ = bildschirm_.schirm(GetParam()).stream({1280, 800, ABSTAND, false, 5});
  ASSERT_TRUE(strom_->start(fenster->id(), sammler_).gelungen());
  EXPECT_FALSE(sammler_.warteAufBild(WEILE));
  rahmen.zeige();
  fenster->tu("farbe C01020");
  EXPECT_TRUE(warteAufFarbe(ROT));
}

TEST_P(X11FensterstromImRahmen, AFrameMayComeWhileTheWindowIsRecordedAndMoveIntoAnother) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  ASSERT_TRUE(starte(*fenster));
  Rahmen innen(bildschirm_.display(), fenster->id());
  fenster->tu("farbe C01020");
  EXPECT_TRUE(warteAufFarbe(ROT));
  innen.verstecke();
  innen.zeige();
  fenster->tu("farbe 10B030");
  EXPECT_TRUE(warteAufFarbe(GRUEN));
  const auto anderes = bildschirm_.fenster({});
  Rahmen aussen(bildschirm_.display(), anderes->id());
  innen.zieheUm(aussen);
  fenster->tu("farbe 2060A0");
  EXPECT_TRUE(warteAufFarbe(BLAU));
  aussen.verstecke();
  aussen.zeige();
  fenster->tu("farbe C01020");
  EXPECT_TRUE(warteAufFarbe(ROT));
}

TEST_P(X11FensterstromImRahmen, WindowsThatShareAFrameFollowEachOther) {
  const auto eines = bildschirm_.fenster({"--farbe", "2060A0"});
  const auto anderes = bildschirm_.fenster({"--farbe", "C01020"});
  Rahmen rahmen(bildschirm_.display(), eines->id());
  Rahmen karte(bildschirm_.display(), anderes->id());
  karte.zieheUm(rahmen);
  ASSERT_TRUE(starte(*eines));
  ASSERT_TRUE(strom_->wechsle(anderes->id()).gelungen());
  ASSERT_TRUE(warteAufFarbe(ROT));
  rahmen.verstecke();
  rahmen.zeige();
  anderes->tu("farbe 10B030");
  EXPECT_TRUE(warteAufFarbe(GRUEN));
}

}  // namespace
}  // namespace hallkorb
