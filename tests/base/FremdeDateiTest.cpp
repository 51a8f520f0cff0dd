// Files, pipes and links that somebody else has put where a recording's file is to be.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "base/Ersatzdatei.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using Ruf = FehlerDateien::Ruf;

const Bytes ALT{9, 9, 9};
const Bytes NEU{1, 2, 3, 4, 5};

// What is at `fremd` belongs to somebody else; nothing can be stored for the time being.
class AndereDateien final : public FehlerDateien {
 public:
  std::string fremd;

  int zustand(const std::string& pfad, Zustand& ergebnis) override {
    const int nummer = FehlerDateien::zustand(pfad, ergebnis);
    if (pfad == fremd) ergebnis.eigen = false;
    return nummer;
  }
  int oeffnen(const std::string& pfad, int flags, mode_t rechte) override {
    if (pfad.starts_with(P_tmpdir "/.hallkorb-")) return -EROFS;
    return FehlerDateien::oeffnen(pfad, flags, rechte);
  }
};

class FremdeDateiTest : public testing::Test {
 protected:
  FremdeDateiTest() {
    fs::permissions(ordner.pfad(), fs::perms{0700});
    legeAn(pfad, ALT);
    ::chmod(pfad.c_str(), 0666);
  }
  Ergebnis schreibe(Verweise verweise = Verweise::ersetzen) {
    return ersetzeDatei(pfad, NEU, dateien, verweise);
  }

  TempOrdner ordner;
  const std::string pfad = ordner / "a";
  AndereDateien dateien;
};

TEST_F(FremdeDateiTest, WhatIsOverwrittenWhereItIsIsStoredNowhereBefore) {
  for (const Ruf ruf : {Ruf::oeffnen, Ruf::umbenennen}) {
    legeAn(pfad, ALT);
    dateien.scheitere(ruf, 0, EACCES);
    EXPECT_TRUE(schreibe().gelungen());
    EXPECT_EQ(dateiBytes(pfad), NEU);
    EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
  }
}

TEST_F(FremdeDateiTest, PermissionsAreKeptOnlyOfTheUsersOwnFile) {
  EXPECT_TRUE(schreibe().gelungen());
  EXPECT_EQ(fs::status(pfad).permissions(), fs::perms{0666});
  dateien.fremd = pfad;
  EXPECT_TRUE(schreibe().gelungen());
  EXPECT_EQ(fs::status(pfad).permissions(), fs::perms{0600});
  ::chmod(pfad.c_str(), 0666);
  EXPECT_TRUE(schreibe(Verweise::folgen).gelungen());  // a result goes where the user wants it
  EXPECT_EQ(fs::status(pfad).permissions(), fs::perms{0666});
}

TEST_F(FremdeDateiTest, OneThatItsFolderProtectsGetsNothing) {
  dateien.fremd = pfad;
  dateien.scheitere(Ruf::umbenennen, 0, EPERM);
  const Ergebnis ergebnis = schreibe();
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EPERM);
  EXPECT_EQ(dateiBytes(pfad), ALT);
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
}

// Nobody but the folder's owner can have put it there.
TEST_F(FremdeDateiTest, OneInAFolderThatAllowsNoNewFileIsWritten) {
  dateien.fremd = pfad;
  dateien.scheitere(Ruf::oeffnen, 0, EACCES);
  EXPECT_TRUE(schreibe().gelungen());
  EXPECT_EQ(dateiBytes(pfad), NEU);
}

TEST_F(FremdeDateiTest, AnothersPipeIsReplaced) {
  fs::remove(pfad);
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0666), 0);
  dateien.fremd = pfad;
  EXPECT_TRUE(schreibe().gelungen());
  ASSERT_TRUE(fs::is_regular_file(pfad));
  EXPECT_EQ(dateiBytes(pfad), NEU);
}

// Whatever the recorder has just found out, the link comes right after it.
TEST_F(FremdeDateiTest, ALinkIsNotFollowedWheneverItAppears) {
  const std::string geheim = ordner / "geheim";
  for (const bool ordnerVoll : {false, true}) {
    for (const bool davor : {false, true}) {
      for (std::size_t n = 0;; ++n) {
        SCOPED_TRACE(testing::Message() << ordnerVoll << davor << n);
        legeAn(geheim, ALT);
        fs::remove(pfad);
        if (davor) legeAn(pfad, ALT);
        AndereDateien versuch;
        if (ordnerVoll) versuch.scheitere(Ruf::oeffnen, 0, EACCES);
        versuch.vorher = [&](Ruf) {
          if (versuch.rufe() != n) return;
          fs::remove(pfad);
          fs::create_symlink(geheim, pfad);
        };
        static_cast<void>(ersetzeDatei(pfad, NEU, versuch, Verweise::ersetzen));
        ASSERT_EQ(dateiBytes(geheim), ALT);
        if (versuch.rufe() <= n) break;
      }
    }
  }
}

}  // namespace
}  // namespace hallkorb
