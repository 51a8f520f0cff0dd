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
  {
    Ersatzdatei(ordner / "a").schreibe(NEU);
  }
  EXPECT_TRUE(ordner.namen().empty());
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

TEST(ErsatzdateiTest, TheFirstFailureIsReportedAndTheEarlierFileStays) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a";
  ASSERT_TRUE(ersetzeDatei(pfad, ALT).gelungen());
  for (const Ruf ruf : {Ruf::verweis, Ruf::zustand, Ruf::oeffnen, Ruf::schreiben, Ruf::schreibenAn,
                        Ruf::schliessen, Ruf::umbenennen}) {
    FehlerDateien dateien;
    dateien.scheitere(ruf, 0, EACCES);
    const Ergebnis ergebnis = schreibeInStuecken(pfad, dateien);
    ASSERT_TRUE(ergebnis.gescheitert());
    EXPECT_EQ(ergebnis.fehler().code, EACCES);
    EXPECT_EQ(ergebnis.fehler().description.rfind("Schreiben nach " + pfad, 0), 0U);
    EXPECT_EQ(liesDatei(pfad), ALT);
    EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a"});
  }
}

}  // namespace
}  // namespace hallkorb
