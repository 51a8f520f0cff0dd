// The video of the meeting window beside the two channels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/driver/modes/LiveLauf.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Gespraech.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using sim::klang;
using sim::SimPlattform;
using sim::stetig;

class LiveVideoTest : public LiveLauf {
 protected:
  LiveVideoTest() {
    config.video = true;
    stetig(welt.mikrofonGeraet, 0.1, 30.0);
    stetig(welt.systemGeraet, 0.1, 30.0);
    welt.bildschirm.windows = {sim::fenster(4, "us.zoom.xos", "Zoom \"Meeting\"")};
  }

  // Both channels hold every sample up to `sekunden`, each at its time.
  void pruefeTon(std::size_t sekunden) const {
    for (const std::string kanal : {"me", "them"}) {
      const auto strom = ausChunks(kanal);
      ASSERT_EQ(strom.size(), sekunden * 16000) << kanal;
      for (std::size_t i = 4000; i < strom.size(); ++i) {
        ASSERT_NEAR(strom[i], klang(static_cast<double>(i) / 16000.0), 2e-4) << kanal << i;
      }
    }
    EXPECT_NE(faenger.ausgabe().find(R"("them":{"luecken":0,)"), std::string::npos);
    EXPECT_NE(faenger.ausgabe().find(R"("me":{"luecken":0,)"), std::string::npos);
  }

  SimPlattform welt;
};

TEST_F(LiveVideoTest, AFinishedVideoIsReportedBeforeTheLastChunks) {
  welt.am(2.0, [this] { welt.bildschirm.bild(); });
  welt.signal(6.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto folge = ereignisse();
  EXPECT_EQ(std::vector<std::string>(folge.begin(), folge.begin() + 2),
            (std::vector<std::string>{"started", "video_start"}));
  EXPECT_EQ(std::vector<std::string>(folge.end() - 5, folge.end()),
            (std::vector<std::string>{"video", "chunk them", "chunk me", "zeitachse", "done"}));
  const auto zeilen = faenger.ausgabeZeilen();
  EXPECT_NE(zeilen[0].find(R"("video":true)"), std::string::npos);
  EXPECT_EQ(zeilen[zeilen.size() - 5],
            R"({"event":"video","path":")" + ordner.pfad() +
                R"(/video.mp4","frames":2,"quelle":"Zoom · Zoom \"Meeting\""})");
  pruefeTon(6);
}

TEST_F(LiveVideoTest, WithoutAMeetingThereIsNoVideoAndTheRestIsTheSame) {
  welt.bildschirm.windows = {};
  config.videoWarten = 4.0;
  welt.signal(8.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  const auto folge = ereignisse();
  EXPECT_EQ(std::count(folge.begin(), folge.end(), "video_none"), 1);
  EXPECT_EQ(std::count(folge.begin(), folge.end(), "video"), 0);
  EXPECT_FALSE(std::filesystem::exists(ordner.pfad() + "/video.mp4"));
  pruefeTon(8);
}

TEST_F(LiveVideoTest, WhoWantsNoVideoLeavesTheScreenAlone) {
  config.video = false;
  welt.signal(6.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_EQ(welt.bildschirm.inventare, 0U);
  EXPECT_NE(faenger.ausgabe().find(R"("video":false)"), std::string::npos);
}

TEST_F(LiveVideoTest, OneChannelAloneHasItsVideoToo) {
  welt.systemGeraet.startFehler = Fehler{"pipewire", 2, "kein Ton"};
  welt.signal(6.001, SIGINT);
  EXPECT_EQ(laufe(welt), 0);
  EXPECT_NE(faenger.ausgabe().find(R"("event":"video",)"), std::string::npos);
}

TEST_F(LiveVideoTest, WithoutAnyChannelThereIsNoVideo) {
  welt.systemGeraet.startFehler = Fehler{"pipewire", 2, "kein Ton"};
  welt.mikrofonGeraet.startFehler = Fehler{"pipewire", 2, "kein Mikrofon"};
  EXPECT_EQ(laufe(welt), 2);
  EXPECT_EQ(welt.bildschirm.inventare, 0U);
  EXPECT_EQ(ereignisse(), (std::vector<std::string>{"error"}));
}

// A call into the screen that takes ten seconds, from the beginning or in mid-recording.
struct Haenger {
  const char* was;
  double sim::Bildschirm::* dauer;
  double ab;
};

TEST_F(LiveVideoTest, AScreenThatHangsDelaysNoSoundAndTheStopByLessThanFiveSeconds) {
  config.turnMode = false;
  config.chunkSeconds = 0.5;
  for (const Haenger& haenger :
       {Haenger{"inventory", &sim::Bildschirm::inventarDauer, 0.0},
        Haenger{"start", &sim::Bildschirm::startDauer, 0.0},
        Haenger{"inventory in mid-recording", &sim::Bildschirm::inventarDauer, 3.0},
        Haenger{"switch in mid-recording", &sim::Bildschirm::wechselDauer, 3.0}}) {
    SCOPED_TRACE(haenger.was);
    const TempOrdner eigener;
    config.outDir = eigener.pfad();
    const AusgabeFaenger eigenerFaenger;
    double ende = 0;
    std::size_t begonnen = 0;
    {
      SimPlattform haengende;
      sim::Bildschirm& schirm = haengende.bildschirm;
      haengende.mikrofonGeraet = welt.mikrofonGeraet;
      haengende.systemGeraet = welt.systemGeraet;
      schirm.windows = welt.bildschirm.windows;
      schirm.startHaengt = true;
      haengende.am(haenger.ab, [&schirm, &haenger] {
        schirm.*haenger.dauer = 10.0;
        if (haenger.ab > 0) {
          schirm.windows = {sim::fenster(5, "us.zoom.xos", "Zoom Webinar")};
        }
      });
      // While the call hangs, each channel announces its chunks as they become complete.
      for (const double t : {5.0, 5.5, 6.0}) {
        haengende.am(t, [&, t] {
          const auto zeilen = eigenerFaenger.ausgabeZeilen();
          for (const char* kanal : {R"("channel":"me")", R"("channel":"them")"}) {
            const auto chunks = std::count_if(zeilen.begin(), zeilen.end(), [&](const auto& z) {
              return z.find(kanal) != std::string::npos;
            });
            EXPECT_GE(static_cast<double>(chunks) * 0.5, t - 2.0) << kanal;
          }
        });
      }
      haengende.am(6.0, [&] { begonnen = schirm.inventare + schirm.aufrufe.size(); });
      haengende.signal(6.001, SIGINT);
      EXPECT_EQ(laufe(haengende), 0);
      ende = haengende.jetzt();
      // It did hang: only the stop followed.
      EXPECT_LE(schirm.inventare + schirm.aufrufe.size(), begonnen + 1);
    }
    EXPECT_GT(ende, 6.001 + 1.0);
    EXPECT_LE(ende, 6.001 + 5.0);
    const auto zeilen = eigenerFaenger.ausgabeZeilen();
    EXPECT_EQ(zeilen.back(), R"({"event":"done"})");
    for (const std::string kanal : {"me", "them"}) {
      const auto strom = ausChunks(kanal, zeilen);
      ASSERT_EQ(strom.size(), 6U * 16000U) << kanal;
      for (std::size_t i = 4000; i < strom.size(); ++i)
        ASSERT_NEAR(strom[i], klang(static_cast<double>(i) / 16000.0), 2e-4) << kanal << i;
      EXPECT_NE(zeilen[zeilen.size() - 2].find("\"" + kanal + R"(":{"luecken":0,)"),
                std::string::npos);
    }
  }
}

}  // namespace
}  // namespace hallkorb
