// What becomes of a stream when its window, its server or its owner does not go on.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "platform/linux/LinuxHostClock.h"
#include "tests/support/Bildsammler.h"
#include "tests/support/X11Sitzung.h"

namespace hallkorb {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

class X11FensterstromAusfall : public testing::Test {
 protected:
  X11FensterstromAusfall() { setzeHostClock(uhr_); }

  std::unique_ptr<WindowStream> strom() {
    return X11ScreenCapture(sitzung_.display()).stream({1280, 800, 1.0 / 15.0, true, 5});
  }

  LinuxHostClock uhr_;
  X11Sitzung sitzung_;
  Bildsammler sammler_;
};

TEST_F(X11FensterstromAusfall, AWindowThatDoesNotExist) {
  const auto strom = this->strom();
  const Ergebnis fehler = strom->start(0x7FFFFFF, sammler_);
  ASSERT_TRUE(fehler);
  EXPECT_EQ(fehler->description, "das Fenster 134217727 kann nicht aufgenommen werden");
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST(X11FensterstromFarbtiefe, PixelsThatAreNotThreeBytesAreRefused) {
  LinuxHostClock uhr;
  setzeHostClock(uhr);
  for (const int tiefe : {16, 30}) {
    const X11Sitzung sitzung(X11Sitzung::Verwalter::KEINER, {.farbtiefe = tiefe});
    const auto fenster = sitzung.fenster({});
    Bildsammler sammler;
    const auto strom = X11ScreenCapture(sitzung.display()).stream({1280, 800, 1.0 / 15.0, true, 5});
    const Ergebnis fehler = strom->start(fenster->id(), sammler);
    ASSERT_TRUE(fehler) << tiefe;
    EXPECT_EQ(fehler->description,
              "die Farbtiefe " + std::to_string(tiefe) + " wird nicht aufgenommen");
  }
}

TEST_F(X11FensterstromAusfall, NoServer) {
  const auto strom = X11ScreenCapture(":4711").stream({1280, 800, 1.0 / 15.0, true, 5});
  const Ergebnis fehler = strom->start(1, sammler_);
  ASSERT_TRUE(fehler);
  EXPECT_EQ(fehler->description, "kein X-Server antwortet auf :4711");
}

TEST_F(X11FensterstromAusfall, TheServersEndIsToldOnce) {
  const auto fenster = sitzung_.fenster({"--bewegt", "30"});
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), sammler_));
  ASSERT_TRUE(sammler_.warteAufBild());
  sitzung_.beendeServer(SIGKILL);
  ASSERT_TRUE(sammler_.warteAufEnde());
  EXPECT_TRUE(strom->wechsle(fenster->id()));
  strom->stop();
  ASSERT_EQ(sammler_.fehler().size(), 1U);
  EXPECT_EQ(sammler_.fehler().front().domain, "x11");
  EXPECT_EQ(sammler_.fehler().front().description, "die Verbindung zum X-Server ist weg");
}

TEST_F(X11FensterstromAusfall, AStillStreamNoticesTheServersEndToo) {
  const auto fenster = sitzung_.fenster({});
  fenster->tu("minimiere");
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), sammler_));
  sitzung_.beendeServer(SIGTERM);
  EXPECT_TRUE(sammler_.warteAufEnde());
}

TEST_F(X11FensterstromAusfall, AStopTellsNothing) {
  const auto fenster = sitzung_.fenster({"--bewegt", "30"});
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), sammler_));
  ASSERT_TRUE(sammler_.warteAufBild());
  strom->stop();
  const std::size_t anzahl = sammler_.zeiten().size();
  strom->stop();
  EXPECT_TRUE(strom->wechsle(fenster->id()));
  sitzung_.beendeServer(SIGKILL);
  EXPECT_EQ(sammler_.zeiten().size(), anzahl);
  EXPECT_TRUE(sammler_.fehler().empty());
}

TEST_F(X11FensterstromAusfall, AStopBeforeTheStart) {
  const auto fenster = sitzung_.fenster({});
  const auto strom = this->strom();
  strom->stop();
  EXPECT_TRUE(strom->start(fenster->id(), sammler_));
}

TEST_F(X11FensterstromAusfall, AServerThatIsStoppedFailsTheStartInTime) {
  const auto fenster = sitzung_.fenster({});
  const auto strom = this->strom();
  sitzung_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  EXPECT_TRUE(strom->start(fenster->id(), sammler_));
  EXPECT_LT(steady_clock::now() - anfang, seconds(3));
  sitzung_.signalAnServer(SIGCONT);
}

TEST_F(X11FensterstromAusfall, AServerThatIsStoppedFailsAChangeInTime) {
  const auto fenster = sitzung_.fenster({"--bewegt", "30"});
  const auto anderes = sitzung_.fenster({});
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), sammler_));
  ASSERT_TRUE(sammler_.warteAufBild());
  sitzung_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  EXPECT_TRUE(strom->wechsle(anderes->id()));
  EXPECT_LT(steady_clock::now() - anfang, seconds(3));
  // The stream is finished, and says so.
  EXPECT_TRUE(sammler_.warteAufEnde());
  sitzung_.signalAnServer(SIGCONT);
}

TEST_F(X11FensterstromAusfall, AStopWhileTheServerIsStoppedReturnsAtOnce) {
  const auto fenster = sitzung_.fenster({"--bewegt", "30"});
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), sammler_));
  ASSERT_TRUE(sammler_.warteAufBild());
  sitzung_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  strom->stop();
  EXPECT_LT(steady_clock::now() - anfang, seconds(1));
  sitzung_.signalAnServer(SIGCONT);
}

TEST_F(X11FensterstromAusfall, AStopEndsAChangeThatHangs) {
  const auto fenster = sitzung_.fenster({"--bewegt", "30"});
  const auto anderes = sitzung_.fenster({});
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), sammler_));
  ASSERT_TRUE(sammler_.warteAufBild());
  sitzung_.signalAnServer(SIGSTOP);
  const auto anfang = steady_clock::now();
  auto wechsel =
      std::async(std::launch::async, [&] { return strom->wechsle(anderes->id()).has_value(); });
  strom->stop();
  EXPECT_TRUE(wechsel.get());
  EXPECT_LT(steady_clock::now() - anfang, seconds(1));
  sitzung_.signalAnServer(SIGCONT);
}

// A listener that keeps the stream waiting as a slow encoder would.
class Langsamer final : public WindowStreamListener {
 public:
  void bild(const Bild& bild) override {
    const std::lock_guard halter(lock_);
    zeiten_.push_back(bild.zeit());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  void gestoppt(const Fehler&) override {}
  [[nodiscard]] std::vector<double> zeiten() {
    const std::lock_guard halter(lock_);
    return zeiten_;
  }

 private:
  std::mutex lock_;
  std::vector<double> zeiten_;
};

TEST_F(X11FensterstromAusfall, WhileTheListenerIsBusyNothingQueuesUp) {
  const auto fenster = sitzung_.fenster({"--bewegt", "60"});
  Langsamer langsamer;
  const auto strom = this->strom();
  ASSERT_FALSE(strom->start(fenster->id(), langsamer));
  ASSERT_TRUE(warteBisGilt([&] { return langsamer.zeiten().size() >= 4; }));
  strom->stop();
  const auto zeiten = langsamer.zeiten();
  for (std::size_t i = 1; i < zeiten.size(); ++i)
    EXPECT_GE(zeiten[i] - zeiten[i - 1], 0.2);
}

}  // namespace
}  // namespace hallkorb
