// A pipe between a stream and a reader that reads only when the test wants it to.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>

namespace hallkorb {

class Rohr {
 public:
  // `voll`: nothing more goes in.
  explicit Rohr(bool voll) {
    EXPECT_EQ(::pipe(enden_), 0);
    if (voll) fuelle();
  }
  ~Rohr() {
    schliesseLeser();
    schliesseSchreiber();
  }
  Rohr(const Rohr&) = delete;
  Rohr& operator=(const Rohr&) = delete;

  [[nodiscard]] int leser() const { return enden_[0]; }
  [[nodiscard]] int schreiber() const { return enden_[1]; }

  // Fills it with "x".
  void fuelle() {
    EXPECT_EQ(::fcntl(schreiber(), F_SETFL, O_NONBLOCK), 0);
    const std::string viel(65536, 'x');
    while (::write(schreiber(), viel.data(), viel.size()) > 0) {
    }
    EXPECT_EQ(::fcntl(schreiber(), F_SETFL, 0), 0);
  }
  // Reads until `ende` has come; all that was read, without what fuelle() wrote.
  std::string liesBis(const std::string& ende) {
    std::string alles;
    char puffer[4096];
    while (!alles.ends_with(ende)) {
      const ssize_t n = ::read(leser(), puffer, sizeof puffer);
      if (n <= 0) break;
      alles.append(puffer, static_cast<std::size_t>(n));
    }
    alles.erase(0, alles.find_first_not_of('x'));
    return alles;
  }

  void schliesseLeser() { schliesse(enden_[0]); }
  void schliesseSchreiber() { schliesse(enden_[1]); }

 private:
  static void schliesse(int& ende) {
    if (ende >= 0) ::close(std::exchange(ende, -1));
  }

  int enden_[2] = {-1, -1};
};

}  // namespace hallkorb
