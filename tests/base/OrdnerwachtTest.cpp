// Nothing is written into a folder that has been exchanged.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "base/Ordnerwacht.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

namespace fs = std::filesystem;

class Ordnerwacht : public testing::Test {
 protected:
  Ordnerwacht() { fs::create_directories(ziel_); }

  void beginne(const std::string& wie) {
    const int griff = ::open(wie.c_str(), O_RDONLY | O_DIRECTORY);
    wacht_.beginne(wie, griff);
    ::close(griff);
  }
  // Error number of creating a file there; 0 if that works.
  int schreibe(const std::string& pfad) {
    const int griff = wacht_.oeffnen(pfad, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (griff < 0) return -griff;
    ::close(griff);
    return 0;
  }

  TempOrdner ordner_;
  const std::string ziel_ = ordner_ / "oben/aufnahme";
  const std::string anderswo_ = ordner_ / "anderswo";
  AusgabeFaenger faenger_;
  FehlerDateien dateien_;
  hallkorb::Ordnerwacht wacht_{dateien_};
};

TEST_F(Ordnerwacht, LetsEverythingPassInTheFolderThatWasChosen) {
  for (const std::string& wie : {ziel_, ziel_ + "/", ziel_ + "//"}) {
    beginne(wie);
    EXPECT_EQ(schreibe(ziel_ + "/a"), 0);
    EXPECT_EQ(wacht_.loeschen(ziel_ + "/a"), 0);
    EXPECT_EQ(schreibe(ordner_ / "b"), 0);
  }
  EXPECT_EQ(faenger_.fehler(), "");
}

TEST_F(Ordnerwacht, ALinkInItsPlaceIsRefusedAndReportedOnce) {
  beginne(ziel_ + "/");
  fs::rename(ziel_, ordner_ / "weg");
  fs::create_directory(anderswo_);
  fs::create_directory_symlink(anderswo_, ziel_);
  EXPECT_EQ(schreibe(ziel_ + "/a"), ESTALE);
  EXPECT_EQ(wacht_.loeschen(ziel_ + "/a"), -ESTALE);
  EXPECT_TRUE(fs::is_empty(anderswo_));
  const std::string zeile = "[hallkorb] Ordner ausgetauscht: " + ziel_ +
                            " fuehrt woandershin, dort wird nichts geschrieben";
  EXPECT_EQ(faenger_.fehlerZeilen(), (std::vector<std::string>{zeile}));
  // It is there again, and goes again.
  fs::remove(ziel_);
  fs::rename(ordner_ / "weg", ziel_);
  EXPECT_EQ(schreibe(ziel_ + "/a"), 0);
  fs::rename(ziel_, ordner_ / "weg");
  fs::create_directory_symlink(anderswo_, ziel_);
  EXPECT_EQ(schreibe(ziel_ + "/a"), ESTALE);
  EXPECT_EQ(faenger_.fehlerZeilen(), (std::vector<std::string>{zeile, zeile}));
}

TEST_F(Ordnerwacht, AFolderNamedFromTheWorkingDirectoryIsWatchedToo) {
  const fs::path vorher = fs::current_path();
  fs::current_path(ordner_.pfad());
  for (const std::string name : {"a/", "a", "./a/"}) {
    fs::create_directory("a");
    beginne(name);
    EXPECT_EQ(schreibe(pfadIn(name, "x")), 0);
    fs::remove_all("a");
    fs::create_directory_symlink("oben", "a");
    EXPECT_EQ(schreibe(pfadIn(name, "x")), ESTALE) << name;
    fs::remove("a");
  }
  EXPECT_EQ(faenger_.fehlerZeilen().front(),
            "[hallkorb] Ordner ausgetauscht: a fuehrt woandershin, dort wird nichts geschrieben");
  fs::current_path(vorher);
}

// Where something is read from does not matter: it is the user's own choice each time.
TEST_F(Ordnerwacht, ReadingIsNeverRefused) {
  beginne(ziel_);
  fs::rename(ziel_, ordner_ / "weg");
  fs::create_directory(anderswo_);
  legeAn(anderswo_ + "/a", {1});
  fs::create_directory_symlink(anderswo_, ziel_);
  const int griff = wacht_.oeffnen(ziel_ + "/a", O_RDONLY, 0);
  EXPECT_GE(griff, 0);
  ::close(griff);
  EXPECT_EQ(schreibe(ziel_ + "/a"), ESTALE);
}

TEST_F(Ordnerwacht, ALinkFurtherUpIsRefused) {
  beginne(ziel_);
  fs::rename(ordner_ / "oben", ordner_ / "weg");
  fs::create_directories(anderswo_ + "/aufnahme");
  fs::create_directory_symlink(anderswo_, ordner_ / "oben");
  EXPECT_EQ(schreibe(ziel_ + "/a"), ESTALE);
  EXPECT_TRUE(fs::is_empty(anderswo_ + "/aufnahme"));
}

TEST_F(Ordnerwacht, ALinkThatWasChosenMayLeadToTheFolderMadeAgain) {
  const std::string link = ordner_ / "link";
  fs::create_directory_symlink(ziel_, link);
  beginne(link);
  EXPECT_EQ(schreibe(link + "/a"), 0);
  fs::remove_all(ziel_);
  fs::create_directory(ordner_ / "dazwischen");  // so that no number is given again
  fs::create_directory(ziel_);
  EXPECT_EQ(schreibe(link + "/a"), 0);
  fs::create_directory(anderswo_);
  fs::remove(link);
  fs::create_directory_symlink(anderswo_, link);
  EXPECT_EQ(schreibe(link + "/a"), ESTALE);
}

TEST_F(Ordnerwacht, AnothersFolderIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  beginne(ziel_);
  fs::rename(ziel_, ordner_ / "weg");
  fs::create_directory(ziel_);
  EXPECT_EQ(schreibe(ziel_ + "/a"), 0);
  ASSERT_EQ(::chown(ziel_.c_str(), 12345, 12345), 0);
  EXPECT_EQ(schreibe(ziel_ + "/b"), ESTALE);
  // What had been another's from the beginning is what the user chose.
  beginne(ziel_);
  EXPECT_EQ(schreibe(ziel_ + "/b"), 0);
}

TEST_F(Ordnerwacht, WhatCannotBeFoundOutIsNoReasonToRefuse) {
  beginne(ziel_);
  dateien_.scheitere(FehlerDateien::Ruf::zustand, 0, EIO);
  EXPECT_EQ(schreibe(ziel_ + "/a"), 0);
  fs::remove_all(ziel_);
  EXPECT_EQ(schreibe(ziel_ + "/a"), ENOENT);
  EXPECT_EQ(faenger_.fehler(), "");
}

}  // namespace
}  // namespace hallkorb
