// Lines that break off: a disk that becomes full in the middle of one, a reader that is given up.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "base/FileHandleTextOutput.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

constexpr std::size_t UNBEGRENZT = std::numeric_limits<std::size_t>::max();

// What the disk still holds, and who else writes to the file.
std::size_t frei = UNBEGRENZT;
int anderer = -1;

ssize_t aufVolleDisk(int datei, const void* daten, std::size_t laenge) {
  const std::size_t n = std::min(laenge, frei);
  if (frei != UNBEGRENZT) frei -= n;
  if (n > 0) return ::write(datei, daten, n);
  if (anderer >= 0) {
    EXPECT_EQ(::write(std::exchange(anderer, -1), "fremd\n", 6), 6);
  }
  errno = ENOSPC;
  return -1;
}

// Standard output in a file, opened as "> lines" and as ">> lines".
class AusgabehaelftenTest : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    frei = UNBEGRENZT;
    anderer = -1;
    legeAn(pfad, {'a', 'l', 't', '\n'});
    ausgabe.handle = ::open(pfad.c_str(), O_WRONLY | O_CLOEXEC | GetParam());
    ASSERT_GE(ausgabe.handle, 0);
    ASSERT_EQ(::lseek(ausgabe.handle, 0, SEEK_END), 4);
  }
  void TearDown() override { ::close(ausgabe.handle); }

  [[nodiscard]] std::string inhalt() const {
    const auto bytes = dateiBytes(pfad);
    return {bytes.begin(), bytes.end()};
  }
  [[nodiscard]] bool schreibe(const std::string& zeile, std::size_t platz) {
    frei = platz;
    return ausgabe.write(zeile);
  }

  TempOrdner ordner;
  const std::string pfad = ordner / "zeilen";
  FileHandleTextOutput ausgabe{-1, aufVolleDisk};
};

TEST_P(AusgabehaelftenTest, OnAFullDiskNoHalfOfALineIsLeft) {
  for (const bool faden : {false, true}) {
    SCOPED_TRACE(faden);
    if (faden) {
      ASSERT_TRUE(ausgabe.starteFaden());
    }
    EXPECT_TRUE(schreibe("eins\n", UNBEGRENZT));
    const std::string davor = inhalt();
    EXPECT_FALSE(schreibe("{\"chunk\":3}\n", 7));
    EXPECT_EQ(inhalt(), davor);
    EXPECT_FALSE(schreibe("{\"chunk\":4}\n", 0));
    EXPECT_FALSE(schreibe("{\"chunk\":5}\n", 11));
    EXPECT_TRUE(schreibe("{\"chunk\":6}\n", UNBEGRENZT));
    EXPECT_EQ(inhalt(), davor + "{\"chunk\":6}\n");
  }
}

// Somebody else's line must not be cut.
TEST_P(AusgabehaelftenTest, AHalfThatIsNotTheEndOfTheFileStaysAndIsEnded) {
  const int fremder = ::open(pfad.c_str(), O_WRONLY | O_CLOEXEC | O_APPEND);
  anderer = fremder;
  EXPECT_FALSE(schreibe("halbe Zeile\n", 5));
  EXPECT_EQ(inhalt(), "alt\nhalbefremd\n");
  ASSERT_EQ(::lseek(ausgabe.handle, 0, SEEK_END), 15);
  EXPECT_TRUE(schreibe("ganz\n", UNBEGRENZT));
  EXPECT_EQ(inhalt(), "alt\nhalbefremd\n\nganz\n");
  ::close(fremder);
}

TEST_P(AusgabehaelftenTest, WhenLinesBeginToBeLostAndWhenOneArrivesAgainIsReported) {
  using Meldungen = std::vector<std::pair<int, std::int64_t>>;
  Meldungen meldungen;
  ausgabe.beiStoerung([&](int nummer, std::int64_t verloren) {
    meldungen.emplace_back(nummer, verloren);
    static_cast<void>(ausgabe.leere());  // no lock is held
  });
  EXPECT_TRUE(schreibe("eins\n", UNBEGRENZT));
  EXPECT_TRUE(meldungen.empty());
  for (const std::size_t platz : {3U, 0U, 2U})
    EXPECT_FALSE(schreibe("verloren\n", platz));
  EXPECT_EQ(meldungen, (Meldungen{{ENOSPC, 0}}));
  EXPECT_TRUE(schreibe("zwei\n", UNBEGRENZT));
  EXPECT_TRUE(schreibe("drei\n", UNBEGRENZT));
  EXPECT_EQ(meldungen, (Meldungen{{ENOSPC, 0}, {0, 3}}));
}

INSTANTIATE_TEST_SUITE_P(Datei, AusgabehaelftenTest, testing::Values(0, O_APPEND));

// A pipe, from which nothing can be taken back: what the reader gets, and in which writes.
std::vector<std::string> stuecke;

ssize_t insRohr(int, const void* daten, std::size_t laenge) {
  const std::size_t n = std::min(laenge, frei);
  if (n == 0) {
    errno = EAGAIN;
    return -1;
  }
  if (frei != UNBEGRENZT) frei -= n;
  stuecke.emplace_back(static_cast<const char*>(daten), n);
  return static_cast<ssize_t>(n);
}

TEST(AusgabehaelftenImRohr, TheNextLineEndsWhatIsLeftOfOneThatWasGivenUp) {
  stuecke.clear();
  FileHandleTextOutput ausgabe(-1, insRohr);
  ausgabe.begrenze(0.0);
  frei = 5;
  EXPECT_FALSE(ausgabe.write("halbe Zeile\n"));
  EXPECT_FALSE(ausgabe.write("gar nicht\n"));
  frei = UNBEGRENZT;
  EXPECT_TRUE(ausgabe.write("ganz\n"));
  EXPECT_TRUE(ausgabe.write("auch ganz\n"));
  EXPECT_EQ(stuecke, (std::vector<std::string>{"halbe", "\nganz\n", "auch ganz\n"}));
}

TEST(AusgabehaelftenImRohr, ALineThatCouldOnlyEndTheHalfLeavesNone) {
  stuecke.clear();
  FileHandleTextOutput ausgabe(-1, insRohr);
  ausgabe.begrenze(0.0);
  frei = 5;
  EXPECT_FALSE(ausgabe.write("halbe Zeile\n"));
  frei = 1;
  EXPECT_FALSE(ausgabe.write("gar nicht\n"));
  frei = UNBEGRENZT;
  EXPECT_TRUE(ausgabe.write("ganz\n"));
  EXPECT_EQ(stuecke, (std::vector<std::string>{"halbe", "\n", "ganz\n"}));
}

// A reader that is not read from costs no line "for another reason".
TEST(AusgabehaelftenImRohr, WhatIsGivenUpForWantOfAReaderIsNoFailure) {
  stuecke.clear();
  FileHandleTextOutput ausgabe(-1, insRohr);
  bool gemeldet = false;
  ausgabe.beiStoerung([&](int, std::int64_t) { gemeldet = true; });
  ausgabe.begrenze(0.0);
  frei = 0;
  EXPECT_FALSE(ausgabe.write("verloren\n"));
  frei = UNBEGRENZT;
  EXPECT_TRUE(ausgabe.write("ganz\n"));
  EXPECT_FALSE(gemeldet);
}

}  // namespace
}  // namespace hallkorb
