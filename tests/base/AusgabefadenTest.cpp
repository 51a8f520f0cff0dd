// A stream with a thread of its own, and a reader that lets it wait.
#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <string>

#include "base/FileHandleTextOutput.h"
#include "tests/support/Rohr.h"

namespace hallkorb {
namespace {

class AusgabefadenTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(ausgabe.starteFaden()); }

  Rohr rohr{true};
  FileHandleTextOutput ausgabe{rohr.schreiber()};
};

TEST_F(AusgabefadenTest, KeepsWhatDoesNotFitAndWritesItInOrderOnceThereIsRoom) {
  EXPECT_TRUE(ausgabe.write("eins\n"));
  EXPECT_TRUE(ausgabe.write("zwei\n"));
  EXPECT_EQ(rohr.liesBis("zwei\n"), "eins\nzwei\n");
  EXPECT_TRUE(ausgabe.leere());
  EXPECT_TRUE(ausgabe.write("drei\n"));
  EXPECT_EQ(rohr.liesBis("drei\n"), "drei\n");
}

// After leere() the thread sleeps: it has to be woken for the next line, and for the end.
TEST_F(AusgabefadenTest, IsThereForEveryLineThatHasToWait) {
  for (const std::string zeile : {"eins\n", "zwei\n", "drei\n"}) {
    EXPECT_TRUE(ausgabe.write(zeile));
    EXPECT_EQ(rohr.liesBis(zeile), zeile);
    EXPECT_TRUE(ausgabe.leere());
    rohr.fuelle();
  }
}

TEST_F(AusgabefadenTest, WhoeverWaitsForTheLastLineGoesOnWhenItIsOut) {
  for (int i = 0; i < 20; ++i) {
    EXPECT_TRUE(ausgabe.write("zeile\n"));
    auto gelesen = std::async(std::launch::async, [this] { return rohr.liesBis("zeile\n"); });
    EXPECT_TRUE(ausgabe.leere());
    EXPECT_EQ(gelesen.get(), "zeile\n");
    rohr.fuelle();
  }
}

TEST_F(AusgabefadenTest, WhatIsGivenUpIsReportedByTheNextWaitAndByNoLaterOne) {
  EXPECT_TRUE(ausgabe.write("verloren\n"));
  EXPECT_TRUE(ausgabe.write("auch verloren\n"));
  ausgabe.begrenze(0.0);
  EXPECT_FALSE(ausgabe.leere());
  EXPECT_TRUE(ausgabe.leere());
  // Without a limit it waits again.
  ausgabe.begrenze(std::nullopt);
  EXPECT_TRUE(ausgabe.write("angekommen\n"));
  EXPECT_EQ(rohr.liesBis("angekommen\n"), "angekommen\n");
  EXPECT_TRUE(ausgabe.leere());
}

TEST_F(AusgabefadenTest, TheStreamsEndGivesUpWhatStillWaits) {
  {
    FileHandleTextOutput kurz(rohr.schreiber());
    ASSERT_TRUE(kurz.starteFaden());
    EXPECT_TRUE(kurz.starteFaden());  // has one already
    EXPECT_TRUE(kurz.write("zu spaet\n"));
  }
  EXPECT_TRUE(ausgabe.write("ende\n"));
  EXPECT_EQ(rohr.liesBis("ende\n"), "ende\n");
}

TEST_F(AusgabefadenTest, AReaderThatGoesWhileALineWaitsIsReportedOnceAndWithoutALock) {
  const auto vorher = std::signal(SIGPIPE, SIG_IGN);
  int gemeldet = 0;
  std::promise<void> weg;
  ausgabe.leserWeg([&] {
    ++gemeldet;
    EXPECT_FALSE(ausgabe.write("aus dem Handler\n"));
    weg.set_value();
  });
  EXPECT_TRUE(ausgabe.write("eins\n"));
  rohr.schliesseLeser();
  weg.get_future().wait();
  EXPECT_FALSE(ausgabe.leere());
  EXPECT_FALSE(ausgabe.write("zwei\n"));
  EXPECT_EQ(gemeldet, 1);
  std::signal(SIGPIPE, vorher);
}

}  // namespace
}  // namespace hallkorb
