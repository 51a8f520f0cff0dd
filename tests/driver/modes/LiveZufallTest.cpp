// Devices that start late or not at all, lose blocks, jitter, go and come; a signal at any moment;
// threads that are scheduled in any order. Whatever happens: the run ends, its lines keep their
// order, and what the chunks hold is what was heard at their times.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>

#include "tests/driver/modes/LiveLauf.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Gespraech.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using sim::aufnahme;
using sim::klang;
using sim::MONO16;
using sim::SimPlattform;

class LiveZufallTest : public LiveLauf {};

// HALLKORB_SAATEN says how many seeds; the soak's long form tries 10 000.
std::uint64_t saaten() {
  const char* wert = std::getenv("HALLKORB_SAATEN");
  return wert != nullptr ? std::strtoull(wert, nullptr, 10) : 150;
}

TEST_F(LiveZufallTest, HoldsItsPromisesInAnyOrderOfEvents) {
  const std::uint64_t letzte = saaten();
  RecordProperty("saaten", std::to_string(letzte));
  for (std::uint64_t saat = 1; saat <= letzte; ++saat) {
    SCOPED_TRACE(saat);
    if (letzte > 1000 && saat % 500 == 0) std::cerr << "  " << saat << " seeds\n";
    const TempOrdner eigener;
    config.outDir = eigener.pfad();
    const AusgabeFaenger eigenerFaenger;
    std::mt19937_64 zufall(saat);
    std::uniform_real_distribution<double> einheit(0, 1);
    config.echo = saat % 3 == 0;
    config.video = saat % 2 == 0;
    SimPlattform welt(saat);
    welt.bildschirm.inventarDauer = einheit(zufall);
    welt.bildschirm.startDauer = einheit(zufall);
    for (const double t : {einheit(zufall) * 3, 4 + einheit(zufall) * 3}) {
      welt.am(t, [&welt, t] {
        welt.bildschirm.windows = {sim::fenster(t < 4 ? 4 : 5, "us.zoom.xos", "Zoom Meeting")};
        welt.bildschirm.bild();
      });
    }
    int gestartet = 0;
    for (sim::Geraet* g : {&welt.mikrofonGeraet, &welt.systemGeraet}) {
      g->startDauer = einheit(zufall) * 0.5;
      if (einheit(zufall) < 0.15) g->startFehler = Fehler{"sim", 1, "geht nicht"};
      if (einheit(zufall) < 0.1) g->startHaengt = true;
      gestartet += !g->startFehler && !g->startHaengt;
      for (double t = 0.5; t < 8;) {
        const auto frames = static_cast<std::size_t>(einheit(zufall) * 3000);
        if (einheit(zufall) < 0.95) {
          g->block(t, MONO16, aufnahme(t, frames), t + (einheit(zufall) - 0.5) * 0.004);
        }
        t += static_cast<double>(frames) / 16000.0;
      }
    }
    const double ende = einheit(zufall) * 8;
    welt.signal(ende, einheit(zufall) < 0.5 ? SIGINT : SIGTERM);
    if (einheit(zufall) < 0.3) welt.signal(ende + einheit(zufall) * 0.1, SIGINT);
    const int status = LiveAufnahme(config, welt).laufe();

    const auto zeilen = eigenerFaenger.ausgabeZeilen();
    ASSERT_FALSE(zeilen.empty());
    if (status == 2) {
      EXPECT_EQ(gestartet, 0);
      EXPECT_EQ(zeilen.size(), 1U);
      EXPECT_NE(zeilen[0].find(R"("event":"error")"), std::string::npos);
      continue;
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(zeilen.back(), R"({"event":"done"})");
    ASSERT_GE(zeilen.size(), 2U);
    EXPECT_EQ(zeilen[zeilen.size() - 2].rfind(R"({"event":"zeitachse")", 0), 0U);
    // "degraded", "started", chunks among the video's events, and with an echo path its
    // statistics: in this order.
    const auto stelle = [](const std::string& z) {
      if (z.find(R"("event":"degraded")") != std::string::npos) return 0;
      if (z.find(R"("event":"started")") != std::string::npos) return 1;
      if (z.rfind(R"({"chunk":)", 0) == 0 || z.rfind(R"({"event":"video)", 0) == 0) return 2;
      if (z.find(R"("event":"echo")") != std::string::npos) return 3;
      return z.find(R"("event":"zeitachse")") != std::string::npos ? 4 : 5;
    };
    EXPECT_TRUE(std::is_sorted(zeilen.begin(), zeilen.end(), [&](const auto& a, const auto& b) {
      return stelle(a) < stelle(b);
    }));
    for (const int hoechstens_einmal : {0, 1, 3, 4, 5}) {
      EXPECT_LE(std::count_if(zeilen.begin(), zeilen.end(),
                              [&](const auto& z) { return stelle(z) == hoechstens_einmal; }),
                1);
    }
    // What a chunk holds was heard at its time. The echo path may change the microphone, not shift
    // it.
    for (const std::string kanal : {"me", "them"}) {
      if (config.echo && kanal == "me") continue;
      const auto strom = ausChunks(kanal, zeilen);
      std::size_t falsch = 0;
      for (std::size_t i = 0; i < strom.size(); ++i) {
        // 2 ms of jitter at the alignment, 3.3 ms of it at most between two blocks.
        float naechster = 1;
        for (int k = -40; k <= 40; ++k) {
          naechster = std::min(naechster,
                               std::abs(strom[i] - klang((static_cast<double>(i) + k) / 16000.0)));
        }
        falsch += strom[i] != 0 && naechster > 0.02F;
      }
      EXPECT_EQ(falsch, 0U) << kanal;
    }
    const auto roh = liesWav(eigener.pfad() + "/mikro_roh.wav");
    if (roh && !config.echo) {
      // The raw file holds the whole timeline, so no chunk ends after it.
      EXPECT_LE(ausChunks("me", zeilen).size(), roh->size() + 160);
    }
    for (const auto& eintrag : std::filesystem::directory_iterator(eigener.pfad())) {
      if (config.video && eintrag.path().filename() == "video.mp4") continue;
      EXPECT_EQ(eintrag.path().extension(), ".wav");
    }
  }
}

}  // namespace
}  // namespace hallkorb
