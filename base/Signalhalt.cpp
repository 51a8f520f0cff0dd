#include "base/Signalhalt.h"

#include <csignal>
#include <initializer_list>

namespace hallkorb {
namespace {

sigset_t geerbteMaske;

[[gnu::constructor(101)]] void halteSignale() {
  sigset_t signale;
  sigemptyset(&signale);
  for (const int endet : {SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&signale, endet);
  }
  pthread_sigmask(SIG_BLOCK, &signale, &geerbteMaske);
}

}  // namespace

void gibSignaleFrei() {
  pthread_sigmask(SIG_SETMASK, &geerbteMaske, nullptr);
}

}  // namespace hallkorb
