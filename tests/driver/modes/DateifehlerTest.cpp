// A fault at every file operation of a recording: the n-th one fails, for every n, in each of the
// ways in which disks do, once, for a while or for good.
//
// The recording goes on and ends as always; what is lost is what was reported; memory does not
// grow; and once the fault is over the recording is whole again. HALLKORB_LANG=1 tries every
// combination; otherwise each operation fails in a few of the ways, which take turns.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "driver/modes/LiveAufnahme.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Fehlerart.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/Fortschrittszeile.h"
#include "tests/support/Gespraech.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using sim::AufnahmeBefund;

constexpr double ENDE = 4.001;
constexpr double RATE = 16000;
constexpr double BLOCK = 0.1;
constexpr std::int64_t SAMPLES = 64000;

// When the first and the last call failed, in seconds after the beginning.
struct Fehlerende {
  double erster = ENDE;
  double letzter = 0;
  std::size_t zeilen = 0;  // diagnostics by then
};

struct Ergebnisse {
  AufnahmeBefund befund;
  int status = 0;
  std::size_t rufe = 0;    // file operations
  std::size_t gipfel = 0;  // bytes of memory beyond what was allocated before
  Fehlerende fehler;
  std::size_t spaeter = 0;  // chunks that were lost by calls after the last one that failed
};

class DateifehlerTest : public testing::Test {
 protected:
  Ergebnisse nimmAuf(FehlerDateien& dateien) {
    const TempOrdner ordner;
    return nimmAuf(dateien, ordner.pfad());
  }

  Ergebnisse nimmAuf(FehlerDateien& dateien, const std::string& ordner) {
    const AusgabeFaenger faenger;
    config.outDir = ordner;
    sim::SimPlattform welt;
    sim::stetig(welt.mikrofonGeraet, 0.1, 5.0, BLOCK);
    sim::stetig(welt.systemGeraet, 0.1, 5.0, BLOCK);
    welt.bildschirm.windows = {sim::fenster(4, "us.zoom.xos", "Zoom Meeting")};
    welt.signal(ENDE, SIGINT);
    Fehlerende ende;
    dateien.beimScheitern = [&] {
      ende.erster = std::min(ende.erster, welt.jetzt());
      ende.letzter = welt.jetzt();
      ende.zeilen = faenger.fehlerZeilen().size();
    };
    const std::size_t vorher = speicherwacht::belegt();
    speicherwacht::merkeGipfel();
    const int status = LiveAufnahme(config, welt, dateien).laufe();
    const std::size_t gipfel = speicherwacht::gipfel() - vorher;
    dateien.beimScheitern = nullptr;
    const auto zeilen = faenger.fehlerZeilen();
    const auto spaeter = std::count_if(
        zeilen.begin() + static_cast<std::ptrdiff_t>(ende.zeilen), zeilen.end(),
        [](const std::string& z) { return z.starts_with("[hallkorb] WAV-Schreibfehler ("); });
    // The first of them is what the failed call itself has cost.
    return {AufnahmeBefund({ordner, faenger.ausgabeZeilen(), zeilen, 0.1, config.echo}),
            status,
            dateien.rufe(),
            gipfel,
            ende,
            static_cast<std::size_t>(std::max<std::ptrdiff_t>(spaeter - 1, 0))};
  }

  void pruefe(const Ergebnisse& lauf, const Ergebnisse& heil, const Fehlerart& art) {
    const AufnahmeBefund& befund = lauf.befund;
    EXPECT_EQ(lauf.status, 0);
    EXPECT_TRUE(befund.fertig);
    EXPECT_EQ(befund.unangekuendigt, 0U);
    for (const std::string& mangel : befund.maengel)
      ADD_FAILURE() << mangel;
    std::size_t verlorene = 0;
    for (const std::string kanal : {"me", "them"}) {
      auto alle = at(befund.angekuendigt, kanal);
      const auto verloren = at(befund.verloren, kanal);
      for (const int nummer : verloren)
        EXPECT_TRUE(alle.insert(nummer).second) << kanal << nummer << " announced and lost";
      EXPECT_EQ(alle, at(heil.befund.angekuendigt, kanal)) << kanal;
      verlorene += verloren.size();
    }
    EXPECT_LE(befund.teile, art.dauer == 1 ? 0 : verlorene);
    EXPECT_LE(lauf.gipfel, heil.gipfel + heil.gipfel / 4 + 65536);
    // One failure costs one chunk at most, and none if the call can be repeated.
    EXPECT_LE(verlorene, art.dauer == 1 ? 1 : FehlerDateien::IMMER);
    EXPECT_FALSE(befund.rohFehlt && art.dauer == 1);
    if (art.harmlos()) {
      EXPECT_EQ(verlorene, 0U);
      EXPECT_FALSE(befund.rohFehlt || befund.rohGestoert || befund.rohOffen);
      EXPECT_EQ(befund.rohStummGemeldet, 0);
    }
    EXPECT_EQ(lauf.spaeter, 0U);
    pruefeRoh(lauf, heil.befund, art);
    verloreneChunks += verlorene;
    verloreneSamples += befund.rohStummGemeldet;
  }

  static void pruefeRoh(const Ergebnisse& lauf, const AufnahmeBefund& heil, const Fehlerart& art) {
    const AufnahmeBefund& befund = lauf.befund;
    if (befund.rohFehlt) {
      EXPECT_EQ(befund.rohLaenge, 0);
      return;
    }
    // Whole again with the next block.
    if (lauf.fehler.letzter < ENDE - 2 * BLOCK) {
      EXPECT_FALSE(befund.rohGestoert || befund.rohOffen);
    }
    if (befund.rohGestoert) {
      EXPECT_LE(befund.rohLaenge, heil.rohLaenge);
      // What was handed in before is there. The first block brings the silence before it along.
      if (art.dauer == FehlerDateien::IMMER) {
        EXPECT_NEAR(static_cast<double>(befund.rohLaenge), lauf.fehler.erster * RATE,
                    2 * BLOCK * RATE);
        EXPECT_TRUE(befund.rohOffen);
      }
      return;
    }
    // The silence before the first block is in the file, or among the lost samples.
    const auto mehr = befund.rohStumm - befund.rohStummGemeldet;
    EXPECT_TRUE(std::abs(mehr) <= 2 || std::abs(mehr - heil.rohStumm) <= 2)
        << befund.rohStumm << " samples are silent, " << befund.rohStummGemeldet << " reported";
    if (befund.rohOffen) return;
    EXPECT_EQ(befund.rohLaenge, heil.rohLaenge);
    EXPECT_EQ(befund.rohErklaert, heil.rohLaenge);
  }

  // Every operation, in every way or in each `schritt`-th of them.
  void alle(std::size_t schritt) {
    FehlerDateien ohne;
    const Ergebnisse heil = nimmAuf(ohne);
    EXPECT_TRUE(heil.befund.maengel.empty());
    EXPECT_GE(at(heil.befund.angekuendigt, "me").size(), 1U);
    EXPECT_GE(at(heil.befund.angekuendigt, "them").size(), 3U);
    EXPECT_EQ(heil.befund.rohLaenge, SAMPLES);
    EXPECT_EQ(heil.befund.rohStumm, 1600);
    const auto wie = Fehlerart::alle();
    Fortschrittszeile fortschritt(heil.rufe * wie.size() / schritt);
    std::size_t laeufe = 0;
    for (std::size_t n = 0; n < heil.rufe; ++n) {
      for (std::size_t k = n % schritt; k < wie.size(); k += schritt) {
        SCOPED_TRACE(wie[k].beschreibung(n));
        const TempOrdner ordner;
        FehlerDateien dateien;
        dateien.scheitere(n, wie[k].nummer, wie[k].dauer);
        const Ergebnisse lauf = nimmAuf(dateien, ordner.pfad());
        pruefe(lauf, heil, wie[k]);
        fortschritt.zeige(++laeufe);
        if (lauf.befund.teile > 0) pruefeNaechsten(heil, ordner.pfad(), lauf.befund.teile);
        if (HasFailure()) return;
      }
    }
    RecordProperty("laeufe", static_cast<int>(laeufe));
    RecordProperty("operationen", static_cast<int>(heil.rufe));
    RecordProperty("verlorene_chunks", static_cast<int>(verloreneChunks));
    RecordProperty("verlorene_samples", static_cast<int>(verloreneSamples));
    std::printf("%zu operations, %zu recordings, %zu chunks and %lld samples lost and reported\n",
                heil.rufe, laeufe, verloreneChunks, static_cast<long long>(verloreneSamples));
  }

  // What a disk that failed left behind does not disturb the next recording into the folder.
  void pruefeNaechsten(const Ergebnisse& heil, const std::string& ordner, std::size_t teile) {
    FehlerDateien dateien;
    const Ergebnisse lauf = nimmAuf(dateien, ordner);
    for (const std::string& mangel : lauf.befund.maengel)
      ADD_FAILURE() << "in the next recording: " << mangel;
    EXPECT_EQ(lauf.befund.angekuendigt, heil.befund.angekuendigt);
    EXPECT_EQ(lauf.befund.rohErklaert, heil.befund.rohLaenge);
    EXPECT_EQ(lauf.befund.teile, teile);
  }

  template <class Karte>
  static typename Karte::mapped_type at(const Karte& karte, const std::string& kanal) {
    const auto stelle = karte.find(kanal);
    return stelle == karte.end() ? typename Karte::mapped_type{} : stelle->second;
  }

  static bool lang() { return std::getenv("HALLKORB_LANG") != nullptr; }

  Config config = [] {
    Config c;
    c.turnMode = false;
    c.chunkSeconds = 1.0;
    c.echo = false;
    c.video = false;
    return c;
  }();
  std::size_t verloreneChunks = 0;
  std::int64_t verloreneSamples = 0;
};

TEST_F(DateifehlerTest, TheRecordingOfTwoChannelsLosesOnlyWhatItReports) {
  alle(lang() ? 1 : 12);
}

TEST_F(DateifehlerTest, WithAnEchoPathAndAVideoToo) {
  config.echo = true;
  config.video = true;
  alle(lang() ? 1 : 24);
}

}  // namespace
}  // namespace hallkorb
