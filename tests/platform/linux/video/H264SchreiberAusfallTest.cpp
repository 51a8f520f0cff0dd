// What is left of a video when its recording does not end in order.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/video/H264Schreiber.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Ffmpeg.h"
#include "tests/support/Prozess.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr VideoEinstellungen EINSTELLUNGEN{1280, 800, 1'400'000, 30, 15.0};
constexpr double VERLUST = 2.0;  // seconds that a killed process may cost

class H264SchreiberAusfall : public testing::Test {
 protected:
  H264SchreiberAusfall() { setzeHostClock(uhr_); }

  // The time of picture `nummer`, once the recording program has written it.
  static double warteAufBild(Prozess& programm, int nummer) {
    while (true) {
      const std::string zeile = programm.liesZeile();
      if (std::stoi(zeile) == nummer) return std::stod(zeile.substr(zeile.find(' ')));
    }
  }
  // 0 while nothing is in it.
  double dauer() {
    return std::strtod(videoEigenschaften(pfad_)["format.duration"].c_str(), nullptr);
  }

  // Whether killing a recording costs no more than it may, given in seconds by `verlust`. A process
  // that is itself halted before it is killed loses that time, too, so there are several attempts.
  static bool verliertWenig(const std::function<double()>& verlust) {
    for (int versuch = 0; versuch < 4; ++versuch) {
      if (verlust() <= VERLUST) return true;
    }
    return false;
  }

  LinuxHostClock uhr_;
  TempOrdner ordner_;
  const std::string pfad_ = ordner_ / "video.mp4";
};

TEST_F(H264SchreiberAusfall, KilledWhileThePictureMoves) {
  EXPECT_TRUE(verliertWenig([this] {
    Prozess programm({HALLKORB_TESTVIDEO, pfad_, "15", "1000"});
    const double zuletzt = warteAufBild(programm, 60);
    programm.beende(SIGKILL);
    const auto pakete = videoPakete(pfad_);
    return pakete.empty() ? zuletzt : zuletzt - std::min(dauer(), pakete.back().zeit);
  }));
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(ordner_.namen(), std::vector<std::string>{"video.mp4"});
}

TEST_F(H264SchreiberAusfall, KilledEarly) {
  Prozess programm({HALLKORB_TESTVIDEO, pfad_, "15", "1000"});
  warteAufBild(programm, 0);
  programm.beende(SIGKILL);
  // Nothing may be in it yet, but it is a video file.
  EXPECT_EQ(videoEigenschaften(pfad_)["codec_name"], "h264");
}

TEST_F(H264SchreiberAusfall, KilledWhilePicturesComeSlowly) {
  EXPECT_TRUE(verliertWenig([this] {
    Prozess programm({HALLKORB_TESTVIDEO, pfad_, "0.8", "1000"});
    const double zuletzt = warteAufBild(programm, 3);
    programm.beende(SIGKILL);
    return zuletzt - dauer();
  }));
  EXPECT_EQ(dekodierFehler(pfad_), "");
}

TEST_F(H264SchreiberAusfall, KilledWhileThePictureStandsStill) {
  EXPECT_TRUE(verliertWenig([this] {
    Prozess programm({HALLKORB_TESTVIDEO, pfad_, "15", "1"});
    warteAufBild(programm, 0);
    const double anfang = hostSekunden();
    // The file itself shows that its time goes on.
    double gelesen = 0.0;
    while (gelesen < 3.0 && hostSekunden() - anfang < 60.0)
      gelesen = dauer();
    const double vergangen = hostSekunden() - anfang;
    programm.beende(SIGKILL);
    EXPECT_GE(gelesen, 3.0);
    return vergangen - dauer();
  }));
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(videoPakete(pfad_).size(), 1U);
}

TEST_F(H264SchreiberAusfall, LeftWithoutAnEndItStaysInFragments) {
  {
    H264Schreiber schreiber(pfad_, EINSTELLUNGEN);
    ASSERT_TRUE(schreiber.starte(5.0));
    ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(5.0)));
    ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0xC01020).alsBild(6.0)));
  }
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(videoPakete(pfad_).size(), 2U);
}

TEST_F(H264SchreiberAusfall, InFragmentsToAPictureMayLastForHours) {
  constexpr double LANGE = 25'000.0;
  for (const bool gesichert : {false, true}) {
    SCOPED_TRACE(gesichert);
    schweigeLibav();
    H264Kodierer kodierer;
    ASSERT_TRUE(kodierer.oeffne(EINSTELLUNGEN, *H264Kodierer::vorhandene()).gelungen());
    FragmentDatei datei;
    ASSERT_TRUE(datei.beginne(pfad_, kodierer.strom()).gelungen());
    const LibavZeiger<AVFrame> bild(av_frame_alloc());
    bild->format = AV_PIX_FMT_YUV420P;
    bild->width = EINSTELLUNGEN.breite;
    bild->height = EINSTELLUNGEN.hoehe;
    ASSERT_GE(av_frame_get_buffer(bild.get(), 0), 0);
    Letterbox letterbox;
    ASSERT_TRUE(letterbox.zeichne(Testbild(640, 400, 0x2060A0).alsBild(0.0), *bild).gelungen());
    for (const double zeit : {0.0, LANGE, 2 * LANGE}) {
      bild->pts = static_cast<std::int64_t>(zeit * H264Kodierer::TICKS);
      AVPacket* paket = nullptr;
      ASSERT_TRUE(kodierer.kodiere(*bild, paket).gelungen());
      ASSERT_TRUE(datei.schreibe(*paket).gelungen());
      if (!gesichert) continue;
      ASSERT_TRUE(datei.sichere().gelungen());
    }
    ASSERT_TRUE(datei.sichere().gelungen());
    ASSERT_TRUE(
        datei.verlaengere(static_cast<std::int64_t>(3 * LANGE * H264Kodierer::TICKS)).gelungen());
    ASSERT_TRUE(datei.schliesse().gelungen());
    const auto pakete = videoPakete(pfad_);
    ASSERT_EQ(pakete.size(), 3U);
    for (std::size_t i = 0; i < pakete.size(); ++i)
      EXPECT_NEAR(pakete[i].zeit, static_cast<double>(i) * LANGE, 0.002);
    EXPECT_NEAR(dauer(), 3 * LANGE, 0.002);
    EXPECT_EQ(dekodierFehler(pfad_), "");
  }
}

TEST_F(H264SchreiberAusfall, AFolderThatIsNotThere) {
  H264Schreiber schreiber(ordner_ / "nicht/da.mp4", EINSTELLUNGEN);
  EXPECT_FALSE(schreiber.starte(0.0));
  EXPECT_FALSE(schreiber.schreibt());
  EXPECT_FALSE(schreiber.bereit());
  ASSERT_TRUE(schreiber.fehler());
  EXPECT_EQ(*schreiber.fehler(), Fehler::ausErrno(ENOENT, "Videodatei"));
  EXPECT_FALSE(schreiber.schliesseAb(1.0));
}

TEST_F(H264SchreiberAusfall, APathThatIsAFolder) {
  ::mkdir(pfad_.c_str(), 0755);
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN);
  EXPECT_FALSE(schreiber.starte(0.0));
  EXPECT_EQ(schreiber.fehler()->domain, "posix");
}

// Every step of a video in turn gets no memory for its n-th allocation, once or from then on: that
// video has failed, and nothing else has.
class OhneSpeicher : public H264SchreiberAusfall {
 protected:
  static constexpr VideoEinstellungen KLEIN{64, 64, 100'000, 10, 15.0};

  void TearDown() override { speicherwacht::scheitereNicht(); }

  bool nimmAuf(H264Schreiber& schreiber) {
    for (std::size_t i = 0; i < bilder_.size(); ++i) {
      while (schreiber.schreibt() && !schreiber.bereit())
        std::this_thread::yield();
      if (!schreiber.haengeAn(bilder_[i].alsBild(static_cast<double>(i) / 15.0))) return false;
    }
    return true;
  }

  // Calls `versuch` with each n until none fails any more. It returns whether the video is whole.
  void jedeBelegung(const std::function<bool(H264Schreiber&, std::size_t, bool)>& versuch) {
    ASSERT_NE(H264Kodierer::vorhandene(), nullptr);
    for (const bool immer : {false, true}) {
      bool gescheitert = true;
      for (std::size_t n = 0; gescheitert; ++n) {
        H264Schreiber schreiber(pfad_, KLEIN);
        const bool ganz = versuch(schreiber, n, immer);
        gescheitert = speicherwacht::rufe() > n;
        speicherwacht::scheitereNicht();
        ASSERT_EQ(ganz, !gescheitert) << n << immer;
        ASSERT_EQ(schreiber.fehler().has_value(), gescheitert) << n << immer;
        ASSERT_FALSE(schreiber.schreibt());
        if (gescheitert) ++gescheiterte_;
      }
    }
  }

  const std::vector<Testbild> bilder_{4, Testbild(64, 64, 0x2060A0)};
  int gescheiterte_ = 0;
};

TEST_F(OhneSpeicher, BegunRecordedOrFinishedTheVideoFails) {
  jedeBelegung([this](H264Schreiber& schreiber, std::size_t n, bool immer) {
    speicherwacht::scheitere(n, immer);
    return schreiber.starte(0.0) && nimmAuf(schreiber) && schreiber.schliesseAb(1.0);
  });
  EXPECT_GT(gescheiterte_, 20);
}

TEST_F(OhneSpeicher, TheEncodersThreadEndsTheVideoAlone) {
  jedeBelegung([this](H264Schreiber& schreiber, std::size_t n, bool immer) {
    EXPECT_TRUE(schreiber.starte(0.0));
    speicherwacht::scheitereIn("video-kodierer", n, immer);
    const bool alle = nimmAuf(schreiber);
    return schreiber.schliesseAb(1.0) && alle;
  });
  EXPECT_GT(gescheiterte_, 2);
}

// A file system too small for the video.
class VolleScheibe : public H264SchreiberAusfall {
 protected:
  // Lowers the largest size that a file of this process may have, which fails writes as a full disk
  // does.
  class Grenze {
   public:
    explicit Grenze(rlim_t bytes) {
      ::getrlimit(RLIMIT_FSIZE, &vorher_);
      const rlimit klein{bytes, vorher_.rlim_max};
      ::setrlimit(RLIMIT_FSIZE, &klein);
      alt_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~Grenze() {
      ::setrlimit(RLIMIT_FSIZE, &vorher_);
      std::signal(SIGXFSZ, alt_);
    }
    Grenze(const Grenze&) = delete;
    Grenze& operator=(const Grenze&) = delete;

   private:
    rlimit vorher_{};
    void (*alt_)(int) = nullptr;
  };

  // Appends noise until the writer has failed.
  static void fuelle(H264Schreiber& schreiber) {
    Testbild bild(1280, 800, 0);
    for (int i = 1; schreiber.schreibt(); ++i) {
      bild.rausche(static_cast<std::uint32_t>(i));
      if (!schreiber.bereit() || !schreiber.haengeAn(bild.alsBild(i / 15.0)))
        std::this_thread::yield();
    }
  }
};

TEST_F(VolleScheibe, EndsTheVideoWithTheLastWholeFragment) {
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN);
  ASSERT_TRUE(schreiber.starte(0.0));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(0.0)));
  // A first fragment is on the disk, and then there is room for no other.
  while (schreiber.schreibt() && videoPakete(pfad_).empty()) {
  }
  {
    const Grenze grenze(dateiBytes(pfad_).size() + 1000);
    fuelle(schreiber);
    EXPECT_FALSE(schreiber.bereit());
    ASSERT_TRUE(schreiber.fehler());
    EXPECT_EQ(*schreiber.fehler(), Fehler::ausErrno(EFBIG, "Videodatei"));
    EXPECT_FALSE(schreiber.haengeAn(Testbild(640, 400, 0).alsBild(1000.0)));
    EXPECT_FALSE(schreiber.schliesseAb(1001.0));
  }
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(videoPakete(pfad_).size(), 1U);
  EXPECT_EQ(ordner_.namen(), std::vector<std::string>{"video.mp4"});
}

TEST_F(VolleScheibe, NoRoomForTheIndexLeavesTheRecording) {
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN);
  ASSERT_TRUE(schreiber.starte(0.0));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(0.0)));
  // The picture is on the disk before its second ends, and nothing else comes.
  while (schreiber.schreibt() && videoPakete(pfad_).empty()) {
  }
  {
    const Grenze grenze(dateiBytes(pfad_).size() + 100);
    EXPECT_FALSE(schreiber.schliesseAb(7.0));
  }
  ASSERT_TRUE(schreiber.fehler());
  EXPECT_EQ(*schreiber.fehler(), Fehler::ausErrno(EFBIG, "Abschluss der Videodatei"));
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_NEAR(dauer(), 7.0, 0.002);
  EXPECT_EQ(ordner_.namen(), std::vector<std::string>{"video.mp4"});
}

}  // namespace
}  // namespace hallkorb
