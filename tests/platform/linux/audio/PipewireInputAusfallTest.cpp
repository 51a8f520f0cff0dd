// Daemons that end, hang and come back, listeners that are slow, and a stop in each of these
// states. Against the real daemon.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/audio/PipewireInput.h"
#include "tests/support/Hoerer.h"
#include "tests/support/Tonanlage.h"

namespace hallkorb {
namespace {

using Stand = Hoerer::Stand;
using Texte = std::vector<std::string>;

class PipewireInputAusfall : public testing::Test {
 protected:
  void SetUp() override {
    anlage_.starte();
    ASSERT_TRUE(mikrofon_.start(me_).gelungen());
    ASSERT_TRUE(system_.start(them_).gelungen());
  }
  void TearDown() override {
    // In any state.
    for (PipewireInput* input : {&mikrofon_, &system_}) {
      const auto anfang = std::chrono::steady_clock::now();
      static_cast<void>(input->stop());
      EXPECT_LT(std::chrono::steady_clock::now() - anfang, std::chrono::seconds(30));
    }
    const std::size_t bloecke = me_.stand().bloecke.size() + them_.stand().bloecke.size();
    anlage_.signalAnDaemon(SIGCONT);
    EXPECT_EQ(me_.stand().bloecke.size() + them_.stand().bloecke.size(), bloecke);
    EXPECT_FALSE(me_.stand().mehrereFaeden);
  }

  // Both deliver just now, so what is done next is what interrupts them.
  void laeuft() {
    for (Hoerer* hoerer : {&me_, &them_})
      ASSERT_TRUE(hoerer->warteAufBloecke(3));
  }
  // Waits for the n-th event of both, and for blocks after it if it is the return.
  void erwarte(std::size_t n) {
    for (Hoerer* hoerer : {&me_, &them_}) {
      ASSERT_TRUE(hoerer->warteAufEreignis(n));
      if (n % 2 == 0) {
        ASSERT_TRUE(hoerer->warteAufBloecke(10));
      }
    }
  }
  // The same for an interruption of both for want of data, and for the return from it.
  void erwarteKeineDaten() {
    for (Hoerer* hoerer : {&me_, &them_}) {
      ASSERT_TRUE(hoerer->warteAuf([](const Stand& s) {
        return !s.ereignisse.empty() && s.ereignisse.back() == Hoerer::KEINE_DATEN;
      }));
    }
  }
  void erwarteRueckkehr() {
    for (Hoerer* hoerer : {&me_, &them_}) {
      ASSERT_TRUE(
          hoerer->warteAuf([](const Stand& s) { return s.ereignisse.back() == "fortgesetzt"; }));
      ASSERT_TRUE(hoerer->warteAufBloecke(10));
    }
  }
  void ereignisse(const Texte& texte) {
    EXPECT_EQ(me_.stand().ohneAussetzer(), texte);
    EXPECT_EQ(them_.stand().ohneAussetzer(), texte);
  }

  Tonanlage anlage_;
  Hoerer me_;
  Hoerer them_;
  PipewireInput mikrofon_{PipewireQuelle::MIKROFON};
  PipewireInput system_{PipewireQuelle::SYSTEM_AUDIO};
};

constexpr const char* ABGERISSEN = "unterbrochen: die Verbindung zu PipeWire ist abgerissen";
constexpr const char* KEINE_VERWALTUNG =
    "unterbrochen: PipeWire laeuft ohne Sitzungsverwaltung (etwa WirePlumber), die Geraete "
    "verbindet";
constexpr const char* WIEDER_DA = "fortgesetzt";

TEST_F(PipewireInputAusfall, ComesBackWhenTheSessionIsKilledAndStartedAgain) {
  for (std::size_t mal = 1; mal <= 2; ++mal) {
    laeuft();
    anlage_.beendeDaemon(SIGKILL);
    anlage_.beendeVerwaltung(SIGKILL);
    erwarte(2 * mal - 1);
    anlage_.starte();
    erwarte(2 * mal);
  }
  ereignisse({ABGERISSEN, WIEDER_DA, ABGERISSEN, WIEDER_DA});
}

TEST_F(PipewireInputAusfall, ComesBackWhenTheDaemonEndsInOrder) {
  laeuft();
  anlage_.beendeVerwaltung(SIGTERM);
  anlage_.beendeDaemon(SIGTERM);
  erwarte(1);
  anlage_.starte();
  erwarte(2);
  EXPECT_EQ(me_.stand().ohneAussetzer().size(), 2U);
  EXPECT_EQ(them_.stand().ohneAussetzer().size(), 2U);
}

// The devices of a real computer belong to the session manager and come and go with it.
TEST_F(PipewireInputAusfall, ComesBackWhenTheSessionManagerIsKilledAndStartedAgain) {
  laeuft();
  anlage_.beendeVerwaltung(SIGKILL);
  erwarte(1);
  anlage_.entferne("mic");
  anlage_.entferne("speakers");
  anlage_.starteVerwaltung();
  anlage_.neuesGeraet("speakers", "Audio/Sink", "FL,FR", 2000);
  anlage_.neuesGeraet("mic", "Audio/Source/Virtual", "MONO", 2500);
  erwarte(2);
  ereignisse({KEINE_VERWALTUNG, WIEDER_DA});
}

TEST_F(PipewireInputAusfall, GoesOnWhenAHangingDaemonGoesOn) {
  anlage_.signalAnDaemon(SIGSTOP);
  erwarteKeineDaten();
  anlage_.signalAnDaemon(SIGCONT);
  erwarteRueckkehr();
  ereignisse({});
}

TEST_F(PipewireInputAusfall, ComesBackWhenAHangingDaemonIsKilled) {
  anlage_.signalAnDaemon(SIGSTOP);
  erwarteKeineDaten();
  anlage_.beendeVerwaltung(SIGKILL);
  anlage_.beendeDaemon(SIGKILL);
  anlage_.starte();
  erwarteRueckkehr();
  ereignisse({});
}

// The time limit of each is checked when the test is torn down.
TEST_F(PipewireInputAusfall, StopsWithoutADaemon) {
  laeuft();
  anlage_.beendeDaemon(SIGKILL);
  erwarte(1);
}

TEST_F(PipewireInputAusfall, StopsWhileTheDaemonHangs) {
  anlage_.signalAnDaemon(SIGSTOP);
  erwarteKeineDaten();
}

TEST_F(PipewireInputAusfall, StopsRightWhenTheDaemonBeginsToHang) {
  anlage_.signalAnDaemon(SIGSTOP);
}

TEST_F(PipewireInputAusfall, StopsWithoutASessionManager) {
  laeuft();
  anlage_.beendeVerwaltung(SIGKILL);
  erwarte(1);
}

TEST_F(PipewireInputAusfall, StopsWhileTheDevicesAreGone) {
  laeuft();
  anlage_.entferne("mic");
  anlage_.entferne("speakers");
  erwarte(1);
}

// A listener that is held up: everything waits in the ring, and the stop hands it over.
TEST_F(PipewireInputAusfall, DeliversAtTheStopWhatWasCapturedBefore) {
  static_cast<void>(mikrofon_.stop());
  Hoerer langsam;
  PipewireInput input(PipewireQuelle::MIKROFON);
  std::promise<void> freigabe;
  const std::shared_future<void> frei = freigabe.get_future().share();
  std::promise<void> erster;
  bool gemeldet = false;
  langsam.imBlock = [&] {
    if (!gemeldet) erster.set_value();
    gemeldet = true;
    frei.wait();
  };
  std::thread start([&] { EXPECT_TRUE(input.start(langsam).gelungen()); });
  erster.get_future().wait();
  ASSERT_TRUE(them_.warteAufBloecke(60));  // the other channel goes on, and serves as the clock
  const Hoerer::Block vorStop = them_.stand().bloecke.back();
  std::thread stop([&] { static_cast<void>(input.stop()); });
  freigabe.set_value();
  stop.join();
  start.join();
  const Stand stand = langsam.stand();
  const Hoerer::Block& letzter = stand.bloecke.back();
  EXPECT_GE(stand.bloecke.size(), 50U);  // a busy machine misses cycles
  EXPECT_GE(letzter.zeit + letzter.dauer, vorStop.zeit + vorStop.dauer - 0.1);
  EXPECT_TRUE(stand.fortlaufend());
  EXPECT_TRUE(stand.ohneAussetzer().empty());
}

// The ring holds 4096 blocks; with the shortest graph cycle that is not quite three seconds.
TEST_F(PipewireInputAusfall, ReportsWhatIsLostBeyondTheRing) {
  static_cast<void>(mikrofon_.stop());
  anlage_.setze("clock.force-quantum", 32);
  ASSERT_TRUE(them_.warteAuf([](const Stand& s) { return s.bloecke.back().samples.size() == 32; }));
  Hoerer langsam;
  PipewireInput input(PipewireQuelle::MIKROFON);
  std::promise<void> freigabe;
  const std::shared_future<void> frei = freigabe.get_future().share();
  std::promise<void> erster;
  bool gemeldet = false;
  langsam.imBlock = [&] {
    if (!std::exchange(gemeldet, true)) erster.set_value();
    frei.wait();
  };
  std::thread start([&] { EXPECT_TRUE(input.start(langsam).gelungen()); });
  erster.get_future().wait();
  ASSERT_TRUE(them_.warteAufBloecke(6000));
  freigabe.set_value();
  ASSERT_TRUE(langsam.warteAuf([](const Stand& s) { return s.verloren > 0; }));
  ASSERT_TRUE(langsam.warteAufBloecke(2000));
  static_cast<void>(input.stop());
  start.join();
  const Stand stand = langsam.stand();
  const Texte ereignisse = stand.ohneAussetzer();
  EXPECT_TRUE(std::all_of(ereignisse.begin(), ereignisse.end(),
                          [](const std::string& e) { return e == "verloren"; }));
  EXPECT_GT(stand.verloren, 500U);
  // One hole, as long as what was lost.
  double loch = 0.0;
  double anfang = 0.0;
  for (std::size_t i = 1; i < stand.bloecke.size(); ++i) {
    const Hoerer::Block& vorher = stand.bloecke[i - 1];
    const double schritt = stand.bloecke[i].zeit - vorher.zeit - vorher.dauer;
    if (schritt > loch) anfang = vorher.zeit + vorher.dauer;
    loch = std::max(loch, schritt);
  }
  EXPECT_GE(loch, static_cast<double>(stand.verloren) * 32 / 48000 * 0.9);
  // A busy machine misses cycles of the graph as well: the other channel shows how many there were.
  const auto andere = them_.stand().bloecke;
  const auto imLoch = std::count_if(andere.begin(), andere.end(), [&](const Hoerer::Block& b) {
    return b.zeit >= anfang && b.zeit < anfang + loch;
  });
  EXPECT_NEAR(static_cast<double>(stand.verloren), static_cast<double>(imLoch),
              0.25 * static_cast<double>(imLoch));
}

}  // namespace
}  // namespace hallkorb
