#include "platform/linux/audio/Vorrang.h"

#include <sched.h>
#include <sys/resource.h>

#include <cerrno>

namespace hallkorb {
namespace {

// Below what the graph's own threads have (83 or 88): they must never wait for ours.
constexpr int ECHTZEIT_STUFE = 10;
constexpr int ERHOEHTE_STUFE = -11;  // as audio servers have it

bool bitteUmEchtzeit(pid_t faden) {
  rlimit grenze{};
  const bool begrenzt = getrlimit(RLIMIT_RTPRIO, &grenze) == 0 && grenze.rlim_cur > 0 &&
                        grenze.rlim_cur < ECHTZEIT_STUFE;
  sched_param stufe{};
  stufe.sched_priority = begrenzt ? static_cast<int>(grenze.rlim_cur) : ECHTZEIT_STUFE;
  return sched_setscheduler(faden, SCHED_FIFO | SCHED_RESET_ON_FORK, &stufe) == 0;
}

}  // namespace

Vorrang vorrang(pid_t faden) {
  const int art = sched_getscheduler(faden);
  if (art >= 0) {
    const int ohneZusatz = art & ~SCHED_RESET_ON_FORK;
    if (ohneZusatz == SCHED_FIFO || ohneZusatz == SCHED_RR) return Vorrang::ECHTZEIT;
  }
  errno = 0;
  const int stufe = getpriority(PRIO_PROCESS, static_cast<id_t>(faden));
  return errno == 0 && stufe <= ERHOEHTE_STUFE ? Vorrang::ERHOEHT : Vorrang::KEINER;
}

Vorrang bitteUmVorrang(pid_t faden) {
  if (const Vorrang vorhanden = vorrang(faden); vorhanden != Vorrang::KEINER) return vorhanden;
  if (bitteUmEchtzeit(faden)) return Vorrang::ECHTZEIT;
  const bool gewaehrt = setpriority(PRIO_PROCESS, static_cast<id_t>(faden), ERHOEHTE_STUFE) == 0;
  return gewaehrt ? Vorrang::ERHOEHT : Vorrang::KEINER;
}

}  // namespace hallkorb
