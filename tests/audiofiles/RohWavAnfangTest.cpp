// The continuous file that is created late, or in the place of somebody else's.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <memory>
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

const Bytes ALT{1, 2, 3};

class RohWavAnfangTest : public RohWavTest {
 protected:
  std::unique_ptr<RohWav> oeffneNach(std::int64_t davor) {
    return RohWav::oeffne(pfad, RATE, dateien, [this] { return jetzt; }, davor);
  }
};

TEST_F(RohWavAnfangTest, CreatedLateItHasSilenceBeforeItsFirstSample) {
  const auto roh = oeffneNach(RATE);
  ASSERT_TRUE(roh);
  EXPECT_EQ(erklaert(), 0U);
  EXPECT_EQ(ausgabe.fehlerZeilen(), (Zeilen{"[hallkorb] mikro_roh.wav: Schreiben geht wieder, "
                                            "16000 Samples sind durch Stille ersetzt"}));
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  std::vector<float> alles(RATE, 0.0F);
  const auto erste = sekunde(0);
  alles.insert(alles.end(), erste.begin(), erste.end());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
}

TEST_F(RohWavAnfangTest, WhatIsLostBesidesIsReportedWithIt) {
  dateien.scheitere(Ruf::schreibenAn, 0, ENOSPC, 2);
  const auto roh = oeffneNach(RATE);
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
  roh->schreiben(sekunde(1));
  EXPECT_EQ(ausgabe.fehlerZeilen(), (Zeilen{"[hallkorb] mikro_roh.wav: Schreiben geht wieder, "
                                            "32000 Samples sind durch Stille ersetzt"}));
}

// A kept copy that shares its bytes: an original that a repair keeps, a backup of hard links.
TEST_F(RohWavAnfangTest, AFileThatHasAnotherNameIsReplacedAndNotCut) {
  const std::string kopie = ordner / "kopie";
  legeAn(pfad, ALT);
  std::filesystem::create_hard_link(pfad, kopie);
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_EQ(dateiBytes(kopie), ALT);
}

TEST_F(RohWavAnfangTest, AFileOfItsOwnIsEmptiedAndKeepsItsPermissions) {
  legeAn(pfad, Bytes(100'000, 7));
  ::chmod(pfad.c_str(), 0640);
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_EQ(std::filesystem::status(pfad).permissions(), std::filesystem::perms{0640});
}

// Whose it is must be known, and it must be empty.
TEST_F(RohWavAnfangTest, WhatCannotBeLookedAtOrEmptiedIsNotWritten) {
  for (const Ruf ruf : {Ruf::zustandOffen, Ruf::laengeSetzen}) {
    legeAn(pfad, ALT);
    FehlerDateien versuch;
    versuch.scheitere(ruf, 0, EIO);
    EXPECT_EQ(RohWav::oeffne(pfad, RATE, versuch), nullptr);
    EXPECT_EQ(versuch.rufe(Ruf::schliessen), 1U);
    EXPECT_EQ(dateiBytes(pfad), ALT);
  }
}

// The first file that is opened was put there by somebody else.
class FremderAnfang final : public FehlerDateien {
 public:
  int zustandOffen(int datei, Zustand& ergebnis) override {
    const int nummer = FehlerDateien::zustandOffen(datei, ergebnis);
    if (rufe(Ruf::zustandOffen) == 1) ergebnis.eigen = false;
    return nummer;
  }
};

class RohWavFremdTest : public RohWavTest {
 protected:
  RohWavFremdTest() {
    std::filesystem::permissions(ordner.pfad(), std::filesystem::perms{0700});
    legeAn(pfad, ALT);
    ::chmod(pfad.c_str(), 0666);
    std::filesystem::create_hard_link(pfad, andererName);  // by which somebody reads along
  }
  std::unique_ptr<RohWav> oeffneFremd() { return RohWav::oeffne(pfad, RATE, fremd); }

  FremderAnfang fremd;
  const std::string andererName = ordner / "anderer";
};

TEST_F(RohWavFremdTest, AnothersFileIsReplaced) {
  const auto roh = oeffneFremd();
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_EQ(std::filesystem::status(pfad).permissions(), std::filesystem::perms{0600});
  EXPECT_EQ(dateiBytes(andererName), ALT);
}

TEST_F(RohWavFremdTest, OneThatItsFolderProtectsGetsNothing) {
  fremd.scheitere(Ruf::loeschen, 0, EPERM);
  EXPECT_EQ(oeffneFremd(), nullptr);
  EXPECT_EQ(dateiBytes(andererName), ALT);
  EXPECT_EQ(fremd.rufe(Ruf::schliessen), 1U);
}

TEST_F(RohWavFremdTest, OneInAFolderThatAllowsNoChangeIsWritten) {
  fremd.scheitere(Ruf::loeschen, 0, EACCES);
  const auto roh = oeffneFremd();
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(andererName), WavBytes::datei(sekunde(0), 16000));
}

}  // namespace
}  // namespace hallkorb
