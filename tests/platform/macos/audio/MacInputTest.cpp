#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <deque>
#include <thread>
#include <vector>

#include "base/Faden.h"
#include "platform/macos/audio/MacInput.h"
#include "platform/macos/Fehlertexte.h"
#include "tests/platform/macos/Buch.h"
#include "tests/support/Testuhr.h"

namespace hallkorb {
namespace {

using std::chrono::milliseconds;

const Fehler WEG{"SCStreamErrorDomain", -3805, "Verbindung unterbrochen"};
const Fehler KAPUTT{"AVFoundation", -1, "geht nicht"};
const Fehler NEIN{SCREEN_CAPTURE_DOMAIN, -3801, "nein"};

// What the test does with the device while the input has it.
struct Skript {
  enum class Art { gelingt, scheitert, wartet, haengt };
  struct Oeffnung {
    Art art = Art::gelingt;
    Fehler fehler = {};
  };

  Buch buch;
  std::mutex lock;
  std::condition_variable neues;
  std::deque<Oeffnung> oeffnungen;  // the last one counts for all later
  std::vector<std::weak_ptr<BlockEmpfaenger>> empfaenger;
  bool weiter = false;  // lets an opening that hangs go on
  Ergebnis schliessErgebnis = {};
  std::optional<PcmBlock> letzterBlock{};  // handed over while it is closed
  std::thread::id abgebautVon = {};
  std::atomic<bool> laeuft{false};          // in spite of what it has reported
  std::optional<Fehler> waehrendOeffnen{};  // is reported while it is opened
  std::optional<PcmBlock> ersterBlock{};    // comes while it is opened

  std::shared_ptr<BlockEmpfaenger> oeffnung(std::size_t nummer) {
    const std::lock_guard halter(lock);
    return empfaenger.at(nummer).lock();
  }
};

class Geraet final : public AudioGeraet {
 public:
  explicit Geraet(Skript& skript) : skript_(skript) {}
  ~Geraet() override {
    skript_.abgebautVon = std::this_thread::get_id();
    skript_.buch.schreibe("weg");
  }

  Ergebnis oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger,
                  const std::shared_ptr<Wartestelle>& stelle, Wartestelle::Frist) override {
    Skript::Oeffnung oeffnung;
    {
      const std::lock_guard halter(skript_.lock);
      skript_.empfaenger.push_back(std::move(empfaenger));
      if (!skript_.oeffnungen.empty()) oeffnung = skript_.oeffnungen.front();
      if (skript_.oeffnungen.size() > 1) skript_.oeffnungen.pop_front();
    }
    skript_.buch.schreibe("oeffne");
    if (skript_.waehrendOeffnen) {
      skript_.oeffnung(skript_.empfaenger.size() - 1)->ausgefallen(*skript_.waehrendOeffnen);
    }
    if (skript_.ersterBlock) {
      skript_.oeffnung(skript_.empfaenger.size() - 1)->block(*skript_.ersterBlock);
    }
    switch (oeffnung.art) {
      case Skript::Art::gelingt:
        return {};
      case Skript::Art::scheitert:
        return oeffnung.fehler;
      case Skript::Art::wartet: {
        Antwort<Ergebnis> nie(stelle);
        return warteAuf(nie, *stelle, Wartestelle::Uhr::now() + std::chrono::hours(1), "niemand");
      }
      case Skript::Art::haengt: {
        std::unique_lock halter(skript_.lock);
        skript_.neues.wait(halter, [this] { return skript_.weiter; });
        return {};
      }
    }
    return {};
  }

  bool laeuft() override {
    const bool laeuft = skript_.laeuft;
    if (laeuft) skript_.buch.schreibe("laeuft noch");
    return laeuft;
  }
  Ergebnis schliesse() override {
    if (skript_.letzterBlock) {
      if (const auto e = skript_.oeffnung(skript_.empfaenger.size() - 1))
        e->block(*skript_.letzterBlock);
    }
    skript_.buch.schreibe("schliesse");
    return skript_.schliessErgebnis;
  }

 private:
  Skript& skript_;
};

class Hoerer final : public AudioInputListener {
 public:
  explicit Hoerer(Buch& buch) : buch_(buch) {}
  void block(const PcmBlock& block) override {
    if (block.hostTime) zeiten.push_back(*block.hostTime);
    buch_.schreibe("block " + std::to_string(block.frames));
  }
  void unterbrochen(const Fehler& fehler) override {
    buch_.schreibe("unterbrochen: " + fehler.description);
  }
  void fortgesetzt() override { buch_.schreibe("fortgesetzt"); }
  void verloren(std::uint64_t) override { buch_.schreibe("verloren"); }
  void hinweis(const Fehler&) override {}

  std::vector<double> zeiten;

 private:
  Buch& buch_;
};

PcmBlock block(std::uint32_t frames) {
  PcmBlock b;
  b.frames = frames;
  return b;
}

// Notes a wait for a stream that holds something back, and lets that time pass at once. No other
// wait of a test is as long as that for a block of a quarter of an hour.
class Pausenraffer final : public Wartestelle {
 public:
  explicit Pausenraffer(Buch& buch) : buch_(buch) {}

 private:
  bool schlafe(std::unique_lock<std::mutex>& halter, Frist frist) override {
    const auto dauer = frist - Uhr::now();
    const bool lange = dauer > std::chrono::minutes(10) && dauer < std::chrono::minutes(50);
    if (dauer > milliseconds(1000) && !lange) return Wartestelle::schlafe(halter, frist);
    buch_.schreibe(lange ? "wartet lange" : "wartet");
    return false;
  }

  Buch& buch_;
};

// Lets the looks for silence follow each other at once, each after one block.
class Zeitraffer final : public Wartestelle {
 public:
  static constexpr milliseconds STILLE = std::chrono::hours(100);
  static constexpr std::uint32_t BLICKE = 3;

  explicit Zeitraffer(Skript& skript) : skript_(skript) {}

 private:
  bool schlafe(std::unique_lock<std::mutex>& halter, Frist frist) override {
    if (frist < Uhr::now() + STILLE / 2) return Wartestelle::schlafe(halter, frist);
    if (blicke_ == BLICKE) {
      skript_.buch.schreibe("genug gesehen");
      ++blicke_;
    }
    if (blicke_ > BLICKE) return Wartestelle::schlafe(halter, frist);
    ++blicke_;
    halter.unlock();
    if (const auto oeffnung = skript_.oeffnung(0)) oeffnung->block(block(blicke_));
    halter.lock();
    return false;
  }

  Skript& skript_;
  std::uint32_t blicke_ = 0;  // the input's thread
};

// Notes, once each time, that the input waits for silence, however often it is woken meanwhile.
class Stillenote final : public Wartestelle {
 public:
  static constexpr milliseconds STILLE = std::chrono::hours(100);

  explicit Stillenote(Buch& buch) : buch_(buch) {}

 private:
  bool schlafe(std::unique_lock<std::mutex>& halter, Frist frist) override {
    if (frist > Uhr::now() + STILLE / 2 && buch_.eintraege().back() != "wartet")
      buch_.schreibe("wartet");
    return Wartestelle::schlafe(halter, frist);
  }

  Buch& buch_;
};

class MacInputTest : public testing::Test {
 protected:
  // No wait ends by the clock unless the test wants it to.
  MacInputTest() {
    zeiten.abstand = milliseconds(0);
    zeiten.oeffnen = zeiten.start = zeiten.abbau = std::chrono::hours(1);
  }

  MacInput& input() {
    if (!input_) {
      input_ = std::make_unique<MacInput>("probe", std::make_unique<Geraet>(skript), zeiten);
    }
    return *input_;
  }
  void zerstoere() { input_.reset(); }
  void oeffnungen(std::deque<Skript::Oeffnung> o) { skript.oeffnungen = std::move(o); }

  Testuhr uhr{101.0};
  Skript skript;
  Hoerer hoerer{skript.buch};
  MacInput::Zeiten zeiten;

 private:
  std::unique_ptr<MacInput> input_;
};

TEST_F(MacInputTest, TheStopReturnsWhatTheSystemSaidToIt) {
  skript.schliessErgebnis = Fehler{"SCStreamErrorDomain", -3805, "Verbindung weg"};
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  EXPECT_EQ(input().stop(), skript.schliessErgebnis);
  EXPECT_EQ(input().stop(), skript.schliessErgebnis);
}

TEST_F(MacInputTest, BlocksReachTheListenerUntilTheStop) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  const auto oeffnung = skript.oeffnung(0);
  oeffnung->block(block(1));
  oeffnung->block(block(2));
  static_cast<void>(input().stop());
  oeffnung->block(block(3));
  EXPECT_EQ(skript.buch.eintraege(),
            (Eintraege{"oeffne", "block 1", "block 2", "schliesse", "weg"}));
}

TEST_F(MacInputTest, WhatComesAfterTheInputIsGoneIsIgnored) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  const auto oeffnung = skript.oeffnung(0);
  static_cast<void>(input().stop());
  zerstoere();
  oeffnung->block(block(1));
  oeffnung->ausgefallen(WEG);
  EXPECT_EQ(skript.buch.eintraege(), (Eintraege{"oeffne", "schliesse", "weg"}));
}

TEST_F(MacInputTest, WhatClosingTheDeviceStillDeliversReachesTheListener) {
  skript.letzterBlock = PcmBlock{};
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(), (Eintraege{"oeffne", "block 0", "schliesse", "weg"}));
}

TEST_F(MacInputTest, AFailedStartSaysWhyAndClosesTheDevice) {
  oeffnungen({{Skript::Art::scheitert, KAPUTT}});
  EXPECT_EQ(input().start(hoerer), KAPUTT);
  EXPECT_EQ(skript.buch.warteAuf(3), (Eintraege{"oeffne", "schliesse", "weg"}));
}

#if defined(__GLIBC__)
// While it lives there is no thread to be had: its stack would be larger than any memory.
class OhneFaeden {
 public:
  OhneFaeden() {
    EXPECT_EQ(::pthread_getattr_default_np(&sonst_), 0);
    pthread_attr_t riesig = sonst_;
    EXPECT_EQ(::pthread_attr_setstacksize(&riesig, std::size_t{1} << 50), 0);
    EXPECT_EQ(::pthread_setattr_default_np(&riesig), 0);
  }
  ~OhneFaeden() {
    ::pthread_setattr_default_np(&sonst_);
    ::pthread_attr_destroy(&sonst_);
  }
  OhneFaeden(const OhneFaeden&) = delete;
  OhneFaeden& operator=(const OhneFaeden&) = delete;

 private:
  pthread_attr_t sonst_{};
};

TEST_F(MacInputTest, WithoutAThreadTheStartSaysSo) {
  {
    const OhneFaeden keine;
    EXPECT_EQ(input().start(hoerer), keinFaden());
  }
  EXPECT_EQ(input().stop(), Ergebnis());
  EXPECT_EQ(skript.buch.eintraege(), Eintraege());
}
#endif

TEST_F(MacInputTest, AfterAFailedStartNothingReachesTheListener) {
  oeffnungen({{Skript::Art::haengt, {}}});
  zeiten.start = milliseconds(0);
  EXPECT_EQ(input().start(hoerer), (Fehler{"posix", ETIMEDOUT, "das Audiogeraet antwortet nicht"}));
  static_cast<void>(skript.buch.warteAuf(1));
  skript.oeffnung(0)->block(block(1));
  {
    const std::lock_guard halter(skript.lock);
    skript.weiter = true;
  }
  skript.neues.notify_all();
  EXPECT_EQ(skript.buch.warteAuf(3), (Eintraege{"oeffne", "schliesse", "weg"}));
}

TEST_F(MacInputTest, ACallThatNeverReturnsHoldsUpNeitherStartNorStop) {
  oeffnungen({{Skript::Art::haengt, {}}});
  zeiten.start = milliseconds(0);
  zeiten.abbau = milliseconds(0);
  EXPECT_NE(input().start(hoerer), Ergebnis());
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.warteAuf(1), (Eintraege{"oeffne"}));
  {
    const std::lock_guard halter(skript.lock);
    skript.weiter = true;
  }
  skript.neues.notify_all();
  EXPECT_EQ(skript.buch.warteAuf(3), (Eintraege{"oeffne", "schliesse", "weg"}));
}

TEST_F(MacInputTest, AStopEndsAStartThatWaits) {
  oeffnungen({{Skript::Art::wartet, {}}});
  zeiten.start = std::chrono::hours(1);
  std::thread stopp([this] {
    static_cast<void>(skript.buch.warteAuf(1));
    static_cast<void>(input().stop());
  });
  EXPECT_EQ(input().start(hoerer), (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
  stopp.join();
  EXPECT_EQ(skript.buch.eintraege(), (Eintraege{"oeffne", "schliesse", "weg"}));
}

TEST_F(MacInputTest, AStopBeforeTheStartMakesItFail) {
  static_cast<void>(input().stop());
  EXPECT_EQ(input().start(hoerer), (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
  EXPECT_EQ(skript.buch.eintraege(), Eintraege{});
}

TEST_F(MacInputTest, TheDeviceIsTakenDownByTheInputsOwnThread) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  const auto oeffnung = skript.oeffnung(0);  // as a callback of the system would hold it
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege().back(), "weg");
  EXPECT_NE(skript.abgebautVon, std::this_thread::get_id());
}

TEST_F(MacInputTest, ALostDeviceIsReportedClosedAndOpenedAgain) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  EXPECT_EQ(skript.buch.warteAuf(4),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "oeffne"}));
}

TEST_F(MacInputTest, TheSourceIsBackWithItsFirstBlock) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  static_cast<void>(skript.buch.warteAuf(4));
  static_cast<void>(skript.buch.nimm());
  skript.oeffnung(1)->block(block(5));
  skript.oeffnung(1)->block(block(6));
  EXPECT_EQ(skript.buch.eintraege(), (Eintraege{"fortgesetzt", "block 5", "block 6"}));
}

TEST_F(MacInputTest, OpeningIsTriedUntilItSucceedsAndReportedOnce) {
  oeffnungen({{}, {Skript::Art::scheitert, KAPUTT}, {Skript::Art::scheitert, WEG}, {}});
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  EXPECT_EQ(skript.buch.warteAuf(8),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "oeffne",
                       "schliesse", "oeffne", "schliesse", "oeffne"}));
}

TEST_F(MacInputTest, ADeviceThatIsLostAgainBeforeItDeliversIsReportedOnce) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  static_cast<void>(skript.buch.warteAuf(4));
  skript.oeffnung(1)->ausgefallen(KAPUTT);
  EXPECT_EQ(skript.buch.warteAuf(6),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "oeffne",
                       "schliesse", "oeffne"}));
}

TEST_F(MacInputTest, WhatComesLateOfAnEarlierOpeningIsIgnored) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  const auto alte = skript.oeffnung(0);
  alte->ausgefallen(WEG);
  static_cast<void>(skript.buch.warteAuf(4));
  alte->block(block(1));
  alte->ausgefallen(KAPUTT);
  skript.oeffnung(1)->block(block(2));
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "oeffne",
                       "fortgesetzt", "block 2", "schliesse", "weg"}));
}

TEST_F(MacInputTest, WhatTheUserHasEndedStaysEnded) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(NEIN);
  EXPECT_EQ(skript.buch.warteAuf(3), (Eintraege{"oeffne", "schliesse", "unterbrochen: nein"}));
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: nein", "schliesse", "weg"}));
}

TEST_F(MacInputTest, APermissionThatIsRefusedOnTheWayEndsTheAttempts) {
  oeffnungen({{}, {Skript::Art::scheitert, NEIN}});
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  static_cast<void>(skript.buch.warteAuf(5));
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "oeffne",
                       "schliesse", "schliesse", "weg"}));
}

TEST_F(MacInputTest, AStopEndsThePauseBetweenTwoAttempts) {
  zeiten.abstand = std::chrono::hours(1);
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  static_cast<void>(skript.buch.warteAuf(3));
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "schliesse",
                       "weg"}));
}

TEST_F(MacInputTest, ADeviceThatFallsSilentWithoutAWordIsOpenedAnew) {
  zeiten.stille = milliseconds(1);
  oeffnungen({{}, {Skript::Art::wartet, {}}});
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  EXPECT_EQ(
      skript.buch.warteAuf(4),
      (Eintraege{"oeffne", "schliesse", "unterbrochen: das Geraet liefert nichts mehr", "oeffne"}));
}

TEST_F(MacInputTest, ADeviceThatDeliversBetweenTwoLooksIsNotSilent) {
  zeiten.stille = Zeitraffer::STILLE;
  MacInput geduldig("probe", std::make_unique<Geraet>(skript), zeiten,
                    std::make_shared<Zeitraffer>(skript));
  EXPECT_EQ(geduldig.start(hoerer), Ergebnis());
  EXPECT_EQ(skript.buch.warteAuf(5),
            (Eintraege{"oeffne", "block 1", "block 2", "block 3", "genug gesehen"}));
}

// A proper block. Its place is certain only after others have followed it.
PcmBlock mitZeit(const std::vector<float>& samples, double zeit) {
  return {{48000.0, 1, true}, static_cast<std::uint32_t>(samples.size()), samples, zeit};
}

TEST_F(MacInputTest, BlocksComeOnTheHostsClock) {
  const std::vector<float> samples(4096, 0.25F);
  EXPECT_TRUE(input().start(hoerer).gelungen());
  const auto oeffnung = skript.oeffnung(0);
  for (int i = 0; i < 8; ++i) {
    // The fifth bears the stamp of the one after it.
    oeffnung->block(mitZeit(samples, 100.0 + (i == 4 ? 5 : i) * 4096 / 48000.0));
  }
  static_cast<void>(input().stop());
  ASSERT_EQ(hoerer.zeiten.size(), 8U);
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_NEAR(hoerer.zeiten[i], 100.0 + static_cast<double>(i) * 4096 / 48000.0, 1e-6);
  }
}

TEST_F(MacInputTest, WhatIsHeldBackGoesOutWhenTheStreamPauses) {
  const std::vector<float> samples(256, 0.25F);
  EXPECT_TRUE(input().start(hoerer).gelungen());
  skript.oeffnung(0)->block(mitZeit(samples, 100.0));
  EXPECT_EQ(skript.buch.warteAuf(2), (Eintraege{"oeffne", "block 256"}));
}

TEST_F(MacInputTest, WhatIsHeldBackAtTheBeginningIsGivenTheTimeOfAPause) {
  const std::vector<float> samples(256, 0.25F);
  skript.ersterBlock = mitZeit(samples, 100.0);
  MacInput eigener("Test", std::make_unique<Geraet>(skript), MacInput::Zeiten{},
                   std::make_shared<Pausenraffer>(skript.buch));
  EXPECT_TRUE(eigener.start(hoerer).gelungen());
  EXPECT_EQ(skript.buch.warteAuf(3), (Eintraege{"oeffne", "wartet", "block 256"}));
  static_cast<void>(eigener.stop());
}

TEST_F(MacInputTest, WhatIsHeldBackOfLongBlocksIsGivenTheTimeOfTwo) {
  const std::vector<float> samples(8192, 0.25F);
  skript.ersterBlock = mitZeit(samples, 100.0);
  skript.ersterBlock->format.rate = 8.0;
  MacInput eigener("Test", std::make_unique<Geraet>(skript), zeiten,
                   std::make_shared<Pausenraffer>(skript.buch));
  EXPECT_TRUE(eigener.start(hoerer).gelungen());
  EXPECT_EQ(skript.buch.warteAuf(3), (Eintraege{"oeffne", "wartet lange", "block 8192"}));
  static_cast<void>(eigener.stop());
}

TEST_F(MacInputTest, WhatIsHeldBackGoesOutBeforeTheLossIsReported) {
  const std::vector<float> samples(256, 0.25F);
  oeffnungen({{}, {Skript::Art::wartet, {}}});
  EXPECT_TRUE(input().start(hoerer).gelungen());
  skript.oeffnung(0)->block(mitZeit(samples, 100.0));
  skript.oeffnung(0)->ausgefallen(WEG);
  EXPECT_EQ(skript.buch.warteAuf(5),
            (Eintraege{"oeffne", "schliesse", "block 256", "unterbrochen: Verbindung unterbrochen",
                       "oeffne"}));
}

// The tap may hand a block over while it is removed. That one begins a stream, but not the next
// opening's.
TEST_F(MacInputTest, AStreamThatBeginsWithTheDevicesLastBlockDoesNotEndTheNextOpening) {
  const std::vector<float> samples(256, 0.25F);
  skript.letzterBlock = mitZeit(samples, 100.0);
  zeiten.stille = Stillenote::STILLE;
  MacInput eigener("probe", std::make_unique<Geraet>(skript), zeiten,
                   std::make_shared<Stillenote>(skript.buch));
  EXPECT_EQ(eigener.start(hoerer), Ergebnis());
  EXPECT_EQ(skript.buch.warteAuf(2), (Eintraege{"oeffne", "wartet"}));
  skript.oeffnung(0)->ausgefallen(WEG);
  EXPECT_EQ(skript.buch.warteAuf(7),
            (Eintraege{"oeffne", "wartet", "schliesse", "block 256",
                       "unterbrochen: Verbindung unterbrochen", "oeffne", "wartet"}));
  static_cast<void>(eigener.stop());
}

TEST_F(MacInputTest, AChangeAfterWhichTheDeviceStillRunsIsNone) {
  skript.laeuft = true;
  oeffnungen({{}, {Skript::Art::wartet, {}}});
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  skript.oeffnung(0)->ausgefallen(WEG);
  static_cast<void>(skript.buch.warteAuf(2));
  skript.oeffnung(0)->block(block(1));
  skript.laeuft = false;
  skript.oeffnung(0)->ausgefallen(KAPUTT);
  EXPECT_EQ(skript.buch.warteAuf(6), (Eintraege{"oeffne", "laeuft noch", "block 1", "schliesse",
                                                "unterbrochen: geht nicht", "oeffne"}));
}

TEST_F(MacInputTest, AChangeWhileTheDeviceIsOpenedCountsWhenItHasEnded) {
  skript.waehrendOeffnen = WEG;
  oeffnungen({{}, {Skript::Art::wartet, {}}});
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  EXPECT_EQ(skript.buch.warteAuf(4),
            (Eintraege{"oeffne", "schliesse", "unterbrochen: Verbindung unterbrochen", "oeffne"}));
}

TEST_F(MacInputTest, AChangeThatTheOpeningItselfMakesIsNone) {
  skript.waehrendOeffnen = WEG;
  skript.laeuft = true;
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  static_cast<void>(skript.buch.warteAuf(2));
  skript.oeffnung(0)->block(block(1));
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(),
            (Eintraege{"oeffne", "laeuft noch", "block 1", "schliesse", "weg"}));
}

TEST_F(MacInputTest, ADeviceThatIsLostEarlyAgainAndAgainIsOpenedEverMoreSeldom) {
  zeiten.abstand = milliseconds(2);
  zeiten.frueh = std::chrono::hours(1);
  zeiten.laengsterAbstand = milliseconds(9);
  const auto anfang = Wartestelle::Uhr::now();
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  // Nothing is delivered, so only the first loss is reported.
  for (std::size_t verlust = 0; verlust < 5; ++verlust) {
    skript.oeffnung(verlust)->ausgefallen(WEG);
    static_cast<void>(skript.buch.warteAuf(4 + 2 * verlust));
  }
  EXPECT_GE(Wartestelle::Uhr::now() - anfang, milliseconds(2 + 4 + 8 + 9 + 9));
}

// A look for silence that found nothing wrong does not turn a later loss into one by silence.
TEST_F(MacInputTest, ADeviceThatDeliveredBeforeItWasLostEarlyIsOpenedEverMoreSeldom) {
  zeiten.abstand = milliseconds(2);
  zeiten.frueh = std::chrono::hours(1);
  zeiten.laengsterAbstand = milliseconds(9);
  zeiten.stille = Zeitraffer::STILLE;
  MacInput geduldig("probe", std::make_unique<Geraet>(skript), zeiten,
                    std::make_shared<Zeitraffer>(skript));
  EXPECT_EQ(geduldig.start(hoerer), Ergebnis());
  static_cast<void>(skript.buch.warteAuf(5));  // opened, three blocks, enough seen
  const auto anfang = Wartestelle::Uhr::now();
  for (std::size_t verlust = 0; verlust < 3; ++verlust) {
    skript.oeffnung(verlust)->ausgefallen(WEG);
    static_cast<void>(skript.buch.warteAuf(8 + 2 * verlust));
  }
  EXPECT_GE(Wartestelle::Uhr::now() - anfang, milliseconds(4 + 8));
}

// With a pause that grew, the test would run into its time limit.
TEST_F(MacInputTest, ADeviceThatHasLastedIsOpenedAnewAfterTheShortestPause) {
  zeiten.abstand = milliseconds(1);
  zeiten.frueh = milliseconds(0);
  zeiten.laengsterAbstand = std::chrono::hours(1);
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  for (std::size_t verlust = 0; verlust < 30; ++verlust) {
    skript.oeffnung(verlust)->ausgefallen(WEG);
    static_cast<void>(skript.buch.warteAuf(4 + 2 * verlust));
  }
}

// The same for a device that opens and delivers nothing: it may begin at any time.
TEST_F(MacInputTest, ADeviceThatIsSilentIsOpenedAnewAfterTheShortestPause) {
  zeiten.abstand = milliseconds(1);
  zeiten.frueh = std::chrono::hours(1);
  zeiten.laengsterAbstand = std::chrono::hours(1);
  zeiten.stille = milliseconds(1);
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  static_cast<void>(skript.buch.warteAuf(60));
}

TEST_F(MacInputTest, StopMayBeRepeated) {
  EXPECT_EQ(input().start(hoerer), Ergebnis());
  static_cast<void>(input().stop());
  static_cast<void>(input().stop());
  EXPECT_EQ(skript.buch.eintraege(), (Eintraege{"oeffne", "schliesse", "weg"}));
}

}  // namespace
}  // namespace hallkorb
