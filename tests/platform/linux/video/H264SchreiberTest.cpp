// The finished video file, as strangers see it.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/video/H264Schreiber.h"
#include "tests/support/Ffmpeg.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr VideoEinstellungen EINSTELLUNGEN{1280, 800, 1'400'000, 30, 15.0};
constexpr std::uint32_t BLAU = 0x2060A0;
constexpr double BASIS = 1000.125;

class H264Schreiber : public testing::Test {
 protected:
  H264Schreiber() { setzeHostClock(uhr_); }

  // Appends as soon as the encoder can; the recorder would drop the picture instead.
  static bool haengeAn(VideoWriter& schreiber, const Bild& bild) {
    while (schreiber.schreibt()) {
      if (schreiber.bereit()) return schreiber.haengeAn(bild);
      std::this_thread::yield();
    }
    return false;
  }

  // Records `anzahl` pictures of a moving bar, 15 a second, in jittering times; returns these.
  std::vector<double> nimmAuf(VideoWriter& schreiber, int anzahl) {
    std::vector<double> zeiten;
    Testbild bild(640, 400, BLAU);
    EXPECT_TRUE(schreiber.starte(BASIS));
    for (int i = 0; i < anzahl; ++i) {
      bild.fuelle(0, 0, 640, 400, BLAU);
      bild.fuelle(i * 7 % 600, 0, 40, 400, 0xE0C020);
      zeiten.push_back(i / 15.0 + (i % 3) * 0.01);
      EXPECT_TRUE(haengeAn(schreiber, bild.alsBild(BASIS + zeiten.back()))) << i;
    }
    return zeiten;
  }

  LinuxHostClock uhr_;
  TempOrdner ordner_;
  const std::string pfad_ = ordner_ / "video.mp4";
  hallkorb::H264Schreiber schreiber_{pfad_, EINSTELLUNGEN};
};

TEST_F(H264Schreiber, IsAnOrdinaryMp4WithTheStreamThatWasAskedFor) {
  const auto zeiten = nimmAuf(schreiber_, 75);
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 6.0));
  EXPECT_FALSE(schreiber_.fehler());
  auto ist = videoEigenschaften(pfad_);
  for (const auto& [name, wert] : STROM)
    EXPECT_EQ(ist[name], wert) << name;
  EXPECT_EQ(ist["width"], "1280");
  EXPECT_EQ(ist["height"], "800");
  EXPECT_EQ(ist["nb_frames"], "75");
  EXPECT_EQ(ist["nb_read_packets"], "75");
  EXPECT_NEAR(std::stod(ist["format.duration"]), 6.0, 0.002);
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(ordner_.namen(), std::vector<std::string>{"video.mp4"});
}

TEST_F(H264Schreiber, TimesAreThoseOfThePictures) {
  const auto zeiten = nimmAuf(schreiber_, 64);
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 5.0));
  const auto pakete = videoPakete(pfad_);
  ASSERT_EQ(pakete.size(), zeiten.size());
  std::size_t seitSchluesselbild = 0;
  EXPECT_TRUE(pakete.front().schluesselbild);
  for (std::size_t i = 0; i < pakete.size(); ++i) {
    EXPECT_NEAR(pakete[i].zeit, zeiten[i], 1e-5 + 1.0 / H264Kodierer::TICKS);
    const double bis = i + 1 < zeiten.size() ? zeiten[i + 1] : 5.0;
    EXPECT_NEAR(pakete[i].dauer, bis - zeiten[i], 1e-5 + 2.0 / H264Kodierer::TICKS);
    seitSchluesselbild = pakete[i].schluesselbild ? 0 : seitSchluesselbild + 1;
    EXPECT_LT(seitSchluesselbild, 30U);
  }
}

TEST_F(H264Schreiber, OnePictureLastsUntilTheEnd) {
  ASSERT_TRUE(schreiber_.starte(BASIS));
  ASSERT_TRUE(schreiber_.haengeAn(Testbild(1280, 800, 0xC01020).alsBild(BASIS)));
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 60.0));
  auto ist = videoEigenschaften(pfad_);
  EXPECT_EQ(ist["nb_frames"], "1");
  EXPECT_NEAR(std::stod(ist["format.duration"]), 60.0, 0.002);
  EXPECT_LE(farbAbstand(videoBild(pfad_, 59.0).farbe(640, 400), 0xC01020), 3);
}

TEST_F(H264Schreiber, HeldPicturesCanBeTakenBackAndTheFileThenBeginsWithTheNext) {
  VideoEinstellungen einstellungen = EINSTELLUNGEN;
  einstellungen.haltezeit = 300.0;
  hallkorb::H264Schreiber schreiber(pfad_, einstellungen);
  ASSERT_TRUE(schreiber.starte(BASIS));
  EXPECT_EQ(schreiber.nimmZurueck(), 0);
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0xC01020).alsBild(BASIS)));
  EXPECT_EQ(schreiber.nimmZurueck(), 1);
  for (int i = 1; i <= 3; ++i) {
    ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, 0xC01020).alsBild(BASIS + i)));
  }
  EXPECT_EQ(schreiber.nimmZurueck(), 3);
  EXPECT_EQ(schreiber.nimmZurueck(), 0);
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, BLAU).alsBild(BASIS + 4.0)));
  ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, BLAU).alsBild(BASIS + 4.5)));
  ASSERT_TRUE(schreiber.schliesseAb(BASIS + 6.0));
  const auto pakete = videoPakete(pfad_);
  ASSERT_EQ(pakete.size(), 2U);
  EXPECT_EQ(pakete[0].zeit, 0.0);
  EXPECT_NEAR(pakete[1].zeit, 0.5, 1e-3);
  EXPECT_NEAR(std::stod(videoEigenschaften(pfad_)["format.duration"]), 2.0, 0.002);
  EXPECT_LE(farbAbstand(videoBild(pfad_, 0.1).farbe(640, 400), BLAU), 3);
}

// Although it is due at once.
TEST_F(H264Schreiber, WhatIsDueAfterTheLimitStaysHeldBack) {
  const Testbild bild(640, 400, BLAU);
  ASSERT_TRUE(schreiber_.starte(BASIS));
  ASSERT_TRUE(schreiber_.haengeAn(bild.alsBild(BASIS)));
  while (schreiber_.schreibt() && videoPakete(pfad_).empty()) {
  }
  schreiber_.begrenze(hostSekunden());
  for (int i = 1; i <= 4; ++i)
    ASSERT_TRUE(schreiber_.haengeAn(bild.alsBild(BASIS + i)));
  EXPECT_FALSE(schreiber_.haengeAn(bild.alsBild(BASIS + 4.0)));
  EXPECT_TRUE(schreiber_.bereit());
  ASSERT_TRUE(schreiber_.haengeAn(bild.alsBild(BASIS + 5.0)));
  EXPECT_FALSE(schreiber_.bereit());  // they keep their places
  EXPECT_EQ(schreiber_.nimmZurueck(), 5);
  ASSERT_TRUE(schreiber_.haengeAn(bild.alsBild(BASIS + 6.0)));
  schreiber_.begrenze(std::nullopt);
  ASSERT_TRUE(haengeAn(schreiber_, bild.alsBild(BASIS + 7.0)));
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 8.0));
  const auto pakete = videoPakete(pfad_);
  ASSERT_EQ(pakete.size(), 3U);
  EXPECT_NEAR(pakete[1].zeit, 6.0, 1e-3);
  EXPECT_NEAR(pakete[2].zeit, 7.0, 1e-3);
}

// Pictures whose time of waiting was over when the doubt arose are not in doubt.
TEST_F(H264Schreiber, ALimitInTheFutureHoldsNothingBackThatIsDueBefore) {
  ASSERT_TRUE(schreiber_.starte(BASIS));
  schreiber_.begrenze(hostSekunden() + 3600.0);
  ASSERT_TRUE(schreiber_.haengeAn(Testbild(640, 400, BLAU).alsBild(BASIS)));
  while (schreiber_.schreibt() && videoPakete(pfad_).empty()) {
  }
  EXPECT_EQ(schreiber_.nimmZurueck(), 0);
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 1.0));
}

// What is held back costs no place in the queue.
TEST_F(H264Schreiber, TakesAllPicturesOfTheTimeForWhichItHoldsThemBack) {
  VideoEinstellungen einstellungen = EINSTELLUNGEN;
  einstellungen.haltezeit = 2.0;
  hallkorb::H264Schreiber schreiber(pfad_, einstellungen);
  ASSERT_TRUE(schreiber.starte(BASIS));
  for (int i = 0; i < 30; ++i) {
    ASSERT_TRUE(schreiber.bereit()) << i;
    ASSERT_TRUE(schreiber.haengeAn(Testbild(640, 400, BLAU).alsBild(BASIS + i / 15.0))) << i;
  }
  ASSERT_TRUE(schreiber.schliesseAb(BASIS + 2.0));
  EXPECT_EQ(videoPakete(pfad_).size(), 30U);
}

// Pictures that take many bits, one every two seconds as someone turns pages, get those of the two
// seconds and not of a fifteenth of one.
TEST_F(H264Schreiber, PagesThatChangeSeldomAreSharp) {
  constexpr int SEITEN = 20;
  Testbild bild(1280, 800, BLAU);
  ASSERT_TRUE(schreiber_.starte(BASIS));
  for (int i = 0; i < SEITEN; ++i) {
    bild.rausche(static_cast<std::uint32_t>(i));
    ASSERT_TRUE(haengeAn(schreiber_, bild.alsBild(BASIS + i * 2.0)));
  }
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + SEITEN * 2.0));
  const double rate = std::stod(videoEigenschaften(pfad_)["format.bit_rate"]);
  EXPECT_GT(rate, 700'000);
  EXPECT_LT(rate, 2'100'000);
}

// A meeting whose window stands still for hours, in a recording that is left running overnight.
TEST_F(H264Schreiber, APictureMayLastForHours) {
  constexpr double LANGE = 25'000.0;
  ASSERT_TRUE(schreiber_.starte(BASIS));
  ASSERT_TRUE(haengeAn(schreiber_, Testbild(640, 400, 0xC01020).alsBild(BASIS)));
  ASSERT_TRUE(haengeAn(schreiber_, Testbild(640, 400, BLAU).alsBild(BASIS + LANGE)));
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 2 * LANGE)) << schreiber_.fehler()->gedruckt();
  const auto pakete = videoPakete(pfad_);
  ASSERT_EQ(pakete.size(), 2U);
  EXPECT_NEAR(pakete[0].dauer, LANGE, 0.002);
  EXPECT_NEAR(pakete[1].zeit, LANGE, 0.002);
  EXPECT_NEAR(pakete[1].dauer, LANGE, 0.002);
  EXPECT_NEAR(std::stod(videoEigenschaften(pfad_)["format.duration"]), 2 * LANGE, 0.002);
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_LE(farbAbstand(videoBild(pfad_, LANGE - 1.0).farbe(640, 400), 0xC01020), 3);
  EXPECT_LE(farbAbstand(videoBild(pfad_, LANGE + 1.0).farbe(640, 400), BLAU), 3);
}

TEST_F(H264Schreiber, AnEndBeforeTheLastPictureCutsNothing) {
  nimmAuf(schreiber_, 3);
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS));
  EXPECT_EQ(videoPakete(pfad_).size(), 3U);
}

TEST_F(H264Schreiber, PicturesAreWhereTheyBelongInTimeAndSpace) {
  ASSERT_TRUE(schreiber_.starte(BASIS));
  ASSERT_TRUE(haengeAn(schreiber_, Testbild(1000, 1000, 0xC01020).alsBild(BASIS)));
  ASSERT_TRUE(haengeAn(schreiber_, Testbild(1920, 1080, 0x10B030).alsBild(BASIS + 1.0)));
  Testbild geteilt(1280, 800, BLAU);
  geteilt.fuelle(640, 0, 640, 800, 0xE0E0E0);
  ASSERT_TRUE(haengeAn(schreiber_, geteilt.alsBild(BASIS + 30.0)));
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 31.0));

  const VideoBild erstes = videoBild(pfad_, 0.9);
  EXPECT_LE(farbAbstand(erstes.farbe(640, 400), 0xC01020), 3);
  EXPECT_LE(farbAbstand(erstes.farbe(200, 400), 0x000000), 3);
  EXPECT_LE(farbAbstand(erstes.farbe(1100, 400), 0x000000), 3);
  const VideoBild zweites = videoBild(pfad_, 29.9);
  EXPECT_LE(farbAbstand(zweites.farbe(640, 400), 0x10B030), 3);
  EXPECT_LE(farbAbstand(zweites.farbe(640, 20), 0x000000), 3);
  EXPECT_LE(farbAbstand(zweites.farbe(640, 780), 0x000000), 3);
  const VideoBild drittes = videoBild(pfad_, 30.5);
  EXPECT_LE(farbAbstand(drittes.farbe(300, 400), BLAU), 3);
  EXPECT_LE(farbAbstand(drittes.farbe(900, 400), 0xE0E0E0), 3);
}

TEST_F(H264Schreiber, KeepsTheBitRateWithHardPictures) {
  ASSERT_TRUE(schreiber_.starte(BASIS));
  Testbild bild(1280, 800, BLAU);
  for (int i = 0; i < 60; ++i) {
    bild.rausche(static_cast<std::uint32_t>(i));
    ASSERT_TRUE(haengeAn(schreiber_, bild.alsBild(BASIS + i / 15.0)));
  }
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 4.0));
  EXPECT_LT(std::stod(videoEigenschaften(pfad_)["format.bit_rate"]), 2'100'000);
}

TEST_F(H264Schreiber, TakesOnlyWhatRisesAndIsAPictureOfTheScreen) {
  class Fremdes final : public Bild {
    [[nodiscard]] double zeit() const override { return BASIS + 9.0; }
    [[nodiscard]] BildStatus status() const override { return BildStatus::vollstaendig; }
    [[nodiscard]] std::uint32_t fenster() const override { return 0; }
  };
  const Testbild bild(640, 400, BLAU);
  EXPECT_FALSE(schreiber_.haengeAn(bild.alsBild(BASIS)));
  ASSERT_TRUE(schreiber_.starte(BASIS));
  EXPECT_FALSE(schreiber_.haengeAn(bild.alsBild(BASIS - 0.1)));
  EXPECT_TRUE(haengeAn(schreiber_, bild.alsBild(BASIS)));
  EXPECT_FALSE(haengeAn(schreiber_, bild.alsBild(BASIS)));
  EXPECT_TRUE(haengeAn(schreiber_, bild.alsBild(BASIS + 0.1)));
  EXPECT_FALSE(haengeAn(schreiber_, Fremdes()));
  EXPECT_TRUE(schreiber_.schreibt());
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 1.0));
  EXPECT_EQ(videoPakete(pfad_).size(), 2U);
}

TEST_F(H264Schreiber, IsReadyOnlyWhileItWritesAndHasRoom) {
  // As the encoder takes none for so long, the places run full, and nothing waits.
  VideoEinstellungen einstellungen = EINSTELLUNGEN;
  einstellungen.bilderJeSekunde = 0.1;
  einstellungen.haltezeit = 300.0;
  hallkorb::H264Schreiber schreiber(pfad_, einstellungen);
  EXPECT_FALSE(schreiber.schreibt());
  EXPECT_FALSE(schreiber.bereit());
  ASSERT_TRUE(schreiber.starte(BASIS));
  EXPECT_TRUE(schreiber.schreibt());
  std::size_t genommen = 0;
  while (schreiber.bereit() && genommen < 1000) {
    const auto zeit = BASIS + static_cast<double>(genommen) / 15.0;
    ASSERT_TRUE(schreiber.haengeAn(Testbild(64, 40, BLAU).alsBild(zeit)));
    ++genommen;
  }
  EXPECT_GE(genommen, 30U);
  EXPECT_LT(genommen, 1000U);
  EXPECT_TRUE(schreiber.schreibt());
  EXPECT_FALSE(schreiber.haengeAn(Testbild(64, 40, BLAU).alsBild(BASIS + 99.0)));
  ASSERT_TRUE(schreiber.schliesseAb(BASIS + 100.0));
  EXPECT_EQ(videoPakete(pfad_).size(), genommen);
  EXPECT_FALSE(schreiber.schreibt());
  EXPECT_FALSE(schreiber.bereit());
  EXPECT_FALSE(schreiber.schliesseAb(BASIS + 101.0));
}

TEST_F(H264Schreiber, TouchesNothingBeforeItStarts) {
  legeAn(pfad_, {1, 2, 3});
  const hallkorb::H264Schreiber anderer(pfad_, EINSTELLUNGEN);
  EXPECT_EQ(dateiBytes(pfad_), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(H264Schreiber, ReplacesAnEarlierFile) {
  legeAn(pfad_, std::vector<std::uint8_t>(100'000, 7));
  nimmAuf(schreiber_, 3);
  ASSERT_TRUE(schreiber_.schliesseAb(BASIS + 1.0));
  EXPECT_EQ(dekodierFehler(pfad_), "");
  EXPECT_EQ(ordner_.namen(), std::vector<std::string>{"video.mp4"});
}

TEST_F(H264Schreiber, APathMayLookLikeAnAddress) {
  const std::string pfad = ordner_ / "http:video 100%.mp4";
  hallkorb::H264Schreiber schreiber(pfad, EINSTELLUNGEN);
  nimmAuf(schreiber, 3);
  ASSERT_TRUE(schreiber.schliesseAb(BASIS + 1.0));
  EXPECT_EQ(dekodierFehler(pfad), "");
}

TEST_F(H264Schreiber, SaysNothingOnStandardError) {
  testing::internal::CaptureStderr();
  nimmAuf(schreiber_, 20);
  EXPECT_TRUE(schreiber_.schliesseAb(BASIS + 2.0));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(H264Schreiber, KnowsWhatItCannotWrite) {
  EXPECT_TRUE(hallkorb::H264Schreiber::moeglich(EINSTELLUNGEN).gelungen());
  EXPECT_TRUE(hallkorb::H264Schreiber::moeglich({1281, 800, 1'400'000, 30, 15.0}).gescheitert());
  EXPECT_TRUE(hallkorb::H264Schreiber::moeglich({0, 0, 1'400'000, 30, 15.0}).gescheitert());
}

}  // namespace
}  // namespace hallkorb
