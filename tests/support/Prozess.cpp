#include "tests/support/Prozess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace hallkorb {
namespace {

std::pair<Deskriptor, Deskriptor> rohr() {
  int enden[2] = {-1, -1};
  if (::pipe2(enden, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  return {Deskriptor(enden[0]), Deskriptor(enden[1])};
}

}  // namespace

Prozess::Prozess(const std::vector<std::string>& argumente, Fehlerausgabe fehlerausgabe) {
  std::vector<std::string> worte{"setpriv", "--pdeathsig", "KILL", "--"};
  worte.insert(worte.end(), argumente.begin(), argumente.end());
  std::vector<char*> argv;
  argv.reserve(worte.size() + 1);
  for (std::string& wort : worte)
    argv.push_back(wort.data());
  argv.push_back(nullptr);

  auto [seineEingabe, unsereEingabe] = rohr();
  auto [unsereAusgabe, seineAusgabe] = rohr();
  posix_spawn_file_actions_t dateien;
  posix_spawn_file_actions_init(&dateien);
  posix_spawn_file_actions_adddup2(&dateien, seineEingabe.fd(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&dateien, seineAusgabe.fd(), STDOUT_FILENO);
  if (fehlerausgabe == Fehlerausgabe::VERWORFEN) {
    posix_spawn_file_actions_addopen(&dateien, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  }
  const int fehler = posix_spawnp(&nummer_, argv[0], &dateien, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&dateien);
  if (fehler != 0) throw std::system_error(fehler, std::generic_category(), argumente.front());
  eingabe_ = std::move(unsereEingabe);
  ausgabe_ = std::move(unsereAusgabe);
}

Prozess::~Prozess() {
  if (!zuEnde_) beende(SIGKILL);
}

void Prozess::schreibe(const std::string& zeile) const {
  const std::string text = zeile + "\n";
  if (::write(eingabe_.fd(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::system_error(errno, std::generic_category(), "write");
  }
}

std::string Prozess::liesZeile(double sekunden) {
  const auto ende = std::chrono::steady_clock::now() + std::chrono::duration<double>(sekunden);
  while (true) {
    const std::size_t stelle = gelesen_.find('\n');
    if (stelle != std::string::npos) {
      std::string zeile = gelesen_.substr(0, stelle);
      gelesen_.erase(0, stelle + 1);
      return zeile;
    }
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(ende - std::chrono::steady_clock::now());
    pollfd warten{ausgabe_.fd(), POLLIN, 0};
    if (rest.count() <= 0 || ::poll(&warten, 1, static_cast<int>(rest.count())) <= 0) {
      throw std::runtime_error("no line in time");
    }
    char puffer[4096];
    const ssize_t n = ::read(ausgabe_.fd(), puffer, sizeof puffer);
    if (n <= 0) throw std::runtime_error("the program has ended");
    gelesen_.append(puffer, static_cast<std::size_t>(n));
  }
}

std::string Prozess::liesAlles() {
  eingabe_ = Deskriptor();
  char puffer[4096];
  for (ssize_t n = 0; (n = ::read(ausgabe_.fd(), puffer, sizeof puffer)) > 0;) {
    gelesen_.append(puffer, static_cast<std::size_t>(n));
  }
  return std::exchange(gelesen_, {});
}

void Prozess::signal(int nummer) const {
  ::kill(nummer_, nummer);
}

int Prozess::warte() {
  if (!zuEnde_) ::waitpid(nummer_, &status_, 0);
  zuEnde_ = true;
  return status_;
}

int Prozess::beende(int nummer) {
  signal(nummer);
  return warte();
}

}  // namespace hallkorb
