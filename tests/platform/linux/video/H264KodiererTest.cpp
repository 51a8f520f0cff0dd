// Which encoder a video gets, and what becomes of the pictures that it leaves out or keeps for
// itself.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/video/H264Schreiber.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Ffmpeg.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr VideoEinstellungen EINSTELLUNGEN{1280, 800, 1'400'000, 30, 15.0};

class H264KodiererTest : public testing::Test {
 protected:
  H264KodiererTest() { setzeHostClock(uhr_); }

  LinuxHostClock uhr_;
  TempOrdner ordner_;
  const std::string pfad_ = ordner_ / "video.mp4";
};

TEST_F(H264KodiererTest, TakesTheBestEncoderThatIsThere) {
  std::vector<std::string> namen;
  for (const H264Art& art : H264Kodierer::arten()) {
    if (namen.empty() || namen.back() != art.name) namen.emplace_back(art.name);
  }
  EXPECT_EQ(namen, (std::vector<std::string>{"libx264", "libopenh264", "h264_vaapi"}));

  const H264Art fremd{"gibt-es-nicht", AV_PIX_FMT_YUV420P, {}};
  const H264Art::Option falsch[] = {{"preset", "gibt-es-nicht"}};
  const H264Art schlecht{"libx264", AV_PIX_FMT_YUV420P, falsch};
  const H264Art ohneKarte{"h264_vaapi", AV_PIX_FMT_VAAPI, {}, ordner_.pfad().c_str()};
  const H264Art gut = H264Kodierer::arten().front();
  const AusgabeFaenger faenger;
  const std::vector<H264Art> keine{fremd, schlecht, ohneKarte};
  EXPECT_EQ(H264Kodierer::waehle(keine), nullptr);
  EXPECT_EQ(H264Kodierer::waehle({}), nullptr);
  const std::vector<H264Art> erste{gut, fremd};
  EXPECT_EQ(H264Kodierer::waehle(erste), &erste[0]);
  EXPECT_EQ(faenger.fehler(), "");
  const std::vector<H264Art> letzte{fremd, schlecht, ohneKarte, gut};
  EXPECT_EQ(H264Kodierer::waehle(letzte), &letzte[3]);
  EXPECT_EQ(faenger.fehler(), "[hallkorb] Bild: H.264-Kodierer libx264 statt gibt-es-nicht\n");
}

TEST_F(H264KodiererTest, AnEncoderGetsTheOptionsOfItsOwn) {
  ASSERT_TRUE(ladeLibav().gelungen());
  const H264Art::Option grob[] = {{"preset", "ultrafast"}, {"tune", "zerolatency"}};
  const H264Art art{"libx264", AV_PIX_FMT_YUV420P, grob};
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN, &art);
  ASSERT_TRUE(schreiber.starte(0.0));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(0.0)));
  EXPECT_TRUE(schreiber.schliesseAb(2.0));
  EXPECT_EQ(dekodierFehler(pfad_), "");

  const H264Art::Option falsch[] = {{"preset", "gibt-es-nicht"}};
  const H264Art schlecht{"libx264", AV_PIX_FMT_YUV420P, falsch};
  H264Kodierer kodierer;
  EXPECT_TRUE(kodierer.oeffne(EINSTELLUNGEN, schlecht).gescheitert());
  const H264Art fremd{"gibt-es-nicht", AV_PIX_FMT_YUV420P, {}};
  const Ergebnis ergebnis = kodierer.oeffne(EINSTELLUNGEN, fremd);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().description, "libavcodec hat keinen Kodierer gibt-es-nicht");
}

// As an encoder that leaves frames out to keep its rate: those whose numbers are in `welche` do not
// reach it.
class Auslasser {
 public:
  explicit Auslasser(std::set<int> welche) {
    welche_ = std::move(welche);
    gezaehlt_ = 0;
    echt_ = tabelle_.avcodec_send_frame;
    tabelle_.avcodec_send_frame = [](AVCodecContext* kodierer, const AVFrame* bild) {
      return welche_.count(gezaehlt_++) > 0 ? 0 : echt_(kodierer, bild);
    };
  }
  ~Auslasser() { tabelle_.avcodec_send_frame = echt_; }
  Auslasser(const Auslasser&) = delete;
  Auslasser& operator=(const Auslasser&) = delete;

  // Frames that were sent, also those left out; after the writer has ended.
  static int gezaehlt() { return gezaehlt_; }

 private:
  // No constant in itself.
  static inline LibavAufrufe& tabelle_ = const_cast<LibavAufrufe&>(libav());
  static inline decltype(LibavAufrufe::avcodec_send_frame) echt_ = nullptr;
  static inline std::set<int> welche_;
  static inline int gezaehlt_ = 0;
};

TEST_F(H264KodiererTest, AStillPictureThatTheEncoderLeftOutGetsInLater) {
  const Auslasser auslasser({1, 2, 3});
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN);
  ASSERT_TRUE(schreiber.starte(5.0));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(5.0)));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0xC01020).alsBild(6.0)));
  const double frist = hostSekunden() + 120.0;
  while (videoPakete(pfad_).size() < 2 && hostSekunden() < frist) {
  }
  EXPECT_TRUE(schreiber.schliesseAb(15.0));
  EXPECT_EQ(schreiber.ausgelassen(), 0);
  EXPECT_EQ(Auslasser::gezaehlt(), 5);
  const auto pakete = videoPakete(pfad_);
  ASSERT_EQ(pakete.size(), 2U);
  EXPECT_NEAR(pakete[1].zeit, 1.0 + 3 / 15.0, 0.001);
  EXPECT_LE(farbAbstand(videoBild(pfad_, 5.0).farbe(640, 400), 0xC01020), 3);
}

TEST_F(H264KodiererTest, ThePictureThatIsLeftOutBeforeTheEndGetsIn) {
  const Auslasser auslasser({1, 2, 3});
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN);
  ASSERT_TRUE(schreiber.starte(5.0));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(5.0)));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0xC01020).alsBild(6.0)));
  EXPECT_TRUE(schreiber.schliesseAb(7.0));
  EXPECT_EQ(schreiber.ausgelassen(), 0);
  EXPECT_EQ(videoPakete(pfad_).size(), 2U);
  EXPECT_LE(farbAbstand(videoBild(pfad_, 1.9).farbe(640, 400), 0xC01020), 3);
}

TEST_F(H264KodiererTest, WhatTheEncoderLeftOutForGoodIsCounted) {
  VideoEinstellungen einstellungen = EINSTELLUNGEN;
  einstellungen.haltezeit = 300.0;  // all of them are encoded at the end, one after the other
  std::set<int> welche{1, 3};
  for (int i = 4; i < 1000; ++i)
    welche.insert(i);
  const Auslasser auslasser(welche);
  H264Schreiber schreiber(pfad_, einstellungen);
  ASSERT_TRUE(schreiber.starte(5.0));
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(5.0 + i)));
  EXPECT_TRUE(schreiber.schliesseAb(15.0));
  EXPECT_EQ(schreiber.ausgelassen(), 2);
  EXPECT_LT(Auslasser::gezaehlt(), 100);
  const auto pakete = videoPakete(pfad_);
  ASSERT_EQ(pakete.size(), 2U);
  EXPECT_NEAR(pakete[1].zeit, 2.0, 0.001);
}

// One that looks ahead has no packet for its first frames, as one that drops a frame has none.
TEST_F(H264KodiererTest, AFrameWithoutAPacketIsNoError) {
  ASSERT_TRUE(ladeLibav().gelungen());
  const H264Art::Option voraus[] = {{"preset", "superfast"}, {"rc-lookahead", "2"}};
  const H264Art art{"libx264", AV_PIX_FMT_YUV420P, voraus};
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN, &art);
  ASSERT_TRUE(schreiber.starte(0.0));
  for (int i = 0; i < 20; ++i) {
    while (!schreiber.bereit()) {
      ASSERT_FALSE(schreiber.fehler());
      std::this_thread::yield();
    }
    ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(i / 15.0)));
  }
  EXPECT_TRUE(schreiber.schliesseAb(2.0));
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_GT(videoPakete(pfad_).size(), 5U);
}

// Neither kind may cost a film of a single picture that picture.
TEST_F(H264KodiererTest, ASinglePictureGetsThroughAnEncoderThatLooksAhead) {
  ASSERT_TRUE(ladeLibav().gelungen());
  const H264Art::Option voraus[] = {{"preset", "superfast"}, {"rc-lookahead", "2"}};
  const H264Art art{"libx264", AV_PIX_FMT_YUV420P, voraus};
  H264Schreiber schreiber(pfad_, EINSTELLUNGEN, &art);
  ASSERT_TRUE(schreiber.starte(0.0));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0x2060A0).alsBild(0.0)));
  EXPECT_TRUE(schreiber.schliesseAb(2.0));
  EXPECT_EQ(schreiber.ausgelassen(), 0);
  EXPECT_EQ(videoPakete(pfad_).size(), 1U);
}

}  // namespace
}  // namespace hallkorb
