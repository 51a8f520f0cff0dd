// The raw microphone of a recording whose file comes late, is full, or is a pipe.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/Rohspur.h"
#include "tests/audiofiles/RohWavTest.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;
using Zeilen = std::vector<std::string>;

class RohspurTest : public RohWavTest {
 protected:
  // What a pipe's reader gets.
  std::vector<std::uint8_t> liesRohr(int leser) {
    std::vector<std::uint8_t> bytes(1U << 20U);
    const ssize_t n = ::read(leser, bytes.data(), bytes.size());
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    return bytes;
  }

  const std::string fehlt = "[hallkorb] mikro_roh.wav kann nicht angelegt werden: " + pfad;
};

TEST_F(RohspurTest, IsTheFileOfAWholeRecording) {
  Rohspur spur(pfad, RATE, dateien);
  spur.schreibe(sekunde(0));
  spur.schliesse();
  spur.schreibe(sekunde(1));
  spur.schliesse();
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

TEST_F(RohspurTest, AFolderInItsPlaceDelaysIt) {
  std::filesystem::create_directory(pfad);
  Rohspur spur(pfad, RATE, dateien);
  EXPECT_EQ(ausgabe.fehlerZeilen(), (Zeilen{fehlt}));
  spur.schreibe(sekunde(0));
  std::filesystem::remove(pfad);
  spur.schreibe(sekunde(1));
  spur.schliesse();
  std::vector<float> alles(RATE, 0.0F);
  const auto zweite = sekunde(1);
  alles.insert(alles.end(), zweite.begin(), zweite.end());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
  EXPECT_EQ(ausgabe.fehlerZeilen().size(), 2U);
}

TEST_F(RohspurTest, WhatItsHeaderCouldNotDeclareIsNotBegunAnyMore) {
  const std::vector<float> lang(std::size_t{1} << 23U);
  const std::size_t hoechstens = RohWav::MAX_BYTES / 2;
  std::filesystem::create_directory(pfad);
  for (const std::size_t zuviel : {0U, 1U}) {
    SCOPED_TRACE(zuviel);
    Rohspur spur(pfad, RATE, dateien);
    std::size_t da = 0;
    for (; da + lang.size() <= hoechstens - RATE; da += lang.size())
      spur.schreibe(lang);
    spur.schreibe(std::span(lang).first(hoechstens - RATE - da));
    std::filesystem::remove(pfad);
    dateien.nurDasEnde(std::size_t{1} << 16U);
    spur.schreibe(std::span(lang).first(RATE + zuviel));
    spur.schreibe(std::span(lang).first(1));
    EXPECT_EQ(std::filesystem::exists(pfad), zuviel == 0);
    spur.schliesse();
    if (zuviel == 0) {
      EXPECT_EQ(std::filesystem::file_size(pfad), 44U + RohWav::MAX_BYTES - 1);
      EXPECT_EQ(erklaert(), RohWav::MAX_BYTES - 1);
    }
    std::filesystem::remove(pfad);
    std::filesystem::create_directory(pfad);
  }
  const auto zeilen = ausgabe.fehlerZeilen();
  ASSERT_EQ(zeilen.size(), 5U);
  EXPECT_EQ(zeilen[2],
            "[hallkorb] mikro_roh.wav: mit 2 GiB voll und abgeschlossen; die Aufnahme geht ohne "
            "sie weiter");
  EXPECT_EQ(zeilen[3], fehlt);
  EXPECT_EQ(zeilen[4],
            "[hallkorb] mikro_roh.wav: nach 2 GiB nicht mehr anzulegen; die Aufnahme geht ohne "
            "sie weiter");
}

// A reader that came later would take what it gets for the beginning.
TEST_F(RohspurTest, APipeWithoutAReaderIsLeftOutForGood) {
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  Rohspur spur(pfad, RATE, dateien);
  for (int s = 0; s < 3; ++s)
    spur.schreibe(sekunde(s));
  const int leser = ::open(pfad.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(leser, 0);
  const std::size_t vorher = dateien.rufe();
  for (int s = 3; s < 6; ++s)
    spur.schreibe(sekunde(s));
  spur.schliesse();
  EXPECT_TRUE(liesRohr(leser).empty());
  ::close(leser);
  EXPECT_EQ(dateien.rufe(), vorher);
  EXPECT_EQ(ausgabe.fehlerZeilen(), (Zeilen{fehlt}));
}

// What comes late for another reason is honest about it: nothing in a pipe reads as silence.
TEST_F(RohspurTest, APipeThatCouldNotBeOpenedAtOnceGetsNoSilence) {
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  const int leser = ::open(pfad.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(leser, 0);
  dateien.scheitere(Ruf::oeffnen, 0, EMFILE);
  Rohspur spur(pfad, RATE, dateien);
  spur.schreibe(std::vector<float>(RATE - 1));
  spur.schreibe(std::vector<float>{0.5F});
  spur.schliesse();
  EXPECT_EQ(liesRohr(leser).size(), 44U + 2U);
  ::close(leser);
  EXPECT_EQ(ausgabe.fehlerZeilen(),
            (Zeilen{fehlt,
                    "[hallkorb] mikro_roh.wav: Schreiben geht wieder, 15999 Samples "
                    "fehlen"}));
}

}  // namespace
}  // namespace hallkorb
