#include "base/Abbruch.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "base/Ausgabe.h"

namespace hallkorb {
namespace {

// How long the reader of a full pipe may take, in milliseconds.
constexpr int FRIST = 1000;

// Takes no memory and no lock. A host that does not read must not keep the process alive.
void schreibeDirekt(std::string_view zeile) {
  pollfd wer{STDERR_FILENO, POLLOUT, 0};
  if (::poll(&wer, 1, FRIST) == 0) return;
  [[maybe_unused]] const ssize_t n = ::write(STDERR_FILENO, zeile.data(), zeile.size());
}

// Only calls that are safe in a signal handler.
void absturz(int nummer) {
  schreibeDirekt("[hallkorb] Abbruch: Absturz (Speicherzugriff oder Rechenfehler)\n");
  std::raise(nummer);  // SA_RESETHAND has restored the default action
}

// The thread that got no memory may have been about to write a line: then it holds the lock of the
// output, and there is no memory for another line.
[[noreturn]] void ohneSpeicher() {
  schreibeDirekt("[hallkorb] Abbruch: kein Speicher mehr\n");
  std::abort();
}

}  // namespace

// A host that does not read must not keep a process alive that cannot go on.
void abbruch(std::string_view grund) {
  try {
    begrenzeAusgabe(1.0);
    log("[hallkorb] Abbruch: " + std::string(grund));
    leereAusgabe();
  } catch (const std::bad_alloc&) {
    ohneSpeicher();
  }
  std::abort();
}

void meldeAbstuerze() {
  std::set_terminate([] {
    const auto ausnahme = std::current_exception();
    if (!ausnahme) abbruch("unerwartetes Ende");
    try {
      std::rethrow_exception(ausnahme);
    } catch (const std::bad_alloc&) {
      ohneSpeicher();
    } catch (const std::exception& e) {
      abbruch(std::string("unbehandelte Ausnahme: ") + e.what());
    } catch (...) {
      abbruch("unbehandelte Ausnahme");
    }
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
