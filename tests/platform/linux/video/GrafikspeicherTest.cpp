// Videos encoded by a graphics card: one that is played by a driver of our own (VaTreiber.cpp), in
// libva and libavcodec as they are.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/video/H264Schreiber.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Ffmpeg.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

// libva asks libdrm what kind of node was opened, which looks into /sys. This answer comes before
// libdrm's, since the program has it: a render node if anything is in the file.
extern "C" __attribute__((visibility("default"))) int drmGetNodeTypeFromFd(int fd) {
  constexpr int RENDER = 2;
  struct stat zustand{};
  return ::fstat(fd, &zustand) == 0 && zustand.st_size > 0 ? RENDER : -1;
}

namespace hallkorb {
namespace {

constexpr int BREITE = 320;
constexpr int HOEHE = 192;
constexpr VideoEinstellungen EINSTELLUNGEN{BREITE, HOEHE, 1'400'000, 30, 15.0};
constexpr double BASIS = 1000.125;
constexpr std::uint32_t FARBEN[] = {0x2060A0, 0xC01020, 0x10B030, 0xE0E0E0, 0x8020C0};

// What the driver is to lack, and where it keeps its book.
class Umgebung {
 public:
  explicit Umgebung(const std::string& buch) {
    setze("LIBVA_DRIVERS_PATH", HALLKORB_VATREIBER_ORDNER);
    setze("LIBVA_DRIVER_NAME", "hallkorbtest");
    setze("HALLKORB_VABUCH", buch);
  }
  ~Umgebung() {
    for (const std::string& name : namen_)
      ::unsetenv(name.c_str());
  }
  Umgebung(const Umgebung&) = delete;
  Umgebung& operator=(const Umgebung&) = delete;

  void setze(const std::string& name, const std::string& wert) {
    ::setenv(name.c_str(), wert.c_str(), 1);
    namen_.push_back(name);
  }

 private:
  std::vector<std::string> namen_;
};

class Grafikspeicher : public testing::Test {
 protected:
  Grafikspeicher() {
    setzeHostClock(uhr_);
    std::filesystem::create_directory(geraete_);
    // The computer has another card, which does not open.
    legeAn(geraete_ + "/renderD128", {});
    legeAn(geraete_ + "/renderD129", {1});
    for (H264Art art : H264Kodierer::arten()) {
      if (art.geraete == nullptr) continue;
      art.geraete = geraete_.c_str();
      arten_.push_back(art);
    }
  }

  void ohne(const std::string& maengel) { umgebung_.setze("HALLKORB_VATREIBER", maengel); }

  // Which of the card's kinds is taken; -1 if none is.
  [[nodiscard]] int gewaehlt() const {
    const AusgabeFaenger faenger;
    const H264Art* art = H264Kodierer::waehle(arten_);
    return art == nullptr ? -1 : static_cast<int>(art - arten_.data());
  }

  static double zeit(int nummer) { return nummer / 15.0 + (nummer % 3) * 0.01; }

  // Pictures of one colour each with a bar of the next one, in jittering times; returns how many
  // the writer took.
  static int schreibe(H264Schreiber& schreiber, int anzahl) {
    if (!schreiber.starte(BASIS)) return 0;
    for (int i = 0; i < anzahl; ++i) {
      Testbild bild(BREITE, HOEHE, FARBEN[i % 5]);
      bild.fuelle(BREITE / 2, 0, BREITE / 2, HOEHE, FARBEN[(i + 1) % 5]);
      while (schreiber.schreibt() && !schreiber.bereit())
        std::this_thread::yield();
      if (!schreiber.haengeAn(bild.alsBild(BASIS + zeit(i)))) return i;
    }
    return anzahl;
  }

  void pruefeFilm(int anzahl) const {
    EXPECT_EQ(dekodierFehler(pfad_), "");
    const auto pakete = videoPakete(pfad_);
    ASSERT_EQ(static_cast<int>(pakete.size()), anzahl);
    for (int i = 0; i < anzahl; ++i) {
      const VideoPaket& paket = pakete[static_cast<std::size_t>(i)];
      EXPECT_NEAR(paket.zeit, zeit(i), 1e-5 + 1.0 / H264Kodierer::TICKS) << i;
      EXPECT_EQ(paket.schluesselbild, i % 30 == 0) << i;
    }
    for (const int i : {0, 1, 29, 30, 31, anzahl - 1}) {
      if (i >= anzahl) continue;
      const VideoBild bild = videoBild(pfad_, zeit(i) + 0.02, BREITE, HOEHE);
      EXPECT_LE(farbAbstand(bild.farbe(BREITE / 4, HOEHE / 2), FARBEN[i % 5]), 2) << i;
      EXPECT_LE(farbAbstand(bild.farbe(BREITE * 3 / 4, HOEHE / 2), FARBEN[(i + 1) % 5]), 2) << i;
    }
  }

  [[nodiscard]] std::string buch() const {
    const auto bytes = dateiBytes(buch_);
    return {bytes.begin(), bytes.end()};
  }

  LinuxHostClock uhr_;
  TempOrdner ordner_;
  const std::string geraete_ = ordner_ / "dri";
  const std::string pfad_ = ordner_ / "video.mp4";
  const std::string buch_ = ordner_ / "buch";
  Umgebung umgebung_{buch_};
  std::vector<H264Art> arten_;
};

TEST_F(Grafikspeicher, FindsTheNodesInTheirOrder) {
  legeAn(geraete_ + "/card0", {1});
  EXPECT_EQ(hallkorb::Grafikspeicher::knoten(geraete_),
            (std::vector<std::string>{geraete_ + "/renderD128", geraete_ + "/renderD129"}));
  EXPECT_TRUE(hallkorb::Grafikspeicher::knoten(geraete_ + "/nicht-da").empty());
}

TEST_F(Grafikspeicher, AFilmIsWhatWentIn) {
  testing::internal::CaptureStderr();
  for (const char* maengel : {"", "kein-abbild"}) {
    SCOPED_TRACE(maengel);
    ohne(maengel);
    H264Schreiber schreiber(pfad_, EINSTELLUNGEN, arten_.data());
    ASSERT_EQ(schreibe(schreiber, 70), 70);
    ASSERT_TRUE(schreiber.schliesseAb(BASIS + 6.0)) << schreiber.fehler()->gedruckt();
    pruefeFilm(70);
    auto ist = videoEigenschaften(pfad_);
    for (const auto& [name, wert] : STROM)
      EXPECT_EQ(ist[name], wert) << name;
    EXPECT_NEAR(std::stod(ist["format.duration"]), 6.0, 0.002);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// Rows and columns that no whole macroblock fills, as the usual size of 1280 x 800 has none.
TEST_F(Grafikspeicher, ASizeThatIsNoMultipleOfSixteen) {
  H264Schreiber schreiber(pfad_, {300, 170, 1'400'000, 30, 15.0}, arten_.data());
  ASSERT_EQ(schreibe(schreiber, 2), 2);
  ASSERT_TRUE(schreiber.schliesseAb(BASIS + 1.0)) << schreiber.fehler()->gedruckt();
  auto ist = videoEigenschaften(pfad_);
  EXPECT_EQ(ist["width"] + "x" + ist["height"], "300x170");
  EXPECT_EQ(dekodierFehler(pfad_), "");
}

TEST_F(Grafikspeicher, TakesTheBestThatTheCardCanDo) {
  EXPECT_EQ(gewaehlt(), 0);
  EXPECT_EQ(buch(), "regelung 1024\n");
  ohne("keine-guete");
  EXPECT_EQ(gewaehlt(), 1);
  ohne("nur-sparsam");
  EXPECT_EQ(gewaehlt(), 0);
  ohne("kein-kodierer");
  EXPECT_EQ(gewaehlt(), -1);
  ohne("keine-koepfe");
  EXPECT_EQ(gewaehlt(), -1);
  H264Kodierer kodierer;
  EXPECT_EQ(kodierer.oeffne(EINSTELLUNGEN, arten_[0]).fehler().description,
            "h264_vaapi gibt keine Parameter des Stroms");
}

TEST_F(Grafikspeicher, TheLineSaysWhichEncoderRecords) {
  const H264Art fehlt{"libx264-nicht-da", AV_PIX_FMT_YUV420P, {}};
  arten_.insert(arten_.begin(), fehlt);
  const AusgabeFaenger faenger;
  EXPECT_EQ(H264Kodierer::waehle(arten_), &arten_[1]);
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] Bild: H.264-Kodierer h264_vaapi statt libx264-nicht-da\n");
}

TEST_F(Grafikspeicher, WithoutACardThatOpensTheNextIsTaken) {
  const H264Art gut = H264Kodierer::arten().front();
  arten_.push_back(gut);
  const int letzte = static_cast<int>(arten_.size()) - 1;
  umgebung_.setze("LIBVA_DRIVER_NAME", "gibt-es-nicht");
  EXPECT_EQ(gewaehlt(), letzte);
  std::filesystem::remove(geraete_ + "/renderD129");
  EXPECT_EQ(gewaehlt(), letzte);
  std::filesystem::remove(geraete_ + "/renderD128");
  EXPECT_EQ(gewaehlt(), letzte);
  H264Kodierer kodierer;
  EXPECT_EQ(kodierer.oeffne(EINSTELLUNGEN, arten_[0]).fehler(), Fehler::ausErrno(ENODEV, geraete_));
  // The same object then opens another kind.
  EXPECT_TRUE(kodierer.oeffne(EINSTELLUNGEN, gut).gelungen());
}

TEST_F(Grafikspeicher, KeepsTheRate) {
  H264Schreiber mitGuete(pfad_, EINSTELLUNGEN, &arten_[0]);
  ASSERT_EQ(schreibe(mitGuete, 1), 1);
  ASSERT_TRUE(mitGuete.schliesseAb(BASIS + 1.0));
  EXPECT_EQ(buch(), "regelung 1024\nrate 1400000 anteil 100 guete 21\n");
  std::filesystem::remove(buch_);
  H264Schreiber mitRate(pfad_, EINSTELLUNGEN, &arten_[1]);
  ASSERT_EQ(schreibe(mitRate, 1), 1);
  ASSERT_TRUE(mitRate.schliesseAb(BASIS + 1.0));
  EXPECT_EQ(buch(), "regelung 4\nrate 1400000 anteil 100 guete 0\n");
}

TEST_F(Grafikspeicher, ACardThatFailsEndsTheVideo) {
  ohne("bild-40-faellt");
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN, arten_.data());
  EXPECT_LT(schreibe(schreiber, 200), 200);
  EXPECT_FALSE(schreiber.schreibt());
  EXPECT_FALSE(schreiber.bereit());
  ASSERT_TRUE(schreiber.fehler());
  EXPECT_EQ(*schreiber.fehler(), Fehler::ausErrno(EIO, "H.264-Kodierer"));
  EXPECT_FALSE(schreiber.schliesseAb(BASIS + 20.0));
  // What came before is there.
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(videoPakete(pfad_).size(), 39U);
}

}  // namespace
}  // namespace hallkorb
