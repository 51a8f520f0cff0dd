// A fault at every file operation of the video, in whole recordings with the real video file: the
// n-th one fails, for every n, in each of the ways in which disks do, once, for a while or for
// good. And no memory for its encoder.
//
// The real writer secures its file by its own clock, the computer's, while the recordings run on a
// simulated one. So with it the file gets all pictures at the stop; what fails in between, in each
// second, is tried with one that goes by the pictures' times.
//
// The sound loses nothing. A video that is announced has every picture; one that is not was
// reported as lost, and what was safe of it plays. HALLKORB_LANG=1 tries every combination.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "driver/modes/LiveAufnahme.h"
#include "platform/linux/video/FragmentDatei.h"
#include "platform/linux/video/H264Kodierer.h"
#include "platform/linux/video/H264Schreiber.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Fehlerart.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/Ffmpeg.h"
#include "tests/support/Fortschrittszeile.h"
#include "tests/support/Gespraech.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr double ENDE = 6.001;
constexpr double BILD_ALLE = 0.25;
constexpr double SICHERN_ALLE = 1.0;
constexpr VideoEinstellungen KLEIN{64, 64, 100'000, 10, 15.0, 0.0};

struct Stand {
  std::size_t genommen = 0;  // pictures
  std::size_t sicher = 0;    // of them, in finished fragments
};

// Writes as the writer of Linux does, without its thread and by the simulated clock.
class Taktschreiber final : public VideoWriter {
 public:
  Taktschreiber(std::string pfad, Dateien& dateien, Stand& stand)
      : pfad_(std::move(pfad)), datei_(dateien), stand_(stand) {}

  bool starte(double basis) override {
    basis_ = gesichert_ = basis;
    Ergebnis ergebnis = kodierer_.oeffne(KLEIN, *H264Kodierer::vorhandene());
    if (ergebnis.gelungen()) ergebnis = datei_.beginne(pfad_, kodierer_.strom());
    melde(std::move(ergebnis));
    laeuft_ = !fehler_;
    return laeuft_;
  }
  bool schreibt() const override { return laeuft_ && !fehler_; }
  bool bereit() const override { return schreibt(); }
  bool haengeAn(const Bild& bild) override {
    melde(nimm(bild.zeit()));
    return !fehler_;
  }
  void begrenze(std::optional<double> /*bis*/) override {}
  std::int64_t nimmZurueck() override { return 0; }
  bool schliesseAb(double ende) override {
    if (!fehler_) melde(sichere(ende));
    melde(fehler_ ? datei_.schliesse() : datei_.schliesseAb(takt(ende)));
    return !fehler_;
  }
  std::int64_t ausgelassen() const override { return 0; }
  std::optional<Fehler> fehler() const override { return fehler_; }

 private:
  Ergebnis nimm(double zeit) {
    const LibavZeiger<AVFrame> rahmen(av_frame_alloc());
    rahmen->format = AV_PIX_FMT_YUV420P;
    rahmen->width = KLEIN.breite;
    rahmen->height = KLEIN.hoehe;
    EXPECT_GE(av_frame_get_buffer(rahmen.get(), 0), 0);
    for (int ebene = 0; ebene < 3; ++ebene) {
      const int zeilen = ebene == 0 ? KLEIN.hoehe : KLEIN.hoehe / 2;
      std::memset(
          rahmen->data[ebene], static_cast<int>(40 + 7 * stand_.genommen % 160),
          static_cast<std::size_t>(rahmen->linesize[ebene]) * static_cast<std::size_t>(zeilen));
    }
    rahmen->pts = takt(zeit);
    AVPacket* paket = nullptr;
    Ergebnis ergebnis = kodierer_.kodiere(*rahmen, paket);
    if (ergebnis.gelungen() && paket != nullptr) ergebnis = datei_.schreibe(*paket);
    if (ergebnis.gescheitert()) return ergebnis;
    ++stand_.genommen;
    if (zeit < gesichert_ + SICHERN_ALLE) return ergebnis;
    gesichert_ = zeit;
    return sichere(zeit);
  }
  Ergebnis sichere(double bis) {
    if (Ergebnis ergebnis = datei_.sichere(); ergebnis.gescheitert()) return ergebnis;
    stand_.sicher = stand_.genommen;
    return datei_.verlaengere(takt(bis));
  }
  void melde(Ergebnis ergebnis) {
    if (ergebnis.gescheitert() && !fehler_) fehler_ = std::move(ergebnis).fehler();
  }
  [[nodiscard]] std::int64_t takt(double zeit) const {
    return std::llround((zeit - basis_) * H264Kodierer::TICKS);
  }

  const std::string pfad_;
  H264Kodierer kodierer_;
  FragmentDatei datei_;
  Stand& stand_;
  double basis_ = 0;
  double gesichert_ = 0;
  bool laeuft_ = false;
  std::optional<Fehler> fehler_;
};

// The real one, which gets its pictures from here.
class EchterSchreiber final : public VideoWriter {
 public:
  EchterSchreiber(std::string pfad, Dateien& dateien, Stand& stand)
      : echter_(std::move(pfad), KLEIN, nullptr, dateien, std::chrono::hours(1)), stand_(stand) {}

  bool starte(double basis) override { return echter_.starte(basis); }
  bool schreibt() const override { return echter_.schreibt(); }
  // No picture is dropped for want of time.
  bool bereit() const override {
    while (echter_.schreibt() && !echter_.bereit())
      std::this_thread::yield();
    return echter_.bereit();
  }
  bool haengeAn(const Bild& bild) override {
    bild_.rausche(static_cast<std::uint32_t>(stand_.genommen));
    const bool genommen = echter_.haengeAn(bild_.alsBild(bild.zeit()));
    if (genommen) ++stand_.genommen;
    return genommen;
  }
  void begrenze(std::optional<double> bis) override { echter_.begrenze(bis); }
  std::int64_t nimmZurueck() override { return echter_.nimmZurueck(); }
  bool schliesseAb(double ende) override { return echter_.schliesseAb(ende); }
  std::int64_t ausgelassen() const override { return echter_.ausgelassen(); }
  std::optional<Fehler> fehler() const override { return echter_.fehler(); }

 private:
  H264Schreiber echter_;
  Testbild bild_{KLEIN.breite, KLEIN.hoehe, 0};
  Stand& stand_;
};

enum class Welcher { echter, nachSimuhr };

class FilmfehlerTest : public testing::Test {
 protected:
  struct Lauf {
    int status = 0;
    sim::AufnahmeBefund ton;
    std::optional<std::size_t> bilder;  // as announced; absent if the video was not
    bool gemeldet = false;              // a line says that the video was lost
    std::vector<std::string> fehler;    // lines of standard error
    Stand stand;
  };

  static void SetUpTestSuite() {
    ASSERT_TRUE(ladeLibav().gelungen());
    schweigeLibav();
    ASSERT_NE(H264Kodierer::vorhandene(), nullptr);
  }

  // Only the video's operations go to `dateien`.
  static Lauf nimmAuf(FehlerDateien& dateien, const std::string& ordner, Welcher welcher) {
    Config config;
    config.outDir = ordner;
    config.turnMode = false;
    config.chunkSeconds = 1.0;
    config.echo = false;
    config.video = true;
    const AusgabeFaenger faenger;
    sim::SimPlattform welt;
    sim::stetig(welt.mikrofonGeraet, 0.1, 7.0, 0.1);
    sim::stetig(welt.systemGeraet, 0.1, 7.0, 0.1);
    welt.bildschirm.windows = {sim::fenster(4, "us.zoom.xos", "Zoom Meeting")};
    Stand stand;
    welt.bildschirm.eigenerSchreiber =
        [&](const std::string& pfad) -> std::unique_ptr<VideoWriter> {
      if (welcher == Welcher::echter)
        return std::make_unique<EchterSchreiber>(pfad, dateien, stand);
      return std::make_unique<Taktschreiber>(pfad, dateien, stand);
    };
    for (double t = BILD_ALLE; t < ENDE; t += BILD_ALLE)
      welt.am(t, [&welt] { welt.bildschirm.bild(); });
    welt.signal(ENDE, SIGINT);
    const int status = LiveAufnahme(config, welt).laufe();
    const auto fehler = faenger.fehlerZeilen();
    const bool gemeldet = std::any_of(fehler.begin(), fehler.end(), [](const std::string& z) {
      return z.starts_with("[hallkorb] Video-");
    });
    Lauf lauf{status, sim::AufnahmeBefund({ordner, faenger.ausgabeZeilen(), fehler}),
              {},     gemeldet,
              fehler, stand};
    for (const std::string& zeile : faenger.ausgabeZeilen()) {
      std::size_t bilder = 0;
      const std::size_t stelle = zeile.find(R"(","frames":)");
      if (zeile.starts_with(R"({"event":"video",)") &&
          std::sscanf(zeile.c_str() + stelle, R"(","frames":%zu)", &bilder) == 1) {
        lauf.bilder = bilder;
      }
    }
    return lauf;
  }

  void probiere(Welcher welcher);
  void pruefe(const Lauf& lauf, const Lauf& heil, const Fehlerart& art, const std::string& video) {
    EXPECT_EQ(lauf.status, 0);
    EXPECT_TRUE(lauf.ton.fertig);
    for (const std::string& mangel : lauf.ton.maengel)
      ADD_FAILURE() << mangel;
    EXPECT_EQ(lauf.ton.angekuendigt, heil.ton.angekuendigt);
    EXPECT_TRUE(lauf.ton.verloren.empty());
    EXPECT_EQ(lauf.ton.rohErklaert, heil.ton.rohErklaert);
    EXPECT_EQ(lauf.ton.rohStumm, heil.ton.rohStumm);
    if (art.harmlos()) {
      EXPECT_TRUE(lauf.bilder);
    }
    if (lauf.bilder) {
      EXPECT_EQ(*lauf.bilder, *heil.bilder);
      EXPECT_EQ(videoPakete(video).size(), *heil.bilder);
      return;
    }
    ++verloreneVideos;
    EXPECT_TRUE(lauf.gemeldet);
    if (lauf.stand.genommen == 0) return;
    const std::size_t da = videoPakete(video).size();
    EXPECT_GE(da, lauf.stand.sicher);
    EXPECT_LE(da, lauf.stand.genommen + 1);  // the one whose writing has failed
    gerettet += da;
  }

  std::size_t verloreneVideos = 0;
  std::size_t gerettet = 0;  // pictures of those
};

void FilmfehlerTest::probiere(Welcher welcher) {
  FehlerDateien ohne;
  const TempOrdner ort;
  const Lauf heil = nimmAuf(ohne, ort.pfad(), welcher);
  ASSERT_TRUE(heil.bilder);
  ASSERT_GE(*heil.bilder, 20U);
  EXPECT_FALSE(heil.gemeldet);
  EXPECT_EQ(videoPakete(ort / "video.mp4").size(), *heil.bilder);
  EXPECT_EQ(dekodierFehler(ort / "video.mp4"), "");
  const std::size_t schritt = std::getenv("HALLKORB_LANG") != nullptr ? 1 : 16;
  const auto arten = Fehlerart::alle();
  Fortschrittszeile fortschritt(ohne.rufe() * arten.size() / schritt);
  std::size_t laeufe = 0;
  for (std::size_t n = 0; n < ohne.rufe(); ++n) {
    for (std::size_t k = n % schritt; k < arten.size(); k += schritt) {
      SCOPED_TRACE(arten[k].beschreibung(n));
      const TempOrdner ordner;
      FehlerDateien dateien;
      dateien.scheitere(n, arten[k].nummer, arten[k].dauer);
      pruefe(nimmAuf(dateien, ordner.pfad(), welcher), heil, arten[k], ordner / "video.mp4");
      if (HasFailure()) return;
      fortschritt.zeige(++laeufe);
    }
  }
  EXPECT_GT(verloreneVideos, 0U);
  EXPECT_LT(verloreneVideos, laeufe);
  EXPECT_GT(gerettet, 0U);
  RecordProperty("laeufe", static_cast<int>(laeufe));
  RecordProperty("operationen", static_cast<int>(ohne.rufe()));
  RecordProperty("verlorene_videos", static_cast<int>(verloreneVideos));
  RecordProperty("gerettete_bilder", static_cast<int>(gerettet));
  std::printf("%zu operations, %zu recordings, %zu videos lost, %zu of their pictures safe\n",
              ohne.rufe(), laeufe, verloreneVideos, gerettet);
}

TEST_F(FilmfehlerTest, OfAVideoThatFailsWhatWasSafePlaysAndTheSoundIsWhole) {
  probiere(Welcher::nachSimuhr);
}

TEST_F(FilmfehlerTest, SoItIsWithTheRealWriter) {
  probiere(Welcher::echter);
}

TEST_F(FilmfehlerTest, WithoutMemoryForItsEncoderTheVideoFailsAndTheSoundIsWhole) {
  FehlerDateien dateien;
  const TempOrdner ort;
  speicherwacht::scheitereIn("video-kodierer", 0, true);
  const Lauf lauf = nimmAuf(dateien, ort.pfad(), Welcher::echter);
  speicherwacht::scheitereNicht();
  EXPECT_EQ(lauf.status, 0);
  EXPECT_TRUE(lauf.ton.fertig);
  for (const std::string& mangel : lauf.ton.maengel)
    ADD_FAILURE() << mangel;
  EXPECT_EQ(lauf.ton.angekuendigt.size(), 2U);
  EXPECT_TRUE(lauf.ton.verloren.empty());
  EXPECT_FALSE(lauf.bilder);
  EXPECT_EQ(std::count(lauf.fehler.begin(), lauf.fehler.end(),
                       "[hallkorb] Video-Schreiber ausgefallen: kein Speicher"),
            1);
}

}  // namespace
}  // namespace hallkorb
