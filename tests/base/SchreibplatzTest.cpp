// What pipes and sockets of Linux take without making the writer wait.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <future>
#include <string>

#include "base/FileHandleTextOutput.h"
#include "base/Schreibplatz.h"
#include "tests/support/Rohr.h"

namespace hallkorb {
namespace {

constexpr std::size_t VIEL = 1'000'000;  // more than any pipe holds

TEST(SchreibplatzTest, AFileOrADeviceTakesEverything) {
  std::FILE* datei = std::tmpfile();
  EXPECT_EQ(schreibplatz(::fileno(datei), VIEL), VIEL);
  EXPECT_EQ(schreibplatz(::fileno(datei), 1), 1U);
  std::fclose(datei);
  const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(schreibplatz(null, VIEL), VIEL);
  ::close(null);
}

// The write then says what is wrong.
TEST(SchreibplatzTest, NoWriteIsHeldBackThatFailsAnyway) {
  EXPECT_EQ(schreibplatz(-1, VIEL), VIEL);
  Rohr rohr(true);
  const int zu = ::dup(rohr.schreiber());
  ::close(zu);
  EXPECT_EQ(schreibplatz(zu, VIEL), VIEL);
  rohr.schliesseLeser();
  EXPECT_EQ(schreibplatz(rohr.schreiber(), VIEL), VIEL);
}

TEST(SchreibplatzTest, AnEmptyPipeTakesWhatItHolds) {
  const Rohr rohr(false);
  const auto fassung = static_cast<std::size_t>(::fcntl(rohr.schreiber(), F_GETPIPE_SZ));
  for (const std::size_t bytes : {std::size_t{1}, std::size_t{PIPE_BUF}, fassung})
    EXPECT_EQ(schreibplatz(rohr.schreiber(), bytes), bytes);
  // What it can never take at once goes in pieces.
  EXPECT_EQ(schreibplatz(rohr.schreiber(), fassung + 1), std::size_t{PIPE_BUF});
}

// Unread bytes may leave every page of it half empty.
TEST(SchreibplatzTest, BesideUnreadBytesOnlyTheAtomicSizeIsCertain) {
  Rohr rohr(false);
  ASSERT_EQ(::write(rohr.schreiber(), "x", 1), 1);
  EXPECT_EQ(schreibplatz(rohr.schreiber(), PIPE_BUF), std::size_t{PIPE_BUF});
  EXPECT_EQ(schreibplatz(rohr.schreiber(), PIPE_BUF + 1), 0U);
  EXPECT_EQ(schreibplatz(rohr.schreiber(), VIEL), 0U);
  rohr.fuelle();
  EXPECT_EQ(schreibplatz(rohr.schreiber(), 1), 0U);
}

TEST(SchreibplatzTest, ASocketIsLikeAPipe) {
  std::array<int, 2> enden{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, enden.data()), 0);
  EXPECT_EQ(schreibplatz(enden[0], 20'000), 20'000U);
  EXPECT_EQ(schreibplatz(enden[0], 10 * VIEL), std::size_t{PIPE_BUF});
  ASSERT_EQ(::write(enden[0], "x", 1), 1);
  EXPECT_EQ(schreibplatz(enden[0], PIPE_BUF), std::size_t{PIPE_BUF});
  EXPECT_EQ(schreibplatz(enden[0], 20'000), 0U);
  ::close(enden[1]);
  EXPECT_EQ(schreibplatz(enden[0], 20'000), 20'000U);
  ::close(enden[0]);
}

// A host may have made its pipe as small as the system allows.
TEST(SchreibplatzTest, ALineThatIsLongerThanTheSmallestPipeGetsThrough) {
  Rohr rohr(false);
  const auto klein = static_cast<std::size_t>(::fcntl(rohr.schreiber(), F_SETPIPE_SZ, PIPE_BUF));
  EXPECT_EQ(schreibplatz(rohr.schreiber(), klein), klein);
  EXPECT_EQ(schreibplatz(rohr.schreiber(), klein + 1), std::size_t{PIPE_BUF});
  const std::string zeile = std::string(5 * klein, 'y') + "\n";
  auto gelesen = std::async(std::launch::async, [&] { return rohr.liesBis("\n"); });
  FileHandleTextOutput ausgabe(rohr.schreiber());
  EXPECT_TRUE(ausgabe.write(zeile));
  EXPECT_EQ(gelesen.get(), zeile);
}

}  // namespace
}  // namespace hallkorb
