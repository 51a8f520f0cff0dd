// Stand-in for the naming of threads.
#include "tests/macos/doubles/Posix.h"

#include <pthread.h>

#include <atomic>

#include "tests/macos/doubles/System.h"

namespace {

std::atomic<int> fehler{0};

}  // namespace

void hallkorb::ersatz::keinFadenname(int fehlernummer) {
  fehler = fehlernummer;
}

int pthread_setname_np(const char* name) {
  if (fehler != 0) return fehler;
  return ::pthread_setname_np(::pthread_self(), name);
}
