#include "base/Fremdprogramm.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

// Not declared by any header on macOS.
extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace hallkorb {

bool Programmende::fehlt() const {
  return nummer == ENOENT || status == 127;
}

Programmende fuehreProgrammAus(const std::vector<std::string>& worte) {
  std::vector<char*> zeiger;
  zeiger.reserve(worte.size() + 1);
  for (const std::string& wort : worte)
    zeiger.push_back(const_cast<char*>(wort.c_str()));
  zeiger.push_back(nullptr);
  Programmende ende;
  posix_spawn_file_actions_t stroeme{};
  ende.nummer = ::posix_spawn_file_actions_init(&stroeme);
  if (ende.nummer != 0) return ende;
  for (const int griff : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    ::posix_spawn_file_actions_addopen(&stroeme, griff, "/dev/null", O_RDWR, 0);
  pid_t kind = -1;
  ende.nummer = ::posix_spawnp(&kind, zeiger.front(), &stroeme, nullptr, zeiger.data(), environ);
  ::posix_spawn_file_actions_destroy(&stroeme);
  if (ende.nummer != 0) return ende;
  int zustand = 0;
  while (::waitpid(kind, &zustand, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(zustand)) ende.status = WEXITSTATUS(zustand);
  return ende;
}

}  // namespace hallkorb
