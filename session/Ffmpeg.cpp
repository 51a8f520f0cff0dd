#include "session/Ffmpeg.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/Text.h"

// Not declared by any header on macOS.
extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace hallkorb {
namespace {

// Starts the program without input and output; returns its exit status, or the error in `nummer`.
int starte(const std::vector<std::string>& worte, int& nummer) {
  std::vector<char*> zeiger;
  zeiger.reserve(worte.size() + 1);
  for (const std::string& wort : worte)
    zeiger.push_back(const_cast<char*>(wort.c_str()));
  zeiger.push_back(nullptr);
  posix_spawn_file_actions_t stroeme{};
  nummer = ::posix_spawn_file_actions_init(&stroeme);
  if (nummer != 0) return -1;
  for (const int griff : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    ::posix_spawn_file_actions_addopen(&stroeme, griff, "/dev/null", O_RDWR, 0);
  pid_t kind = -1;
  nummer = ::posix_spawnp(&kind, zeiger.front(), &stroeme, nullptr, zeiger.data(), environ);
  ::posix_spawn_file_actions_destroy(&stroeme);
  if (nummer != 0) return -1;
  int zustand = 0;
  while (::waitpid(kind, &zustand, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(zustand) ? WEXITSTATUS(zustand) : -1;
}

}  // namespace

std::vector<std::string> ffmpegVideo(const std::string& pfad, std::int64_t bytes) {
  return {"-protocol_whitelist",
          "file,subfile",
          "-f",
          "mov",
          "-i",
          formatiert("subfile,,start,0,end,%lld,,:file:", static_cast<long long>(bytes)) + pfad};
}

std::vector<std::string> ffmpegEingang(const std::string& format, const std::string& pfad) {
  return {"-protocol_whitelist", "file", "-f", format, "-i", "file:" + pfad};
}

FfmpegEnde fuehreFfmpegAus(const std::vector<std::string>& argumente, const std::string& ziel) {
  const std::string ordner = ziel.substr(0, ziel.rfind('/') + 1);
  const std::string teil = ordner + ".hallkorb-" + std::to_string(::getpid()) + "-ffmpeg.teil";
  ::unlink(teil.c_str());  // a link would be followed
  std::vector<std::string> worte{"ffmpeg", "-nostdin", "-v", "error", "-y"};
  worte.insert(worte.end(), argumente.begin(), argumente.end());
  worte.insert(worte.end(), {"-f", "mp4", "file:" + teil});
  int nummer = 0;
  const int status = starte(worte, nummer);
  if (nummer == 0 && status == 0 && std::rename(teil.c_str(), ziel.c_str()) == 0)
    return FfmpegEnde::gelungen;
  ::unlink(teil.c_str());
  return nummer == ENOENT || status == 127 ? FfmpegEnde::fehlt : FfmpegEnde::gescheitert;
}

}  // namespace hallkorb
