// A folder that was removed and made again belongs to one recording, too.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Ordnerwacht.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

namespace fs = std::filesystem;
using Ruf = FehlerDateien::Ruf;

// Everything there belongs to somebody else.
class FremdeDateien final : public FehlerDateien {
 public:
  int zustand(const std::string& pfad, Zustand& ergebnis) override {
    const int nummer = FehlerDateien::zustand(pfad, ergebnis);
    ergebnis.eigen = false;
    return nummer;
  }
};

class OrdnersperreTest : public testing::Test {
 protected:
  OrdnersperreTest() {
    fs::create_directory(ziel_);
    griff_ = ::open(ziel_.c_str(), O_RDONLY | O_DIRECTORY);
    wacht_->beginne(ziel_, griff_);
  }
  void TearDown() override { ::close(griff_); }

  void macheNeu() const {
    fs::remove_all(ziel_);
    fs::create_directory(ziel_);
  }
  // Error number of creating a file there; 0 if that works.
  int schreibe() {
    const int griff = wacht_->oeffnen(ziel_ + "/a", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (griff < 0) return -griff;
    ::close(griff);
    return 0;
  }
  // Another recording begins; nullopt if the folder is locked.
  [[nodiscard]] std::optional<int> andere() const {
    const int griff = ::open(ziel_.c_str(), O_RDONLY | O_DIRECTORY);
    if (::flock(griff, LOCK_EX | LOCK_NB) == 0) return griff;
    ::close(griff);
    return std::nullopt;
  }

  TempOrdner ordner_;
  const std::string ziel_ = ordner_ / "aufnahme";
  const std::string zeile_ = "[hallkorb] Ordner ausgetauscht: " + ziel_ +
                             " gehoert einer anderen Aufnahme, dort wird nichts geschrieben";
  int griff_ = -1;
  AusgabeFaenger faenger_;
  FehlerDateien dateien_;
  std::unique_ptr<Ordnerwacht> wacht_ = std::make_unique<Ordnerwacht>(dateien_);
};

TEST_F(OrdnersperreTest, AFolderMadeAgainIsLockedUntilTheEnd) {
  for (int mal = 0; mal < 3; ++mal) {
    macheNeu();
    EXPECT_EQ(schreibe(), 0);
    EXPECT_FALSE(andere());
    EXPECT_EQ(schreibe(), 0);
  }
  EXPECT_EQ(dateien_.rufe(Ruf::sperren), 3U);  // once for each folder
  wacht_.reset();
  const auto griff = andere();
  ASSERT_TRUE(griff);
  ::close(*griff);
  // No folder but the last one is held open.
  EXPECT_EQ(dateien_.rufe(Ruf::schliessen), 3U);
  EXPECT_EQ(faenger_.fehler(), "");
}

TEST_F(OrdnersperreTest, AnotherRecordingsFolderStaysItsOwnAfterItsEnd) {
  macheNeu();
  const auto griff = andere();
  ASSERT_TRUE(griff);
  EXPECT_EQ(schreibe(), ESTALE);
  EXPECT_EQ(wacht_->loeschen(ziel_ + "/a"), -ESTALE);
  ::close(*griff);
  EXPECT_EQ(schreibe(), ESTALE);
  EXPECT_EQ(faenger_.fehlerZeilen(), std::vector<std::string>{zeile_});
  macheNeu();
  EXPECT_EQ(schreibe(), 0);
  EXPECT_FALSE(andere());
}

TEST_F(OrdnersperreTest, AFolderThatCouldNotBeOpenedAtFirstIsLockedLater) {
  Ordnerwacht spaet(dateien_);
  spaet.beginne(ziel_, -1);
  EXPECT_EQ(spaet.loeschen(ziel_ + "/fehlt"), -ENOENT);
  EXPECT_FALSE(andere());
}

TEST_F(OrdnersperreTest, WhatCannotBeOpenedOrLockedIsUsedAllTheSame) {
  for (const auto& [ruf, nummer] :
       {std::pair{Ruf::oeffnen, EMFILE}, std::pair{Ruf::sperren, ENOLCK},
        std::pair{Ruf::zustandOffen, EIO}}) {
    macheNeu();
    dateien_.scheitere(ruf, 0, nummer);
    EXPECT_EQ(schreibe(), 0);
  }
  EXPECT_EQ(faenger_.fehler(), "");
}

TEST_F(OrdnersperreTest, AFolderThatTellsNothingOfItselfIsNotTakenForAnothers) {
  ASSERT_EQ(::flock(griff_, LOCK_EX | LOCK_NB), 0);  // as the recording does
  for (const std::size_t fehler : {1U, 2U}) {
    FehlerDateien stumm;
    stumm.scheitere(0, EIO, fehler);
    Ordnerwacht wacht(stumm);
    wacht.beginne(ziel_, griff_);
    EXPECT_EQ(wacht.loeschen(ziel_ + "/fehlt"), -ENOENT);
  }
  EXPECT_EQ(faenger_.fehler(), "");
}

// Such a folder can be written to and not be opened.
TEST_F(OrdnersperreTest, AnothersFolderThatWasChosenNeedNotBeOpened) {
  FremdeDateien fremde;
  fremde.scheitere(Ruf::oeffnen, 0, EACCES);
  Ordnerwacht wacht(fremde);
  wacht.beginne(ziel_, -1);
  EXPECT_EQ(wacht.loeschen(ziel_ + "/fehlt"), -ENOENT);
  EXPECT_EQ(faenger_.fehler(), "");
}

}  // namespace
}  // namespace hallkorb
