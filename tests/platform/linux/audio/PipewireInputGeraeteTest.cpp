// What is recorded, and what happens when the devices change. Against the real daemon with virtual
// devices.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <iterator>
#include <optional>
#include <vector>

#include "tests/platform/linux/audio/PipewireInputTest.h"
#include "tests/support/PipewireSpieler.h"
#include "tests/support/Tonanlage.h"
#include "tests/support/Warten.h"

namespace hallkorb {
namespace {

using Geraete = Tonanlage::Geraete;
using Stand = Hoerer::Stand;

constexpr const char* NUR_MITSCHNITT =
    "unterbrochen: kein Mikrofon gefunden; die Standard-Eingabe ist nur der Mitschnitt des "
    "Ausgabegeraets";

// A block of silence and a block with something in it.
bool still(const Hoerer::Block& block) {
  for (const float sample : block.samples) {
    if (sample != 0.0F) return false;
  }
  return true;
}

// A move to another device is no interruption, unless the session manager takes so long over it
// that there is no sound for the second after which one is reported.
void keineUnterbrechungOhneLuecke(const Stand& stand) {
  if (stand.ereignisse.size() >= 2) {
    EXPECT_GT(stand.groessteAbweichung(), 0.9);
  }
}

using PipewireInputGeraete = PipewireInputTest;

TEST_F(PipewireInputGeraete, BlocksJoinWithoutGapsOrOverlaps) {
  anlage_.starte();
  starteBeide();
  for (Hoerer* hoerer : {&me_, &them_}) {
    ASSERT_TRUE(hoerer->warteAufBloecke(150));
    const Stand stand = hoerer->stand();
    EXPECT_TRUE(stand.fortlaufend());
    EXPECT_TRUE(stand.ungestoert());
    EXPECT_EQ(stand.bloecke.back().format.rate, 48000.0);
    EXPECT_TRUE(still(stand.bloecke.back()));
  }
  EXPECT_EQ(me_.stand().bloecke.back().format, (PcmFormat{48000.0, 1, true}));
  EXPECT_EQ(them_.stand().bloecke.back().format, (PcmFormat{48000.0, 1, true, 0, 0, 2}));
}

TEST_F(PipewireInputGeraete, TheMicrophoneComesInItsOwnFormatAndUnmixed) {
  anlage_.starte(Geraete::NUR_LAUTSPRECHER);
  anlage_.neuesGeraet("vier", "Audio/Source/Virtual", "FL,FR,RL,RR", 3000);
  ASSERT_TRUE(warteBis([&] { return anlage_.standard("source") == "vier"; }));
  const PipewireSpieler spieler(anlage_, "spieler", "vier:input_FL", [](double) { return 0.5F; });
  starteBeide();
  // A player that misses its turn on a busy machine leaves silence.
  EXPECT_TRUE(me_.warteAuf([](const Stand& s) {
    const std::vector<float>& samples = s.bloecke.back().samples;
    return samples == std::vector<float>(samples.size(), 0.5F);
  }));
  EXPECT_EQ(me_.stand().bloecke.back().format, (PcmFormat{48000.0, 1, true, 0, 0, 4}));
}

TEST_F(PipewireInputGeraete, TheMicrophoneFollowsTheDefault) {
  anlage_.starte();
  anlage_.neuesGeraet("zweites", "Audio/Source/Virtual", "FL,FR", 1);
  const PipewireSpieler spieler(anlage_, "spieler", "zweites:input_FL",
                                [](double) { return 0.5F; });
  starteBeide();
  ASSERT_TRUE(me_.warteAufBloecke(5));
  EXPECT_TRUE(still(me_.stand().bloecke.back()));
  anlage_.waehle("source", "zweites");
  ASSERT_TRUE(me_.warteAuf([](const Stand& s) {
    return s.bloecke.back().format.geraeteKanaele == 2 && s.bloecke.back().samples.back() == 0.5F;
  }));
  anlage_.waehle("source", "mic");
  ASSERT_TRUE(
      me_.warteAuf([](const Stand& s) { return s.bloecke.back().format.geraeteKanaele == 0; }));
  ASSERT_TRUE(me_.warteAufBloecke(60));
  keineUnterbrechungOhneLuecke(me_.stand());
  EXPECT_TRUE(them_.stand().fortlaufend());  // the other channel knows nothing of it
}

TEST_F(PipewireInputGeraete, TheMicrophoneMovesOnWhenItsDeviceGoes) {
  anlage_.starte();
  anlage_.neuesGeraet("zweites", "Audio/Source/Virtual", "FL,FR", 2400);
  starteBeide();
  ASSERT_TRUE(me_.warteAufBloecke(5));
  anlage_.entferne("mic");
  ASSERT_TRUE(
      me_.warteAuf([](const Stand& s) { return s.bloecke.back().format.geraeteKanaele == 2; }));
  ASSERT_TRUE(me_.warteAufBloecke(60));
  keineUnterbrechungOhneLuecke(me_.stand());
}

// The far end must never get into the near end's channel: without a microphone the session manager
// calls the loudspeakers' monitor the default source, and moves streams there.
TEST_F(PipewireInputGeraete, TheMicrophoneIsSilentRatherThanAMonitor) {
  anlage_.starte();
  const auto laut = [](double) { return 0.5F; };
  const PipewireSpieler links(anlage_, "spieler-l", "speakers:playback_FL", laut);
  const PipewireSpieler rechts(anlage_, "spieler-r", "speakers:playback_FR", laut);
  starteBeide();
  ASSERT_TRUE(me_.warteAufBloecke(5));

  for (int mal = 0; mal < 3; ++mal) {
    const std::size_t ereignisse = me_.stand().ohneAussetzer().size();
    anlage_.entferne("mic");
    ASSERT_TRUE(me_.warteAufEreignis(ereignisse + 1));
    // Whether or not the session manager has chosen the monitor yet and the daemon has passed it
    // on.
    EXPECT_TRUE(
        me_.stand().ohneAussetzer().back().starts_with("unterbrochen: kein Mikrofon gefunden"));
    ASSERT_TRUE(them_.warteAufBloecke(30));
    anlage_.neuesGeraet("mic", "Audio/Source/Virtual", "MONO", 2500);
    ASSERT_TRUE(me_.warteAufEreignis(ereignisse + 2));
    EXPECT_EQ(me_.stand().ohneAussetzer().back(), "fortgesetzt");
    ASSERT_TRUE(me_.warteAufBloecke(30));
  }
  const Stand stand = me_.stand();
  EXPECT_EQ(stand.ohneAussetzer().size(), 6U);
  for (const Hoerer::Block& block : stand.bloecke)
    EXPECT_TRUE(still(block));
  EXPECT_TRUE(
      them_.warteAuf([](const Stand& s) { return s.bloecke.back().samples.back() == 0.5F; }));
  EXPECT_TRUE(them_.stand().ungestoert());
  EXPECT_TRUE(them_.stand().fortlaufend());
}

// The same when the capture's thread could not look for a second, and the session manager had all
// the time to move the stream.
TEST_F(PipewireInputGeraete, TheMicrophoneIsSilentRatherThanAMonitorWhenTheListenerIsSlow) {
  anlage_.starte();
  const PipewireSpieler spieler(anlage_, "spieler", "speakers:playback_FL",
                                [](double) { return 0.5F; });
  std::atomic<bool> halte{false};
  std::promise<void> gehalten;
  std::promise<void> freigabe;
  me_.imBlock = [&] {
    if (!halte.exchange(false)) return;
    gehalten.set_value();
    freigabe.get_future().wait();
  };
  starteBeide();
  halte = true;
  gehalten.get_future().wait();
  anlage_.entferne("mic");
  ASSERT_TRUE(them_.warteAufBloecke(50));
  freigabe.set_value();
  ASSERT_TRUE(me_.warteAufEreignis(1));
  for (const Hoerer::Block& block : me_.stand().bloecke)
    EXPECT_TRUE(still(block));
}

TEST_F(PipewireInputGeraete, AMonitorThatTheUserChoosesIsNoMicrophoneEither) {
  anlage_.starte();
  const PipewireSpieler links(anlage_, "spieler", "speakers:playback_FL",
                              [](double) { return 0.5F; });
  starteBeide();
  ASSERT_TRUE(me_.warteAufBloecke(5));
  anlage_.waehle("source", "speakers");
  ASSERT_TRUE(me_.warteAufEreignis(1));
  EXPECT_EQ(me_.stand().ohneAussetzer().front(), NUR_MITSCHNITT);
  anlage_.waehle("source", "mic");
  ASSERT_TRUE(me_.warteAufEreignis(2));
  ASSERT_TRUE(me_.warteAufBloecke(5));
  for (const Hoerer::Block& block : me_.stand().bloecke)
    EXPECT_TRUE(still(block));
}

// In a patch bay anybody may plug any cord.
TEST_F(PipewireInputGeraete, TheMicrophoneRefusesAMonitorThatIsLinkedByHand) {
  anlage_.starte();
  const PipewireSpieler spieler(anlage_, "spieler", "speakers:playback_FL",
                                [](double) { return 0.5F; });
  starteBeide();
  for (int mal = 0; mal < 5; ++mal) {
    ASSERT_TRUE(me_.warteAufBloecke(10));
    // Repeated, since the last cord or the microphone's place for it may be on its way out.
    ASSERT_TRUE(warteBis([&] {
      return anlage_.befehl({"sh", "-c",
                             "pw-link speakers:monitor_FL hallkorb.mikrofon:input_MONO "
                             "2>/dev/null && echo verbunden || true"}) == "verbunden\n";
    }));
  }
  EXPECT_TRUE(me_.warteAuf([von = me_.stand().bloecke.size()](const Stand& s) {
    return s.bloecke.size() >= von + 50 &&
           std::all_of(s.bloecke.end() - 50, s.bloecke.end(), still);
  }));
}

TEST_F(PipewireInputGeraete, TheMicrophoneComesBackWhenItsCordIsPulled) {
  anlage_.starte();
  starteBeide();
  ASSERT_TRUE(me_.warteAufBloecke(5));
  anlage_.befehl({"pw-link", "-d", "mic:capture_MONO", "hallkorb.mikrofon:input_MONO"});
  for (const char* ereignis : {Hoerer::KEINE_DATEN, "fortgesetzt"}) {
    ASSERT_TRUE(me_.warteAuf(
        [=](const Stand& s) { return !s.ereignisse.empty() && s.ereignisse.back() == ereignis; }));
  }
  ASSERT_TRUE(me_.warteAufBloecke(5));
  EXPECT_TRUE(me_.stand().ungestoert());
}

TEST_F(PipewireInputGeraete, TheSystemAudioComesBackWhenItsCordsArePulled) {
  anlage_.starte();
  starteBeide();
  ASSERT_TRUE(them_.warteAufBloecke(5));
  for (const std::string seite : {"FL", "FR"})
    anlage_.befehl(
        {"pw-link", "-d", "speakers:monitor_" + seite, "hallkorb.system:input_" + seite});
  for (const char* ereignis : {Hoerer::KEINE_DATEN, "fortgesetzt"}) {
    ASSERT_TRUE(them_.warteAuf(
        [=](const Stand& s) { return !s.ereignisse.empty() && s.ereignisse.back() == ereignis; }));
  }
  ASSERT_TRUE(them_.warteAufBloecke(5));
  EXPECT_TRUE(them_.stand().ungestoert());
}

TEST_F(PipewireInputGeraete, TheSystemAudioFollowsTheDefault) {
  anlage_.starte();
  anlage_.neuesGeraet("kopfhoerer", "Audio/Sink", "FL,FR", 1);
  const PipewireSpieler spieler(anlage_, "spieler", "kopfhoerer:playback_FL",
                                [](double) { return 0.5F; });
  starteBeide();
  ASSERT_TRUE(them_.warteAufBloecke(5));
  anlage_.waehle("sink", "kopfhoerer");
  ASSERT_TRUE(
      them_.warteAuf([](const Stand& s) { return s.bloecke.back().samples.back() == 0.5F; }));
  anlage_.entferne("kopfhoerer");
  ASSERT_TRUE(them_.warteAuf([](const Stand& s) { return still(s.bloecke.back()); }));
  ASSERT_TRUE(them_.warteAufBloecke(60));
  keineUnterbrechungOhneLuecke(them_.stand());
  EXPECT_TRUE(me_.stand().fortlaufend());
}

TEST_F(PipewireInputGeraete, TheSystemAudioWaitsForASinkAndTakesNoMicrophone) {
  anlage_.starte();
  const PipewireSpieler spieler(anlage_, "spieler", "mic:input_MONO", [](double) { return 0.5F; });
  starteBeide();
  for (int mal = 0; mal < 2; ++mal) {
    const std::size_t ereignisse = them_.stand().ohneAussetzer().size();
    anlage_.entferne("speakers");
    ASSERT_TRUE(them_.warteAufEreignis(ereignisse + 1));
    EXPECT_EQ(them_.stand().ohneAussetzer().back(),
              "unterbrochen: kein Ausgabegeraet gefunden, dessen Ton sich aufnehmen liesse");
    anlage_.neuesGeraet("speakers", "Audio/Sink", "FL,FR", 2000);
    ASSERT_TRUE(them_.warteAufEreignis(ereignisse + 2));
    EXPECT_EQ(them_.stand().ohneAussetzer().back(), "fortgesetzt");
    ASSERT_TRUE(them_.warteAufBloecke(20));
  }
  for (const Hoerer::Block& block : them_.stand().bloecke)
    EXPECT_TRUE(still(block));
  EXPECT_TRUE(me_.stand().ungestoert());
  EXPECT_TRUE(me_.stand().fortlaufend());
}

TEST_F(PipewireInputGeraete, FormatAndBlockLengthMayChangeAtAnyTime) {
  anlage_.starte();
  starteBeide();
  const auto stelle = [&](const char* was, int wert, double rate, std::size_t laenge) {
    anlage_.setze(was, wert);
    for (Hoerer* hoerer : {&me_, &them_}) {
      EXPECT_TRUE(hoerer->warteAuf([&](const Stand& s) {
        const Hoerer::Block& b = s.bloecke.back();
        const double graph = hoerer == &me_ ? rate : 48000.0;
        return b.format.rate == graph &&
               (laenge == 0 || std::abs(b.dauer * rate - static_cast<double>(laenge)) < 2);
      })) << was
          << " " << wert;
    }
  };
  stelle("clock.force-rate", 44100, 44100, 0);
  stelle("clock.force-quantum", 256, 44100, 256);
  stelle("clock.force-rate", 96000, 96000, 256);
  stelle("clock.force-quantum", 4096, 96000, 4096);
  stelle("clock.force-rate", 48000, 48000, 4096);
  stelle("clock.force-quantum", 0, 48000, 1024);
  ASSERT_TRUE(me_.warteAufBloecke(50));
  EXPECT_TRUE(me_.stand().ungestoert());
  EXPECT_TRUE(them_.stand().ungestoert());
}

}  // namespace
}  // namespace hallkorb
