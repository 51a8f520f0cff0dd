// The continuous file when somebody removes, moves or replaces it while it grows.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/audiofiles/RohWavTest.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;
using Bytes = std::vector<std::uint8_t>;
using Zeilen = std::vector<std::string>;

TEST_F(RohWavTest, GoesOnInANewFileIfItsOwnWasRemoved) {
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  jetzt += 3.0;
  std::filesystem::remove(pfad);
  roh->schreiben(sekunde(1));
  EXPECT_FALSE(std::filesystem::exists(pfad));  // looked at only with the header
  jetzt += 3.0;
  roh->schreiben(sekunde(2));
  EXPECT_EQ(erklaert(), 96000U);
  roh->schreiben(sekunde(3));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_FALSE(roh->handle());
  std::vector<float> alles(2 * RATE, 0.0F);
  for (const int nummer : {2, 3}) {
    const auto teil = sekunde(nummer);
    alles.insert(alles.end(), teil.begin(), teil.end());
  }
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
  EXPECT_EQ(
      ausgabe.fehlerZeilen(),
      (Zeilen{"[hallkorb] mikro_roh.wav: entfernt, weiter in einer neuen Datei; was davor war, "
              "ist darin Stille"}));
  EXPECT_EQ(dateien.rufe(Ruf::schliessen), 2U);
}

TEST_F(RohWavTest, AFolderThatComesBackGetsTheNewFile) {
  const std::string unter = ordner / "unter";
  std::filesystem::create_directory(unter);
  pfad = unter + "/mikro_roh.wav";
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  std::filesystem::remove_all(unter);
  for (int i = 1; i < 4; ++i) {
    jetzt += 6.0;
    roh->schreiben(sekunde(i));
  }
  EXPECT_EQ(ausgabe.fehlerZeilen(),
            (Zeilen{"[hallkorb] mikro_roh.wav: entfernt, verschoben oder ersetzt; geschrieben wird "
                    "weiter in die alte Datei"}));
  std::filesystem::create_directory(unter);
  jetzt += 6.0;
  roh->schreiben(sekunde(4));
  EXPECT_EQ(ausgabe.fehlerZeilen().size(), 2U);
  EXPECT_TRUE(roh->schliessen().gelungen());
  std::vector<float> alles(4 * RATE, 0.0F);
  const auto letzte = sekunde(4);
  alles.insert(alles.end(), letzte.begin(), letzte.end());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
}

TEST_F(RohWavTest, ANewFileThatIsRemovedTooIsReportedWhenItIsClosed) {
  const auto roh = oeffne();
  std::filesystem::remove(pfad);
  jetzt += 6.0;
  dateien.scheitere(Ruf::oeffnen, 0, ENOSPC);  // reported as lost, before there is room again
  roh->schreiben(sekunde(0));
  jetzt += 6.0;
  roh->schreiben(sekunde(1));
  ASSERT_TRUE(std::filesystem::exists(pfad));
  std::filesystem::remove(pfad);
  EXPECT_TRUE(roh->schliessen().gelungen());
  const std::string verlust =
      "[hallkorb] mikro_roh.wav: entfernt, verschoben oder ersetzt; geschrieben wird weiter in die "
      "alte Datei";
  const Zeilen zeilen = ausgabe.fehlerZeilen();
  ASSERT_EQ(zeilen.size(), 3U);
  EXPECT_EQ(zeilen[0], verlust);
  EXPECT_EQ(zeilen[2], verlust);
}

TEST_F(RohWavTest, APipeThatLosesItsNameIsNotReplacedByAFile) {
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  const int leser = ::open(pfad.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(leser, 0);
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  std::filesystem::remove(pfad);
  jetzt += 6.0;
  roh->schreiben(std::vector<float>{0.5F});
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_TRUE(ordner.namen().empty());
  std::vector<std::uint8_t> da(100);
  EXPECT_EQ(::read(leser, da.data(), da.size()), 44 + 2);
  ::close(leser);
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

TEST_F(RohWavTest, AFolderThatWasMovedKeepsTheWholeFile) {
  const std::string unter = ordner / "unter";
  const std::string dort = ordner / "dort";
  std::filesystem::create_directory(unter);
  pfad = unter + "/mikro_roh.wav";
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  std::filesystem::rename(unter, dort);
  jetzt += 6.0;
  roh->schreiben(sekunde(1));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(ausgabe.fehlerZeilen().size(), 1U);
  std::vector<float> alles = sekunde(0);
  const auto zweite = sekunde(1);
  alles.insert(alles.end(), zweite.begin(), zweite.end());
  EXPECT_EQ(dateiBytes(dort + "/mikro_roh.wav"), WavBytes::datei(alles, 16000));
}

TEST_F(RohWavTest, WhatSomebodyElsePutInItsPlaceIsNotTouched) {
  const std::string fremde = ordner / "fremd";
  for (const bool verweis : {false, true}) {
    const std::size_t bisher = ausgabe.fehlerZeilen().size();
    const auto roh = oeffne();
    std::filesystem::remove(pfad);
    if (verweis) {
      std::filesystem::create_symlink(fremde, pfad);  // leads nowhere yet
    } else {
      legeAn(pfad, {1, 2, 3});
    }
    jetzt += 6.0;
    roh->schreiben(sekunde(0));
    EXPECT_TRUE(roh->schliessen().gelungen());
    EXPECT_EQ(ausgabe.fehlerZeilen().size(), bisher + 1);
    EXPECT_FALSE(std::filesystem::exists(fremde));
    if (!verweis) {
      EXPECT_EQ(dateiBytes(pfad), (Bytes{1, 2, 3}));
    }
    std::filesystem::remove(pfad);
  }
}

TEST_F(RohWavTest, ALinkInItsPlaceIsReplacedAndNotFollowed) {
  const std::string fremde = ordner / "fremd";
  legeAn(fremde, {1, 2, 3});
  std::filesystem::create_symlink(fremde, pfad);
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_FALSE(std::filesystem::is_symlink(pfad));
  EXPECT_EQ(gehalten(), 32000U);
  EXPECT_EQ(dateiBytes(fremde), (Bytes{1, 2, 3}));
}

TEST_F(RohWavTest, ItsPermissionsFollowTheFolders) {
  std::filesystem::permissions(ordner.pfad(), std::filesystem::perms{0700});
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  EXPECT_EQ(std::filesystem::status(pfad).permissions(), std::filesystem::perms{0600});
}

TEST_F(RohWavTest, APathThatCannotBeLookedAtIsTakenForRight) {
  const auto roh = oeffne();
  dateien.scheitere(Ruf::zustand, 0, EACCES, FehlerDateien::IMMER);
  jetzt += 6.0;
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateien.rufe(Ruf::zustand), 3U);
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

}  // namespace
}  // namespace hallkorb
