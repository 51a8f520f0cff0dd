// One time limit for everything that still waits for a reader, counted in attempts: a wait lasts a
// fiftieth of a second at least, on any machine.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <string>

#include "base/FileHandleTextOutput.h"

namespace hallkorb {
namespace {

constexpr int ZEILEN = 700;
constexpr double FRIST = 0.5;
constexpr int WARTEZEITEN = 25;  // that fit into it

std::atomic<int> versuche{0};

ssize_t nimmtNichts(int, const void*, std::size_t) {
  ++versuche;
  errno = EAGAIN;
  return -1;
}

TEST(Ausgabefrist, IsOneForAllLinesThatWait) {
  FileHandleTextOutput ausgabe(-1, &nimmtNichts);
  ASSERT_TRUE(ausgabe.starteFaden());
  for (int i = 0; i < ZEILEN; ++i)
    EXPECT_TRUE(ausgabe.write("Zeile " + std::to_string(i) + "\n"));
  ausgabe.begrenze(FRIST);
  versuche = 0;
  EXPECT_FALSE(ausgabe.leere());
  // One attempt with each line, and the waits of one limit among them.
  EXPECT_GE(versuche.load(), ZEILEN - 1);
  EXPECT_LE(versuche.load(), ZEILEN + WARTEZEITEN + 2);
}

// What comes after the limit costs an attempt, and no wait.
TEST(Ausgabefrist, HoldsForWhatIsWrittenAfterIt) {
  FileHandleTextOutput ausgabe(-1, &nimmtNichts);
  ASSERT_TRUE(ausgabe.starteFaden());
  ausgabe.begrenze(0.0);
  for (int i = 0; i < ZEILEN; ++i)
    ausgabe.write("Zeile\n");
  EXPECT_FALSE(ausgabe.leere());
  versuche = 0;
  for (int i = 0; i < ZEILEN; ++i)
    ausgabe.write("Zeile\n");
  EXPECT_FALSE(ausgabe.leere());
  EXPECT_LE(versuche.load(), 2 * ZEILEN);
}

}  // namespace
}  // namespace hallkorb
