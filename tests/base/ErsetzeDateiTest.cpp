// A file that is written gets its whole content or keeps its old one, whatever it is and whatever
// fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/Dateien.h"
#include "base/Ersatzdatei.h"
#include "tests/base/DateienTest.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;

class ErsetzeDatei : public testing::Test {
 protected:
  TempOrdner ordner;
  std::string pfad = ordner / "a.wav";
  const Bytes alt = zaehlung(100);
  const Bytes neu = zaehlung(70000);
  FehlerDateien dateien;
};

TEST_F(ErsetzeDatei, CreatesAndReplaces) {
  EXPECT_TRUE(ersetzeDatei(pfad, alt).gelungen());
  EXPECT_EQ(dateiBytes(pfad), alt);
  EXPECT_TRUE(ersetzeDatei(pfad, neu).gelungen());
  EXPECT_EQ(dateiBytes(pfad), neu);
  EXPECT_TRUE(ersetzeDatei(pfad, {}).gelungen());
  EXPECT_EQ(dateiBytes(pfad), Bytes{});
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"});
}

TEST_F(ErsetzeDatei, WorksInTheWorkingDirectory) {
  const ArbeitsOrdner hier(ordner.pfad());
  EXPECT_TRUE(ersetzeDatei("b.wav", neu).gelungen());
  EXPECT_EQ(dateiBytes(ordner / "b.wav"), neu);
}

TEST_F(ErsetzeDatei, ANameAsLongAsTheFolderAllowsCanBeWritten) {
  const std::string lang = ordner / std::string(255, 'x');
  EXPECT_TRUE(ersetzeDatei(lang, neu).gelungen());
  EXPECT_EQ(dateiBytes(lang), neu);
}

// Checked before every single call: the name leads to the whole old file or the whole new one.
TEST_F(ErsetzeDatei, AWatcherNeverSeesAPartOfAFile) {
  dateien.kurz(1000);
  std::size_t blicke = 0;
  dateien.vorher = [&](Ruf) {
    ++blicke;
    const Bytes da = dateiBytes(pfad);
    EXPECT_TRUE(da == alt || da == neu) << da.size();
    for (const std::string& name : ordner.namen()) {
      EXPECT_TRUE(name == "a.wav" || name.starts_with(".hallkorb-")) << name;
    }
  };
  legeAn(pfad, alt);
  EXPECT_TRUE(ersetzeDatei(pfad, neu, dateien).gelungen());
  EXPECT_EQ(dateiBytes(pfad), neu);
  EXPECT_GT(blicke, 70U);

  std::filesystem::remove(pfad);
  dateien.vorher = [&](Ruf) { EXPECT_FALSE(std::filesystem::exists(pfad)); };
  EXPECT_TRUE(ersetzeDatei(pfad, neu, dateien).gelungen());
  EXPECT_EQ(dateiBytes(pfad), neu);
}

TEST_F(ErsetzeDatei, WritesWithOneCall) {
  EXPECT_TRUE(ersetzeDatei(pfad, neu, dateien).gelungen());
  EXPECT_EQ(dateien.rufe(Ruf::schreiben), 1U);
  EXPECT_EQ(dateien.rufe(Ruf::loeschen), 0U);  // what was renamed need not be removed
}

TEST_F(ErsetzeDatei, AnErrorOfClosingADeviceIsReported) {
  dateien.scheitere(Ruf::schliessen, 0, EIO);
  const Ergebnis ergebnis = ersetzeDatei("/dev/null", neu, dateien);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EIO);
}

TEST_F(ErsetzeDatei, CompletesShortWritesAndInterruptedCalls) {
  dateien.kurz(7001);
  for (const Ruf ruf : {Ruf::oeffnen, Ruf::schreiben, Ruf::schliessen, Ruf::umbenennen}) {
    dateien.scheitere(ruf, 0, EINTR);
  }
  dateien.scheitere(Ruf::schreiben, 3, EINTR);
  EXPECT_TRUE(ersetzeDatei(pfad, neu, dateien).gelungen());
  EXPECT_EQ(dateiBytes(pfad), neu);
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"});
}

TEST_F(ErsetzeDatei, ADiskThatTakesOneByteAtATimeGetsThemAll) {
  dateien.kurz(1);
  EXPECT_TRUE(ersetzeDatei(pfad, alt, dateien).gelungen());
  EXPECT_EQ(dateiBytes(pfad), alt);
}

TEST_F(ErsetzeDatei, AWriteThatMovesNothingEndsInAnError) {
  dateien.kurz(0);
  const Ergebnis ergebnis = ersetzeDatei(pfad, neu, dateien);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EIO);
  EXPECT_TRUE(ordner.namen().empty());
}

TEST_F(ErsetzeDatei, WhicheverCallFailsTheOldFileOrTheNewOneIsThere) {
  std::size_t fehlschlaege = 0;
  for (std::size_t n = 0;; ++n) {
    legeAn(pfad, alt);
    FehlerDateien versuch;
    versuch.scheitere(n, ENOSPC);
    const Ergebnis ergebnis = ersetzeDatei(pfad, neu, versuch);
    if (ergebnis.gescheitert()) {
      ++fehlschlaege;
      EXPECT_EQ(ergebnis.fehler().domain, "posix");
      EXPECT_EQ(ergebnis.fehler().code, ENOSPC);
      EXPECT_EQ(ergebnis.fehler().description,
                "Schreiben nach " + pfad + ": No space left on device");
    }
    EXPECT_EQ(dateiBytes(pfad), ergebnis.gescheitert() ? alt : neu) << n;
    EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"}) << n;
    if (versuch.rufe() <= n) break;
  }
  EXPECT_EQ(fehlschlaege, 6U);  // link, state, open, write, close, rename; not the permissions
}

TEST_F(ErsetzeDatei, WhicheverCallFailsNothingIsLeftOfANewFile) {
  std::size_t fehlschlaege = 0;
  for (std::size_t n = 0;; ++n) {
    FehlerDateien versuch;
    versuch.scheitere(n, EIO);
    if (ersetzeDatei(pfad, neu, versuch).gescheitert()) {
      ++fehlschlaege;
      EXPECT_TRUE(ordner.namen().empty()) << n;
    } else {
      EXPECT_EQ(dateiBytes(pfad), neu) << n;
      std::filesystem::remove(pfad);
    }
    if (versuch.rufe() <= n) break;
  }
  EXPECT_EQ(fehlschlaege, 6U);  // as above; not the look at the folder's permissions
}

TEST_F(ErsetzeDatei, ALeftoverOfTheSameNameIsPassedOver) {
  dateien.scheitere(Ruf::oeffnen, 0, EEXIST, 3);
  EXPECT_TRUE(ersetzeDatei(pfad, neu, dateien).gelungen());
  EXPECT_EQ(dateiBytes(pfad), neu);
  dateien.scheitere(Ruf::oeffnen, 0, EEXIST, FehlerDateien::IMMER);
  const Ergebnis ergebnis = ersetzeDatei(pfad, alt, dateien);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EEXIST);
}

TEST_F(ErsetzeDatei, PermissionsOfTheOldFileAreKept) {
  const mode_t maske = ::umask(027);
  EXPECT_EQ(::chmod(ordner.pfad().c_str(), 0755), 0);
  EXPECT_TRUE(ersetzeDatei(ordner / "neu.wav", neu).gelungen());
  for (const mode_t modus : {mode_t{0600}, mode_t{0666}, mode_t{0444}, mode_t{0755}}) {
    legeAn(pfad, alt);
    EXPECT_EQ(::chmod(pfad.c_str(), modus), 0);
    EXPECT_TRUE(ersetzeDatei(pfad, neu).gelungen());
    EXPECT_EQ(rechte(pfad), modus);
    EXPECT_EQ(dateiBytes(pfad), neu);
    std::filesystem::remove(pfad);
  }
  ::umask(maske);
  EXPECT_EQ(rechte(ordner / "neu.wav"), 0640U);
}

TEST_F(ErsetzeDatei, ASymbolicLinkStaysAndItsTargetIsReplaced) {
  std::filesystem::create_directory(ordner / "sub");
  legeAn(ordner / "sub/ziel.wav", alt);
  std::filesystem::create_symlink("sub/zwischen.wav", pfad);  // relative, over a second link
  std::filesystem::create_symlink(ordner / "sub/../sub/ziel.wav", ordner / "sub/zwischen.wav");
  EXPECT_TRUE(ersetzeDatei(pfad, neu).gelungen());
  EXPECT_EQ(std::filesystem::read_symlink(pfad), "sub/zwischen.wav");
  EXPECT_TRUE(std::filesystem::is_symlink(ordner / "sub/zwischen.wav"));
  EXPECT_EQ(dateiBytes(ordner / "sub/ziel.wav"), neu);
  EXPECT_EQ(ordner.namen(), (std::vector<std::string>{"a.wav", "sub"}));
}

TEST_F(ErsetzeDatei, TheTargetOfADanglingLinkIsCreated) {
  std::filesystem::create_directory(ordner / "sub");
  std::filesystem::create_symlink("sub/ziel.wav", pfad);
  EXPECT_TRUE(ersetzeDatei(pfad, neu).gelungen());
  EXPECT_TRUE(std::filesystem::is_symlink(pfad));
  EXPECT_EQ(dateiBytes(ordner / "sub/ziel.wav"), neu);
}

TEST_F(ErsetzeDatei, ALoopOfLinksIsAnError) {
  std::filesystem::create_symlink("b", ordner / "a");
  std::filesystem::create_symlink("a", ordner / "b");
  const Ergebnis ergebnis = ersetzeDatei(ordner / "a", neu);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, ELOOP);
}

TEST_F(ErsetzeDatei, ADeviceIsWrittenToAndStays) {
  EXPECT_TRUE(ersetzeDatei("/dev/null", neu).gelungen());
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  std::filesystem::create_symlink("/dev/null", pfad);
  EXPECT_TRUE(ersetzeDatei(pfad, neu).gelungen());
  EXPECT_TRUE(std::filesystem::is_symlink(pfad));
#ifdef __linux__
  const Ergebnis ergebnis = ersetzeDatei("/dev/full", neu);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, ENOSPC);
#endif
}

// All bytes are at hand, and a device cannot show half of them.
TEST_F(ErsetzeDatei, WhatGoesToADeviceIsStoredNowhereBefore) {
  EXPECT_TRUE(ersetzeDatei("/dev/null", neu, dateien).gelungen());
  EXPECT_EQ(dateien.rufe(Ruf::oeffnen), 1U);
  EXPECT_EQ(dateien.rufe(Ruf::loeschen), 0U);
}

TEST_F(ErsetzeDatei, APipeIsWrittenToAndStays) {
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  std::optional<Bytes> gelesen;
  std::thread leser([&] { gelesen = liesDatei(pfad); });
  EXPECT_TRUE(ersetzeDatei(pfad, neu).gelungen());
  leser.join();
  EXPECT_EQ(gelesen, neu);
  EXPECT_TRUE(std::filesystem::is_fifo(pfad));
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"});
}

TEST_F(ErsetzeDatei, APipeThatNobodyReadsIsAnErrorAndNoEndlessWait) {
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  const Ergebnis ergebnis = ersetzeDatei(pfad, neu);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, ENXIO);
}

TEST_F(ErsetzeDatei, AnOpenFileNamedByItsNumberIsWrittenAtItsPosition) {
  std::FILE* datei = std::tmpfile();
  const int handle = ::fileno(datei);
  ASSERT_EQ(::write(handle, "vorher", 6), 6);
  EXPECT_TRUE(ersetzeDatei("/dev/fd/" + std::to_string(handle), alt).gelungen());
  ASSERT_EQ(::write(handle, "nachher", 7), 7);
  Bytes da(200);
  EXPECT_EQ(::pread(handle, da.data(), da.size(), 0), 6 + 100 + 7);
  EXPECT_EQ(Bytes(da.begin() + 6, da.begin() + 106), alt);
  std::fclose(datei);
  const Ergebnis ergebnis = ersetzeDatei("/dev/fd/" + std::to_string(handle), alt);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EBADF);
}

TEST_F(ErsetzeDatei, ANameThatOnlyBeginsLikeAnOpenFilesIsNone) {
  std::FILE* datei = std::tmpfile();
  const std::string nummer = "/dev/fd/" + std::to_string(::fileno(datei));
  for (const std::string& name : {nummer + "x", nummer + "/a", std::string("/dev/fd/-1")})
    EXPECT_TRUE(ersetzeDatei(name, alt).gescheitert()) << name;
  std::fseek(datei, 0, SEEK_END);
  EXPECT_EQ(std::ftell(datei), 0);
  std::fclose(datei);
}

TEST_F(ErsetzeDatei, StandardInputIsAnOpenFileLikeEveryOther) {
  std::FILE* datei = std::tmpfile();
  const int vorher = ::dup(STDIN_FILENO);
  ::dup2(::fileno(datei), STDIN_FILENO);
  EXPECT_TRUE(ersetzeDatei("/dev/fd/0", alt).gelungen());
  ::dup2(vorher, STDIN_FILENO);
  ::close(vorher);
  EXPECT_EQ(::lseek(::fileno(datei), 0, SEEK_END), 100);
  std::fclose(datei);
}

// A host may give its child a socket as standard output, which cannot be opened by name.
TEST_F(ErsetzeDatei, ASocketNamedByALinkToItsNumberIsWrittenTo) {
  std::array<int, 2> enden{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, enden.data()), 0);
  std::filesystem::create_symlink("/dev/fd/" + std::to_string(enden[0]), pfad);
  EXPECT_TRUE(ersetzeDatei(pfad, alt).gelungen());
  Bytes da(200);
  EXPECT_EQ(::read(enden[1], da.data(), da.size()), 100);
  da.resize(100);
  EXPECT_EQ(da, alt);
  ::close(enden[0]);
  ::close(enden[1]);
}

TEST_F(ErsetzeDatei, AFullNonBlockingPipeIsWaitedFor) {
  std::array<int, 2> enden{};
  ASSERT_EQ(::pipe(enden.data()), 0);
  ASSERT_EQ(::fcntl(enden[1], F_SETFL, O_NONBLOCK), 0);
  const Bytes viel = zaehlung(1000000);
  Bytes gelesen;
  std::thread leser([&] {
    Bytes platz(5000);
    while (gelesen.size() < viel.size()) {
      const ssize_t n = ::read(enden[0], platz.data(), platz.size());
      if (n <= 0) break;
      gelesen.insert(gelesen.end(), platz.begin(), platz.begin() + n);
    }
  });
  EXPECT_TRUE(ersetzeDatei("/dev/fd/" + std::to_string(enden[1]), viel).gelungen());
  leser.join();
  EXPECT_EQ(gelesen, viel);
  ::close(enden[0]);
  ::close(enden[1]);
}

TEST_F(ErsetzeDatei, WhatCannotBeAFileIsAnError) {
  const std::pair<std::string, int> faelle[] = {{ordner.pfad(), EISDIR},
                                                {ordner / "fehlt/a.wav", ENOENT},
                                                {"", ENOENT},
                                                {ordner / std::string(256, 'x'), ENAMETOOLONG}};
  for (const auto& [ziel, nummer] : faelle) {
    const Ergebnis ergebnis = ersetzeDatei(ziel, neu);
    ASSERT_TRUE(ergebnis.gescheitert()) << ziel;
    EXPECT_EQ(ergebnis.fehler().code, nummer) << ziel;
  }
  legeAn(pfad, alt);
  const Ergebnis ergebnis = ersetzeDatei(pfad + "/b.wav", neu);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, ENOTDIR);
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"});
}

}  // namespace
}  // namespace hallkorb
