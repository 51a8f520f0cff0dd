#include "base/Faden.h"

#include <pthread.h>

#include <cerrno>
#include <csignal>

namespace hallkorb {

void beginneFaden(const std::string& name) {
  const std::string kurz = name.substr(0, 15);
#if HALLKORB_MACOS
  pthread_setname_np(kurz.c_str());
#else
  pthread_setname_np(pthread_self(), kurz.c_str());
#endif

  sigset_t signale;
  sigfillset(&signale);
  for (const int eigenes : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) {
    sigdelset(&signale, eigenes);
  }
  pthread_sigmask(SIG_BLOCK, &signale, nullptr);
}

Fehler keinFaden() {
  return {"posix", EAGAIN, "das System gibt keinen Thread mehr her"};
}

}  // namespace hallkorb
