#include "platform/linux/audio/Vorrang.h"

#include <sched.h>
#include <sys/resource.h>

#include <cerrno>

namespace hallkorb {
namespace {

constexpr int ERHOEHTE_STUFE = -11;  // the level of audio servers

bool hatEchtzeit(pid_t faden) {
  const int art = sched_getscheduler(faden);
  if (art < 0) return false;
  const int ohneZusatz = art & ~SCHED_RESET_ON_FORK;
  return ohneZusatz == SCHED_FIFO || ohneZusatz == SCHED_RR;
}

}  // namespace

Vorrang hebeVorrang(pid_t faden) {
  if (hatEchtzeit(faden)) return Vorrang::ECHTZEIT;
  const auto wer = static_cast<id_t>(faden);
  errno = 0;
  if (const int stufe = getpriority(PRIO_PROCESS, wer); errno == 0 && stufe <= ERHOEHTE_STUFE) {
    return Vorrang::ERHOEHT;
  }
  const bool gewaehrt = setpriority(PRIO_PROCESS, wer, ERHOEHTE_STUFE) == 0;
  return gewaehrt ? Vorrang::ERHOEHT : Vorrang::KEINER;
}

}  // namespace hallkorb
