#include "base/Fremdprogramm.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>

// Not declared by any header on macOS.
extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace hallkorb {
namespace {

// What a program prints, on its way here. Both ends are closed in every program that is run.
class Roehre {
 public:
  explicit Roehre(bool gewollt) {
    if (!gewollt) return;
    nummer_ = ::pipe(enden_.data()) == 0 ? 0 : errno;
    if (nummer_ != 0) return;
    for (const int ende : enden_)
      ::fcntl(ende, F_SETFD, FD_CLOEXEC);
  }
  Roehre(const Roehre&) = delete;
  Roehre& operator=(const Roehre&) = delete;
  ~Roehre() {
    for (int& ende : enden_)
      schliesse(ende);
  }

  [[nodiscard]] int nummer() const { return nummer_; }
  [[nodiscard]] bool da() const { return enden_[0] >= 0; }
  [[nodiscard]] int schreibende() const { return enden_[1]; }

  // Hands over each line until nobody can write any more.
  void lies(const Zeilennehmer& nimm) {
    schliesse(enden_[1]);
    std::string zeile;
    std::array<char, 4096> block{};
    for (;;) {
      const ssize_t n = ::read(enden_[0], block.data(), block.size());
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      for (const char zeichen : std::string_view(block.data(), static_cast<std::size_t>(n))) {
        if (zeichen == '\n') {
          nimm(zeile);
          zeile.clear();
        } else {
          zeile += zeichen;
        }
      }
    }
    if (!zeile.empty()) nimm(zeile);
  }

 private:
  static void schliesse(int& ende) {
    if (ende >= 0) ::close(ende);
    ende = -1;
  }

  std::array<int, 2> enden_{-1, -1};
  int nummer_ = 0;
};

}  // namespace

bool Programmende::fehlt() const {
  return nummer == ENOENT || status == 127;
}

Programmende fuehreProgrammAus(const std::vector<std::string>& worte, const Zeilennehmer& nimm) {
  std::vector<char*> zeiger;
  zeiger.reserve(worte.size() + 1);
  for (const std::string& wort : worte)
    zeiger.push_back(const_cast<char*>(wort.c_str()));
  zeiger.push_back(nullptr);
  Programmende ende;
  Roehre ausgabe(nimm != nullptr);
  ende.nummer = ausgabe.nummer();
  if (ende.nummer != 0) return ende;
  posix_spawn_file_actions_t stroeme{};
  ende.nummer = ::posix_spawn_file_actions_init(&stroeme);
  if (ende.nummer != 0) return ende;
  for (const int griff : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    ::posix_spawn_file_actions_addopen(&stroeme, griff, "/dev/null", O_RDWR, 0);
  if (ausgabe.da())
    ::posix_spawn_file_actions_adddup2(&stroeme, ausgabe.schreibende(), STDOUT_FILENO);
  pid_t kind = -1;
  ende.nummer = ::posix_spawnp(&kind, zeiger.front(), &stroeme, nullptr, zeiger.data(), environ);
  ::posix_spawn_file_actions_destroy(&stroeme);
  if (ende.nummer != 0) return ende;
  if (ausgabe.da()) ausgabe.lies(nimm);
  int zustand = 0;
  while (::waitpid(kind, &zustand, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(zustand)) ende.status = WEXITSTATUS(zustand);
  return ende;
}

}  // namespace hallkorb
