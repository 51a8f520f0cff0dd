#include "base/Abbruch.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <string>

#include "base/Ausgabe.h"

namespace hallkorb {
namespace {

// Only calls that are safe in a signal handler.
void absturz(int nummer) {
  static const char meldung[] = "[hallkorb] Abbruch: Absturz (Speicherzugriff oder Rechenfehler)\n";
  [[maybe_unused]] const ssize_t geschrieben = ::write(STDERR_FILENO, meldung, sizeof meldung - 1);
  std::raise(nummer);  // SA_RESETHAND has restored the default action
}

}  // namespace

// A host that does not read must not keep a process alive that cannot go on.
void abbruch(std::string_view grund) {
  begrenzeAusgabe(1.0);
  log("[hallkorb] Abbruch: " + std::string(grund));
  leereAusgabe();
  std::abort();
}

void meldeAbstuerze() {
  std::set_terminate([] {
    std::string grund = "unerwartetes Ende";
    if (const auto ausnahme = std::current_exception()) {
      try {
        std::rethrow_exception(ausnahme);
      } catch (const std::exception& e) {
        grund = std::string("unbehandelte Ausnahme: ") + e.what();
      } catch (...) {
        grund = "unbehandelte Ausnahme";
      }
    }
    abbruch(grund);
  });
  for (const int nummer : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
    struct sigaction bisher{};
    // A handler that is already there (a sanitizer's, a debugger's) stays.
    if (sigaction(nummer, nullptr, &bisher) != 0 || bisher.sa_handler != SIG_DFL) continue;
    struct sigaction neu{};
    neu.sa_handler = absturz;
    neu.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(nummer, &neu, nullptr);
  }
}

}  // namespace hallkorb
