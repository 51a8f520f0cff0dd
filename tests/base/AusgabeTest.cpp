#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <map>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "base/Ausgabe.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Rohr.h"

namespace hallkorb {
namespace {

TEST(AusgabeTest, LinesGoToTheirStreamsUnchangedWithOneLineFeedMore) {
  const AusgabeFaenger faenger;
  emit("{\"quelle\":\"Größe — ẞ\"}");
  log("[hallkorb] eins\n");
  EXPECT_EQ(faenger.ausgabe(), "{\"quelle\":\"Größe — ẞ\"}\n");
  EXPECT_EQ(faenger.fehler(), "[hallkorb] eins\n\n");
}

TEST(AusgabeTest, BytesThatAreNoUtf8AreNotWrittenByTheStream) {
  const AusgabeFaenger faenger;
  FileHandleTextOutput& ausgabe = FileHandleTextOutput::standardOutput();
  for (const char* kaputt : {"\xff", "a\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                             "\x80", "\xf8\x88\x80\x80\x80", "\xe2\x82"}) {
    EXPECT_FALSE(ausgabe.write(kaputt));
  }
  EXPECT_EQ(faenger.ausgabe(), "");
  EXPECT_TRUE(ausgabe.write("\xf4\x8f\xbf\xbf\xed\x9f\xbf"));
  EXPECT_EQ(faenger.ausgabe(), "\xf4\x8f\xbf\xbf\xed\x9f\xbf");
}

TEST(AusgabeTest, ALineAboutAFileWithSuchANameArrivesReadable) {
  const AusgabeFaenger faenger;
  emit("{\"path\":\"/tmp/b\xfcro/\xc3\xbc\"}");
  EXPECT_EQ(faenger.ausgabe(), "{\"path\":\"/tmp/b\xEF\xBF\xBDro/\xc3\xbc\"}\n");
}

int aufrufe = 0;
std::string empfangen;
std::vector<std::size_t> versuche;  // how much each write offered

TEST(AusgabeTest, PartialAndInterruptedWritesAreCompleted) {
  aufrufe = 0;
  empfangen.clear();
  FileHandleTextOutput ausgabe(99,
                               [](int handle, const void* daten, std::size_t laenge) -> ssize_t {
                                 EXPECT_EQ(handle, 99);
                                 ++aufrufe;
                                 if (aufrufe % 3 == 1) {
                                   errno = EINTR;
                                   return -1;
                                 }
                                 const std::size_t n = std::min<std::size_t>(laenge, 5);
                                 empfangen.append(static_cast<const char*>(daten), n);
                                 return static_cast<ssize_t>(n);
                               });
  EXPECT_TRUE(ausgabe.write("eine Zeile, die in Stuecken geht\n"));
  EXPECT_EQ(empfangen, "eine Zeile, die in Stuecken geht\n");
  EXPECT_GT(aufrufe, 7);
}

TEST(AusgabeTest, ALineIsOneWrite) {
  aufrufe = 0;
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t laenge) -> ssize_t {
    ++aufrufe;
    return static_cast<ssize_t>(laenge);
  });
  EXPECT_TRUE(ausgabe.write(std::string(100'000, 'x')));
  EXPECT_EQ(aufrufe, 1);
}

// The kernel may take less than it had room for. What is left goes as a line that is longer than
// the pipe does: in pieces that never block.
TEST(AusgabeTest, ALineThatIsBegunGoesOnInPiecesThatAPipeTakesAtOnce) {
  versuche.clear();
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t laenge) -> ssize_t {
    versuche.push_back(laenge);
    return versuche.size() == 1 ? 1 : static_cast<ssize_t>(laenge);
  });
  constexpr std::size_t LAENGE = 3 * PIPE_BUF;
  EXPECT_TRUE(ausgabe.write(std::string(LAENGE, 'x')));
  ASSERT_GT(versuche.size(), 3U);
  EXPECT_EQ(versuche[0], LAENGE);
  EXPECT_LE(*std::max_element(versuche.begin() + 1, versuche.end()), std::size_t{PIPE_BUF});
  EXPECT_EQ(std::accumulate(versuche.begin() + 1, versuche.end(), std::size_t{1}), LAENGE);
}

TEST(AusgabeTest, AWriteThatFindsNoRoomIsTriedAgain) {
  aufrufe = 0;
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t laenge) -> ssize_t {
    if (++aufrufe < 3) {
      errno = EAGAIN;
      return -1;
    }
    return static_cast<ssize_t>(laenge);
  });
  bool gemeldet = false;
  ausgabe.leserWeg([&] { gemeldet = true; });
  ausgabe.begrenze(0.0);
  ausgabe.begrenze(std::nullopt);  // there is no limit any more
  EXPECT_TRUE(ausgabe.write("a"));
  EXPECT_EQ(aufrufe, 3);
  EXPECT_FALSE(gemeldet);
}

TEST(AusgabeTest, AReaderThatIsGoneIsReportedOnce) {
  const auto geht = [](int, const void*, std::size_t) -> ssize_t {
    errno = EPIPE;
    return -1;
  };
  FileHandleTextOutput ausgabe(-1, geht);
  int gemeldet = 0;
  ausgabe.leserWeg([&] {
    ++gemeldet;
    ausgabe.write("aus dem Handler");  // no lock is held
  });
  EXPECT_FALSE(ausgabe.write("a"));
  EXPECT_FALSE(ausgabe.write("b"));
  EXPECT_EQ(gemeldet, 1);
  EXPECT_FALSE(ausgabe.leere());  // two lines were lost
  EXPECT_TRUE(ausgabe.leere());
}

TEST(AusgabeTest, WhoAsksLaterIsNotAnsweredForAReaderThatWasGoneBefore) {
  aufrufe = 0;
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t laenge) -> ssize_t {
    if (++aufrufe > 1) return static_cast<ssize_t>(laenge);
    errno = EPIPE;
    return -1;
  });
  bool spaeter = false;
  ausgabe.leserWeg([&] { ausgabe.leserWeg([&] { spaeter = true; }); });
  EXPECT_FALSE(ausgabe.write("a"));
  EXPECT_TRUE(ausgabe.write("b"));
  EXPECT_FALSE(spaeter);
}

TEST(AusgabeTest, AReaderThatIsFoundGoneByWhatWasHeldBackIsReportedToo) {
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t) -> ssize_t {
    errno = ECONNRESET;
    return -1;
  });
  int gemeldet = 0;
  ausgabe.leserWeg([&] { ++gemeldet; });
  ausgabe.halteZurueck();
  EXPECT_TRUE(ausgabe.write("chunk"));  // kept, so not lost yet
  EXPECT_TRUE(ausgabe.leere());
  EXPECT_EQ(gemeldet, 0);
  ausgabe.gibFrei({});
  EXPECT_EQ(gemeldet, 1);
  EXPECT_FALSE(ausgabe.leere());
}

TEST(AusgabeTest, AnotherFailureIsNoReaderThatIsGone) {
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t) -> ssize_t {
    errno = ENOSPC;
    return -1;
  });
  bool gemeldet = false;
  ausgabe.leserWeg([&] { gemeldet = true; });
  EXPECT_FALSE(ausgabe.write("a"));
  EXPECT_FALSE(gemeldet);
}

TEST(AusgabeTest, AWriteThatTakesNothingEndsTheAttempt) {
  FileHandleTextOutput ausgabe(-1, [](int, const void*, std::size_t) -> ssize_t {
    errno = EAGAIN;  // left over from an earlier call
    return 0;
  });
  EXPECT_FALSE(ausgabe.write("a"));
}

TEST(AusgabeTest, WhatIsHeldBackFollowsTheReport) {
  const AusgabeFaenger faenger;
  halteZeilenZurueck();
  emit("{\"chunk\":0}");
  emit("{\"chunk\":1}");
  EXPECT_EQ(faenger.ausgabe(), "");
  gibZeilenFrei({"{\"event\":\"degraded\"}", "{\"event\":\"started\"}"});
  emit("{\"chunk\":2}");
  EXPECT_EQ(faenger.ausgabeZeilen(),
            (std::vector<std::string>{"{\"event\":\"degraded\"}", "{\"event\":\"started\"}",
                                      "{\"chunk\":0}", "{\"chunk\":1}", "{\"chunk\":2}"}));
}

// A pipe with a reader that does not read.
class StummerLeser : public testing::Test {
 protected:
  Rohr rohr{true};
};

TEST_F(StummerLeser, CostsTheLineAndNotTheEndOnceThereIsALimit) {
  FileHandleTextOutput ausgabe(rohr.schreiber());
  ausgabe.begrenze(0.0);
  EXPECT_FALSE(ausgabe.write("done\n"));
}

TEST_F(StummerLeser, IsGivenUpByAWriteThatWaitsAlready) {
  FileHandleTextOutput ausgabe(rohr.schreiber());
  bool ganz = true;
  std::thread schreiber([&] { ganz = ausgabe.write("chunk\n"); });
  ausgabe.begrenze(0.0);
  schreiber.join();
  EXPECT_FALSE(ganz);
}

TEST_F(StummerLeser, GetsTheWholeLineWhenItReadsInTime) {
  FileHandleTextOutput ausgabe(rohr.schreiber());
  ausgabe.begrenze(3600.0);
  const std::string zeile = std::string(10'000, 'y') + "\n";
  std::thread schreiber([&] { EXPECT_TRUE(ausgabe.write(zeile)); });
  EXPECT_EQ(rohr.liesBis("\n"), zeile);
  schreiber.join();
}

// Lines longer than a pipe's atomic size (4096) and than its capacity, from eight threads into one
// real pipe with a slow reader; its writing end is blocking once and non-blocking once.
class ZeilenAusVielenFaeden : public testing::TestWithParam<bool> {};

TEST_P(ZeilenAusVielenFaeden, ArriveWhole) {
  int rohr[2];
  ASSERT_EQ(::pipe(rohr), 0);
  if (GetParam()) {
    ASSERT_EQ(::fcntl(rohr[1], F_SETFL, O_NONBLOCK), 0);
  }
  FileHandleTextOutput ausgabe(rohr[1]);

  std::string gelesen;
  std::thread leser([&] {
    char puffer[1000];
    for (ssize_t n = 0; (n = ::read(rohr[0], puffer, sizeof puffer)) > 0;) {
      gelesen.append(puffer, static_cast<std::size_t>(n));
    }
  });
  constexpr int FAEDEN = 8;
  constexpr int ZEILEN = 40;
  std::vector<std::thread> schreiber;
  for (int f = 0; f < FAEDEN; ++f) {
    schreiber.emplace_back([&ausgabe, f] {
      for (int i = 0; i < ZEILEN; ++i) {
        const std::size_t laenge = i % 10 == 0 ? 150'000U : 5'000U + static_cast<unsigned>(i) * 37U;
        ausgabe.write(std::string(laenge, static_cast<char>('a' + f)) + "\n");
      }
    });
  }
  for (auto& faden : schreiber)
    faden.join();
  ::close(rohr[1]);
  leser.join();
  ::close(rohr[0]);

  std::map<char, int> zeilen;
  std::size_t anfang = 0;
  for (std::size_t ende = 0; (ende = gelesen.find('\n', anfang)) != std::string::npos;
       anfang = ende + 1) {
    const std::string zeile = gelesen.substr(anfang, ende - anfang);
    ASSERT_FALSE(zeile.empty());
    EXPECT_EQ(zeile.find_first_not_of(zeile[0]), std::string::npos);
    const int i = zeilen[zeile[0]]++;
    EXPECT_EQ(zeile.size(), i % 10 == 0 ? 150'000U : 5'000U + static_cast<unsigned>(i) * 37U);
  }
  EXPECT_EQ(anfang, gelesen.size());
  EXPECT_EQ(zeilen.size(), static_cast<std::size_t>(FAEDEN));
  for (const auto& [zeichen, anzahl] : zeilen)
    EXPECT_EQ(anzahl, ZEILEN) << zeichen;
}

INSTANTIATE_TEST_SUITE_P(Rohr, ZeilenAusVielenFaeden, testing::Bool());

}  // namespace
}  // namespace hallkorb
