// A terminal whose window stands still (Ctrl-S, a host with a pseudo terminal that does not read).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "base/FileHandleTextOutput.h"
#include "base/Schreibplatz.h"
#include "tests/support/Rohr.h"

namespace hallkorb {
namespace {

class AusgabeterminalTest : public testing::Test {
 protected:
  void SetUp() override {
    fenster = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(fenster, 0);
    ASSERT_EQ(::grantpt(fenster), 0);
    ASSERT_EQ(::unlockpt(fenster), 0);
    std::array<char, 100> name{};
    ASSERT_EQ(::ptsname_r(fenster, name.data(), name.size()), 0);
    terminal = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(terminal, 0);
    termios art{};
    ASSERT_EQ(::tcgetattr(terminal, &art), 0);
    art.c_oflag &= ~static_cast<tcflag_t>(OPOST);  // as it is, without carriage returns
    ASSERT_EQ(::tcsetattr(terminal, TCSANOW, &art), 0);
  }
  void TearDown() override {
    ::close(terminal);
    ::close(fenster);
  }

  // Leaves room for a few bytes, so that poll(2) reports the terminal as ready.
  void fuelleFast() const {
    const auto nebenan = terminalOhneWarten(terminal);
    ASSERT_TRUE(nebenan);
    const std::string viel(4096, 'x');
    while (::write(*nebenan, viel.data(), viel.size()) > 0) {
    }
    ::close(*nebenan);
    std::array<char, 256> wenig{};
    for (pollfd wer{terminal, POLLOUT, 0}; ::poll(&wer, 1, 20) == 0;)
      ASSERT_GT(::read(fenster, wenig.data(), wenig.size()), 0);
  }
  std::string liesBis(const std::string& ende) {
    std::string alles;
    std::array<char, 1000> puffer{};
    while (!alles.ends_with(ende)) {
      const ssize_t n = ::read(fenster, puffer.data(), puffer.size());
      if (n <= 0) break;
      alles.append(puffer.data(), static_cast<std::size_t>(n));
    }
    return alles.substr(alles.find_first_not_of('x'));
  }

  const std::string lang = std::string(20'000, 'y') + "\n";  // longer than what there is room for
  int fenster = -1;
  int terminal = -1;
};

TEST_F(AusgabeterminalTest, HoldsUpNoWriterAndNoEnd) {
  {
    FileHandleTextOutput ausgabe(terminal);
    ASSERT_TRUE(ausgabe.starteFaden());
    fuelleFast();
    EXPECT_TRUE(ausgabe.write(lang));
    EXPECT_TRUE(ausgabe.write("zwei\n"));
    ausgabe.begrenze(0.0);
    EXPECT_FALSE(ausgabe.leere());
    // Once there is room, what was broken off gets an end. The kernel may have made some for the
    // second line as well.
    ausgabe.begrenze(std::nullopt);
    EXPECT_TRUE(ausgabe.write("drei\n"));
    std::string rest = liesBis("drei\n");
    EXPECT_TRUE(rest.starts_with('y'));
    rest.erase(0, rest.find_first_not_of('y'));
    EXPECT_TRUE(rest == "\ndrei\n" || rest == "\nzwei\ndrei\n") << rest;
  }
  // Whoever shares the terminal still waits for room, as before.
  EXPECT_EQ(::fcntl(terminal, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(AusgabeterminalTest, GetsEveryLineOnceItGoesOn) {
  FileHandleTextOutput ausgabe(terminal);
  ASSERT_TRUE(ausgabe.starteFaden());
  fuelleFast();
  EXPECT_TRUE(ausgabe.write(lang));
  EXPECT_TRUE(ausgabe.write("zwei\n"));
  EXPECT_EQ(liesBis("zwei\n"), lang + "zwei\n");
  EXPECT_TRUE(ausgabe.leere());
}

TEST_F(AusgabeterminalTest, NothingElseIsOpenedAnew) {
  const Rohr rohr(false);
  EXPECT_EQ(terminalOhneWarten(rohr.schreiber()), std::nullopt);
  EXPECT_EQ(terminalOhneWarten(-1), std::nullopt);
  FileHandleTextOutput ausgabe(rohr.schreiber());
  ASSERT_TRUE(ausgabe.starteFaden());
  EXPECT_EQ(ausgabe.handle, rohr.schreiber());
}

}  // namespace
}  // namespace hallkorb
