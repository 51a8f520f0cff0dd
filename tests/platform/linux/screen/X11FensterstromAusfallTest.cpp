// What becomes of a stream if its window, its server or its owner fails it.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "base/Speichermangel.h"
#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/screen/X11Fensterstrom.h"
#include "tests/support/Bildsammler.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/Warten.h"
#include "tests/support/X11Bildschirm.h"

namespace hallkorb {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

// The limit is 2.8 s; the rest is for a computer that is busy with other tests.
constexpr seconds GEDULD{30};

// In which a painted window is answered, on a computer that is not slow.
constexpr std::chrono::milliseconds WEILE{500};

constexpr StreamKonfiguration KONFIGURATION{1280, 800, 1.0 / 15.0, true, 5};

// Waits for the first drawing for as long as the test takes, and not for a second one.
constexpr AnstrichFristen BIS_GEMALT{std::chrono::hours(1), std::chrono::milliseconds(0),
                                     std::chrono::milliseconds(0), std::chrono::hours(1)};

class X11FensterstromAusfall : public testing::Test {
 protected:
  X11FensterstromAusfall() { setzeHostClock(uhr_); }

  std::unique_ptr<WindowStream> strom() { return bildschirm_.schirm().stream(KONFIGURATION); }
  // One that does not wait for long.
  std::unique_ptr<WindowStream> ungeduldiger() {
    return X11ScreenCapture(bildschirm_.display()).stream(KONFIGURATION);
  }

  // One that waits for the first drawing.
  std::unique_ptr<WindowStream> wartender() {
    return X11ScreenCapture(bildschirm_.display(), X11ScreenCapture::Weg::SEGMENT, 4 * GEDULD,
                            BIS_GEMALT)
        .stream(KONFIGURATION);
  }

  LinuxHostClock uhr_;
  X11Bildschirm bildschirm_;
  Bildsammler sammler_;
};

TEST_F(X11FensterstromAusfall, AWindowThatDoesNotExist) {
  const auto strom = this->strom();
  const Ergebnis ergebnis = strom->start(0x7FFFFFF, sammler_);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().description, "das Fenster 134217727 kann nicht aufgenommen werden");
  EXPECT_TRUE(sammler_.fehler().empty());
}

// A screen of a palette, as very old machines have it, knows no compositing.
TEST(X11FensterstromFarbtiefe, PalettesAreRefused) {
  LinuxHostClock uhr;
  setzeHostClock(uhr);
  const X11Bildschirm bildschirm(X11Bildschirm::Verwalter::KEINER, {.farbtiefe = 8});
  const auto fenster = bildschirm.fenster({});
  Bildsammler sammler;
  const auto strom = bildschirm.schirm().stream(KONFIGURATION);
  const Ergebnis ergebnis = strom->start(fenster->id(), sammler);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_TRUE(istNichtAufnehmbar(ergebnis.fehler()));
  EXPECT_EQ(ergebnis.fehler().description, "dem X-Server fehlt die Erweiterung Composite");
}

TEST_F(X11FensterstromAusfall, AWindowThatIsClosedBeforeItIsPainted) {
  const auto fenster = bildschirm_.fenster({"--auf-befehl", "10B030"});
  const auto strom = wartender();
  auto start =
      std::async(std::launch::async, [&] { return strom->start(fenster->id(), sammler_); });
  EXPECT_EQ(start.wait_for(WEILE), std::future_status::timeout);
  fenster->schliesse();
  const Ergebnis ergebnis = start.get();
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_TRUE(ergebnis.fehler().description.starts_with("das Fenster " +
                                                        std::to_string(fenster->id()) + " "));
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST_F(X11FensterstromAusfall, OfAWindowThatIsClosedBeforeItIsPaintedTheStreamReturnsToTheOldOne) {
  const auto altes = bildschirm_.fenster({"--farbe", "2060A0", "--auf-befehl", "10B030"});
  const auto neues = bildschirm_.fenster({"--auf-befehl", "10B030"});
  const auto strom = wartender();
  auto start = std::async(std::launch::async, [&] { return strom->start(altes->id(), sammler_); });
  const auto siehAltes = [&] {
    return warteBis([&] {
      altes->tu("male");
      return sammler_.warteAufBild(0.1).has_value();
    });
  };
  ASSERT_TRUE(siehAltes());
  ASSERT_TRUE(start.get().gelungen());
  auto wechsel = std::async(std::launch::async, [&] { return strom->wechsle(neues->id()); });
  EXPECT_EQ(wechsel.wait_for(WEILE), std::future_status::timeout);
  neues->schliesse();
  EXPECT_TRUE(wechsel.get().gescheitert());
  EXPECT_TRUE(siehAltes());
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST_F(X11FensterstromAusfall, NoServer) {
  const auto strom = X11ScreenCapture(":4711").stream(KONFIGURATION);
  const Ergebnis ergebnis = strom->start(1, sammler_);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().description, "kein X-Server antwortet auf :4711");
}

TEST_F(X11FensterstromAusfall, TheServersEndIsReportedOnce) {
  const auto fenster = bildschirm_.fenster({"--bewegt", "30"});
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), sammler_).gelungen());
  ASSERT_TRUE(sammler_.warteAufBild());
  bildschirm_.beendeServer(SIGKILL);
  ASSERT_TRUE(sammler_.warteAufEnde());
  EXPECT_TRUE(strom->wechsle(fenster->id()).gescheitert());
  strom->stop();
  ASSERT_EQ(sammler_.fehler().size(), 1U);
  EXPECT_EQ(sammler_.fehler().front().domain, "x11");
  EXPECT_EQ(sammler_.fehler().front().description, "die Verbindung zum X-Server ist weg");
}

TEST_F(X11FensterstromAusfall, AStillStreamNoticesTheServersEndToo) {
  const auto fenster = bildschirm_.fenster({});
  fenster->tu("minimiere");
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), sammler_).gelungen());
  bildschirm_.beendeServer(SIGTERM);
  EXPECT_TRUE(sammler_.warteAufEnde());
}

TEST_F(X11FensterstromAusfall, AStopReportsNothing) {
  const auto fenster = bildschirm_.fenster({"--bewegt", "30"});
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), sammler_).gelungen());
  ASSERT_TRUE(sammler_.warteAufBild());
  strom->stop();
  const std::size_t anzahl = sammler_.zeiten().size();
  strom->stop();
  EXPECT_TRUE(strom->wechsle(fenster->id()).gescheitert());
  bildschirm_.beendeServer(SIGKILL);
  EXPECT_EQ(sammler_.zeiten().size(), anzahl);
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST_F(X11FensterstromAusfall, AStopBeforeTheStart) {
  const auto fenster = bildschirm_.fenster({});
  const auto strom = this->strom();
  strom->stop();
  EXPECT_TRUE(strom->start(fenster->id(), sammler_).gescheitert());
}

TEST_F(X11FensterstromAusfall, AServerThatIsStoppedFailsTheStartInTime) {
  const auto fenster = bildschirm_.fenster({});
  const auto strom = ungeduldiger();
  bildschirm_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  EXPECT_TRUE(strom->start(fenster->id(), sammler_).gescheitert());
  EXPECT_LT(steady_clock::now() - anfang, GEDULD);
  bildschirm_.signalAnServer(SIGCONT);
}

TEST_F(X11FensterstromAusfall, AServerThatIsStoppedFailsAChangeInTime) {
  const auto fenster = bildschirm_.fenster({"--bewegt", "30"});
  const auto anderes = bildschirm_.fenster({});
  const auto strom = ungeduldiger();
  ASSERT_TRUE(strom->start(fenster->id(), sammler_).gelungen());
  ASSERT_TRUE(sammler_.warteAufBild());
  bildschirm_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  EXPECT_TRUE(strom->wechsle(anderes->id()).gescheitert());
  EXPECT_LT(steady_clock::now() - anfang, GEDULD);
  // The stream is finished, and says so.
  EXPECT_TRUE(sammler_.warteAufEnde());
  bildschirm_.signalAnServer(SIGCONT);
}

TEST_F(X11FensterstromAusfall, AStopWhileTheServerIsStoppedReturnsAtOnce) {
  const auto fenster = bildschirm_.fenster({"--bewegt", "30"});
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), sammler_).gelungen());
  ASSERT_TRUE(sammler_.warteAufBild());
  bildschirm_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  strom->stop();
  EXPECT_LT(steady_clock::now() - anfang, GEDULD);
  bildschirm_.signalAnServer(SIGCONT);
}

TEST_F(X11FensterstromAusfall, AStopEndsAChangeThatHangs) {
  const auto fenster = bildschirm_.fenster({"--bewegt", "30"});
  const auto anderes = bildschirm_.fenster({});
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), sammler_).gelungen());
  ASSERT_TRUE(sammler_.warteAufBild());
  bildschirm_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  auto wechsel =
      std::async(std::launch::async, [&] { return strom->wechsle(anderes->id()).gescheitert(); });
  strom->stop();
  EXPECT_TRUE(wechsel.get());
  EXPECT_LT(steady_clock::now() - anfang, GEDULD);
  bildschirm_.signalAnServer(SIGCONT);
}

// A slow server may have taken what the wait for the painting would need; the window works.
TEST_F(X11FensterstromAusfall, AWindowThatIsNotPaintedInTimeIsNoFailureAndNotSeenUntilItIs) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0", "--auf-befehl", "10B030"});
  const auto anderes = bildschirm_.fenster({"--farbe", "C01020", "--auf-befehl", "10B030"});
  X11Fensterstrom strom(bildschirm_.display(), KONFIGURATION, true,
                        {std::chrono::hours(1), std::chrono::milliseconds(0)}, BIS_GEMALT);
  const auto gelingt = [&](const Fensterprogramm& von, bool erstes) {
    auto antwort = std::async(std::launch::async, [&] {
      return erstes ? strom.start(von.id(), sammler_) : strom.wechsle(von.id());
    });
    if (antwort.wait_for(GEDULD) != std::future_status::ready) strom.stop();
    return antwort.get().gelungen();
  };
  ASSERT_TRUE(gelingt(*fenster, true));
  EXPECT_FALSE(sammler_.warteAufBild(0.5));
  // The server may empty the window once more after the drawing.
  ASSERT_TRUE(warteBis([&] {
    fenster->tu("male");
    return sammler_.warteAufBild(0.1).has_value();
  }));
  ASSERT_TRUE(gelingt(*anderes, false));
  EXPECT_FALSE(
      sammler_.warteAuf([&](const Aufnahme& b) { return b.fenster == anderes->id(); }, 0.5));
}

// A listener that holds the stream up, as a slow encoder would, until it is let go on.
class Langsamer final : public WindowStreamListener {
 public:
  bool bild(const Bild& bild) override {
    const bool genommen = sammler.bild(bild);
    std::unique_lock halter(lock_);
    weiter_.wait(halter, [this] { return los_; });
    return genommen;
  }
  void gestoppt(const Fehler& fehler) override { sammler.gestoppt(fehler); }
  void los() {
    const std::lock_guard halter(lock_);
    los_ = true;
    weiter_.notify_all();
  }

  Bildsammler sammler;

 private:
  std::mutex lock_;
  std::condition_variable weiter_;
  bool los_ = false;
};

// A listener that gets no memory for what it makes of a picture; nor does the stream from then on.
class Speicherloser final : public WindowStreamListener {
 public:
  bool bild(const Bild& bild) override {
    static_cast<void>(sammler.bild(bild));
    speicherwacht::scheitereIn("fenster", 0, true);
    throw std::bad_alloc();
  }
  void gestoppt(const Fehler& fehler) override {
    speicherwacht::scheitereNicht();
    sammler.gestoppt(fehler);
  }

  Bildsammler sammler;
};

TEST_F(X11FensterstromAusfall, WithoutMemoryForAPictureTheStreamEnds) {
  const auto fenster = bildschirm_.fenster({});
  Speicherloser ohneSpeicher;
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), ohneSpeicher).gelungen());
  ASSERT_TRUE(ohneSpeicher.sammler.warteAufEnde());
  EXPECT_EQ(ohneSpeicher.sammler.fehler().front(), keinSpeicher());
  EXPECT_EQ(ohneSpeicher.sammler.zeiten().size(), 1U);
  EXPECT_TRUE(strom->wechsle(fenster->id()).gescheitert());
}

// From the n-th allocation on there is none, for every n up to the start's success.
TEST_F(X11FensterstromAusfall, AStartWithoutMemoryFailsForThatReasonAndReportsNoEnd) {
  const auto fenster = bildschirm_.fenster({});
  std::size_t n = 0;
  for (bool gelungen = false; !gelungen; ++n) {
    SCOPED_TRACE(n);
    Speicherloser ohneSpeicher;
    const auto strom = this->strom();
    speicherwacht::scheitereIn("fenster", n, true);
    const Ergebnis ergebnis = strom->start(fenster->id(), ohneSpeicher);
    strom->stop();
    speicherwacht::scheitereNicht();
    gelungen = ergebnis.gelungen();
    if (gelungen) continue;
    EXPECT_EQ(ergebnis.fehler().description, keinSpeicher().description);
    EXPECT_TRUE(ohneSpeicher.sammler.fehler().empty());
  }
  EXPECT_GT(n, 1U);
}

TEST_F(X11FensterstromAusfall, WhileTheListenerIsBusyNothingQueuesUp) {
  const auto fenster = bildschirm_.fenster({"--farbe", "2060A0"});
  Langsamer langsamer;
  const auto strom = this->strom();
  ASSERT_TRUE(strom->start(fenster->id(), langsamer).gelungen());
  ASSERT_TRUE(langsamer.sammler.warteAufBild());
  for (const char* farbe : {"farbe 101010", "farbe 202020", "farbe 303030", "farbe 10B030"})
    fenster->tu(farbe);
  const double frei = hostSekunden();
  langsamer.los();
  // The next one is read only now, and shows what the window is now.
  const auto naechstes = langsamer.sammler.warteAufBild();
  strom->stop();
  ASSERT_TRUE(naechstes);
  EXPECT_EQ(naechstes->farbe(5, 5), 0x10B030U);
  EXPECT_GE(langsamer.sammler.zeiten().at(1), frei);
}

}  // namespace
}  // namespace hallkorb
