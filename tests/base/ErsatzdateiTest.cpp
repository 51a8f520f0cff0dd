// A file made piece by piece, under all the names that a target may have.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/Ersatzdatei.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Ruf = FehlerDateien::Ruf;

const Bytes ALT{9, 9, 9};
const Bytes NEU{1, 2, 3, 4, 5};

Ergebnis schreibeInStuecken(const std::string& pfad, Dateien& dateien = posixDateien()) {
  Ersatzdatei datei(pfad, dateien);
  datei.schreibe(Bytes{0, 0, 3});
  datei.schreibe(Bytes{4, 5});
  datei.schreibeAn(Bytes{1, 2}, 0);
  return datei.vollende();
}

TEST(ErsatzdateiTest, AppearsOnlyWhenItIsComplete) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  ASSERT_TRUE(ersetzeDatei(pfad, ALT).gelungen());
  ASSERT_EQ(::chmod(pfad.c_str(), 0640), 0);
  Ersatzdatei datei(pfad);
  datei.schreibe(NEU);
  EXPECT_EQ(liesDatei(pfad), ALT);
  EXPECT_TRUE(datei.vollende().gelungen());
  EXPECT_EQ(liesDatei(pfad), NEU);
  EXPECT_EQ(std::filesystem::status(pfad).permissions(), std::filesystem::perms{0640});
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
}

TEST(ErsatzdateiTest, LeavesNothingBehindUnlessItIsCompleted) {
  const TempOrdner ordner;
  FehlerDateien dateien;
  {
    Ersatzdatei(ordner / "a", dateien).schreibe(NEU);
  }
  EXPECT_TRUE(ordner.namen().empty());
  EXPECT_EQ(dateien.rufe(Ruf::schliessen), 1U);
}

TEST(ErsatzdateiTest, ReplacesALinkIfNobodyIsToDecideByIt) {
  const TempOrdner ordner;
  for (const bool gesperrt : {false, true}) {
    ASSERT_TRUE(ersetzeDatei(ordner / "fremd", ALT).gelungen());
    std::filesystem::remove(ordner / "a");
    std::filesystem::create_symlink(ordner / "fremd", ordner / "a");
    FehlerDateien dateien;
    if (gesperrt) dateien.scheitere(Ruf::oeffnen, 0, EACCES);
    Ersatzdatei datei(ordner / "a", dateien, Unersetzbar::lassen, Verweise::ersetzen);
    datei.schreibe(NEU);
    EXPECT_EQ(datei.vollende().gelungen(), !gesperrt);
    EXPECT_EQ(liesDatei(ordner / "fremd"), ALT);
    EXPECT_EQ(liesDatei(ordner / "a"), gesperrt ? ALT : NEU);
    EXPECT_EQ(ordner.namen(), (std::vector<std::string>{"a", "fremd"}));
  }
}

TEST(ErsatzdateiTest, FollowsALinkAndKeepsIt) {
  const TempOrdner ordner;
  std::filesystem::create_symlink("ziel", ordner / "verweis");
  EXPECT_TRUE(schreibeInStuecken(ordner / "verweis").gelungen());
  EXPECT_TRUE(std::filesystem::is_symlink(ordner / "verweis"));
  EXPECT_EQ(liesDatei(ordner / "ziel"), NEU);
}

TEST(ErsatzdateiTest, APipeGetsTheBytesWhenTheyAreComplete) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "rohr";
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  std::optional<Bytes> gelesen;
  std::thread leser([&] { gelesen = liesDatei(pfad); });
  EXPECT_TRUE(schreibeInStuecken(pfad).gelungen());
  leser.join();
  EXPECT_EQ(gelesen, NEU);
}

TEST(ErsatzdateiTest, AnOpenFileNamedByItsNumberIsWrittenTo) {
  const TempOrdner ordner;
  const int handle = ::open((ordner / "a").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(schreibeInStuecken("/dev/fd/" + std::to_string(handle)).gelungen());
  ::close(handle);
  EXPECT_EQ(liesDatei(ordner / "a"), NEU);
}

TEST(ErsatzdateiTest, AFullDeviceIsAnError) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  const Ergebnis ergebnis = schreibeInStuecken("/dev/full");
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, ENOSPC);
}

TEST(ErsatzdateiTest, AFailureLeavesNothingBehindNotEvenUntilItsObjectGoes) {
  const TempOrdner ordner;
  FehlerDateien dateien;
  dateien.scheitere(Ruf::umbenennen, 0, EIO);
  Ersatzdatei datei(ordner / "a", dateien);
  datei.schreibe(NEU);
  EXPECT_TRUE(datei.vollende().gescheitert());
  EXPECT_TRUE(ordner.namen().empty());
}

TEST(ErsatzdateiTest, WhatCannotBeReadAgainHasNotReachedTheDevice) {
  // The file that it is stored in is closed twice before the device is.
  for (const auto& [ruf, n] : {std::pair{Ruf::lesen, 0U}, std::pair{Ruf::schliessen, 0U},
                               std::pair{Ruf::schliessen, 2U}}) {
    FehlerDateien dateien;
    dateien.scheitere(ruf, n, EIO);
    const Ergebnis ergebnis = schreibeInStuecken("/dev/null", dateien);
    ASSERT_TRUE(ergebnis.gescheitert());
    EXPECT_EQ(ergebnis.fehler().code, EIO);
    EXPECT_EQ(dateien.rufe(Ruf::loeschen), 1U);  // nor is anything left
  }
}

TEST(ErsatzdateiTest, TheFirstFailureIsReportedAndTheEarlierFileStays) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  ASSERT_TRUE(ersetzeDatei(pfad, ALT).gelungen());
  for (const Ruf ruf : {Ruf::verweis, Ruf::zustand, Ruf::oeffnen, Ruf::schreiben, Ruf::schreibenAn,
                        Ruf::schliessen, Ruf::umbenennen}) {
    FehlerDateien dateien;
    dateien.scheitere(ruf, 0, EIO);
    const Ergebnis ergebnis = schreibeInStuecken(pfad, dateien);
    ASSERT_TRUE(ergebnis.gescheitert());
    EXPECT_EQ(ergebnis.fehler().code, EIO);
    EXPECT_EQ(ergebnis.fehler().description.rfind("Schreiben nach " + pfad, 0), 0U);
    EXPECT_EQ(liesDatei(pfad), ALT);
    EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
  }
}

// Whose file it is.

TEST(ErsatzdateiTest, ALinkThatMayNotDecideIsReplacedItself) {
  const TempOrdner ordner;
  ASSERT_TRUE(ersetzeDatei(ordner / "fremd", ALT).gelungen());
  for (const std::string& ziel : {ordner / "fremd", ordner / "fehlt", std::string("/dev/null")}) {
    std::filesystem::create_symlink(ziel, ordner / "a");
    EXPECT_TRUE(ersetzeDatei(ordner / "a", NEU, posixDateien(), Verweise::ersetzen).gelungen());
    EXPECT_FALSE(std::filesystem::is_symlink(ordner / "a"));
    EXPECT_EQ(liesDatei(ordner / "a"), NEU);
    std::filesystem::remove(ordner / "a");
  }
  EXPECT_EQ(liesDatei(ordner / "fremd"), ALT);
  EXPECT_FALSE(std::filesystem::exists(ordner / "fehlt"));
}

TEST(ErsatzdateiTest, OthersMayDoWithANewFileWhatTheyMayDoWithItsFolder) {
  const mode_t maske = ::umask(0);
  for (const auto& [vomOrdner, vonDerDatei] :
       {std::pair{0700, 0600}, std::pair{0750, 0640}, std::pair{0711, 0600}, std::pair{0755, 0644},
        std::pair{01777, 0666}}) {
    const TempOrdner ordner;
    ASSERT_EQ(::chmod(ordner.pfad().c_str(), static_cast<mode_t>(vomOrdner)), 0);
    ASSERT_TRUE(ersetzeDatei(ordner / "a", NEU).gelungen());
    EXPECT_EQ(std::filesystem::status(ordner / "a").permissions(),
              std::filesystem::perms(vonDerDatei));
  }
  const TempOrdner ordner;
  ASSERT_EQ(::chmod(ordner.pfad().c_str(), 0777), 0);
  ASSERT_TRUE(erzeugeOrdner(ordner / "neu/unter").gelungen());
  for (const char* name : {"neu", "neu/unter"})
    EXPECT_EQ(std::filesystem::status(ordner / name).permissions(), std::filesystem::perms{0700});
  ::umask(maske);
}

// A folder that allows no new file.

TEST(ErsatzdateiTest, AFileInAFolderThatMustStayAsItIsIsOverwrittenWhereItIs) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  for (const Ruf ruf : {Ruf::oeffnen, Ruf::umbenennen}) {
    for (const int nummer : {EACCES, EPERM, EROFS}) {
      for (const bool stueckweise : {true, false}) {
        ASSERT_TRUE(ersetzeDatei(pfad, Bytes(50, 9)).gelungen());
        Dateien::Zustand vorher;
        ASSERT_EQ(posixDateien().zustand(pfad, vorher), 0);
        FehlerDateien dateien;
        dateien.scheitere(ruf, 0, nummer);
        EXPECT_TRUE(
            (stueckweise ? schreibeInStuecken(pfad, dateien) : ersetzeDatei(pfad, NEU, dateien))
                .gelungen());
        EXPECT_EQ(liesDatei(pfad), NEU);
        Dateien::Zustand nachher;
        ASSERT_EQ(posixDateien().zustand(pfad, nachher), 0);
        EXPECT_TRUE(nachher.selbeDatei(vorher));
        EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
      }
    }
  }
}

TEST(ErsatzdateiTest, UnlessItsContentIsKeptByAnotherNameOfIt) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  ASSERT_TRUE(ersetzeDatei(pfad, ALT).gelungen());
  std::filesystem::create_hard_link(pfad, ordner / "b");
  for (const Ruf ruf : {Ruf::oeffnen, Ruf::umbenennen}) {
    for (const int nummer : {EACCES, EPERM, EROFS}) {
      FehlerDateien dateien;
      dateien.scheitere(ruf, 0, nummer);
      Ersatzdatei datei(pfad, dateien, Unersetzbar::lassen);
      datei.schreibe(NEU);
      const Ergebnis ergebnis = datei.vollende();
      ASSERT_TRUE(ergebnis.gescheitert());
      EXPECT_EQ(ergebnis.fehler().code, nummer);
      EXPECT_EQ(liesDatei(pfad), ALT);
      EXPECT_EQ(liesDatei(ordner / "b"), ALT);
      EXPECT_EQ(ordner.namen(), (std::vector<std::string>{"a", "b"}));
    }
  }
}

TEST(ErsatzdateiTest, WithoutAFileThereTheFoldersRefusalIsTheError) {
  const TempOrdner ordner;
  FehlerDateien dateien;
  dateien.scheitere(Ruf::oeffnen, 0, EACCES);
  const Ergebnis ergebnis = schreibeInStuecken(ordner / "a", dateien);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EACCES);
  EXPECT_TRUE(ordner.namen().empty());
}

TEST(ErsatzdateiTest, AFileThatMayNotBeWrittenEitherStays) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  ASSERT_TRUE(ersetzeDatei(pfad, ALT).gelungen());
  // The attempt at the beginning, and, after what is kept aside, the one at the end.
  for (const std::size_t versuch : {1U, 3U}) {
    FehlerDateien dateien;
    dateien.scheitere(Ruf::oeffnen, 0, EROFS);
    dateien.scheitere(Ruf::oeffnen, versuch, EROFS);
    const Ergebnis ergebnis = schreibeInStuecken(pfad, dateien);
    ASSERT_TRUE(ergebnis.gescheitert());
    EXPECT_EQ(ergebnis.fehler().code, EROFS);
    EXPECT_EQ(dateien.rufe(Ruf::oeffnen), versuch + 1);
    EXPECT_EQ(liesDatei(pfad), ALT);
  }
}

TEST(ErsatzdateiTest, WhatCannotBeWrittenIsKnownFromTheBeginning) {
  const TempOrdner ordner;
  ASSERT_TRUE(ersetzeDatei(ordner / "a", ALT).gelungen());
  std::filesystem::create_directory(ordner / "ordner");
  const int lesend = ::open((ordner / "a").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(lesend, 0);
  const std::vector<std::pair<std::string, int>> faelle{
      {ordner / "fehlt/b", ENOENT},
      {ordner / "a/b", ENOTDIR},
      {ordner / "ordner", EISDIR},
      {"/dev/fd/" + std::to_string(lesend), EBADF}};
  for (const auto& [pfad, nummer] : faelle) {
    const Ersatzdatei datei(pfad);
    ASSERT_TRUE(datei.bisher().gescheitert()) << pfad;
    EXPECT_EQ(datei.bisher().fehler().code, nummer) << pfad;
  }
  ::close(lesend);
  EXPECT_TRUE(Ersatzdatei(ordner / "a").bisher().gelungen());
  EXPECT_EQ(liesDatei(ordner / "a"), ALT);
  EXPECT_EQ(ordner.namen(), (std::vector<std::string>{"a", "ordner"}));
}

// The real thing. Nothing is forbidden to root, who therefore becomes somebody else for it.
TEST(ErsatzdateiTest, AFolderWithoutPermissionToWriteKeepsItsFiles) {
  constexpr uid_t NIEMAND = 65534;
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  ASSERT_TRUE(ersetzeDatei(pfad, Bytes(50, 9)).gelungen());
  const bool root = ::geteuid() == 0;
  if (root) {
    ASSERT_EQ(::chown(pfad.c_str(), NIEMAND, NIEMAND), 0);
  }
  ASSERT_EQ(::chmod(ordner.pfad().c_str(), 0555), 0);
  if (root) {
    ASSERT_EQ(::seteuid(NIEMAND), 0);
  }
  const Ergebnis vorhanden = schreibeInStuecken(pfad);
  const Ergebnis neu = schreibeInStuecken(ordner / "b");
  if (root) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  ASSERT_EQ(::chmod(ordner.pfad().c_str(), 0755), 0);
  EXPECT_TRUE(vorhanden.gelungen());
  EXPECT_EQ(liesDatei(pfad), NEU);
  ASSERT_TRUE(neu.gescheitert());
  EXPECT_EQ(neu.fehler().code, EACCES);
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
}

}  // namespace
}  // namespace hallkorb
