// Priority over other programs, for the threads that sound passes through.
//
// A client of the audio graph that is not ready within one cycle (21 ms as a rule) has lost the
// block. At normal priority on a busy computer that happens several times a minute. PipeWire's
// library asks for real-time priority for its data thread by itself: directly, as the user's limit
// RLIMIT_RTPRIO permits, otherwise from the desktop portal or from rtkit. What is done here is the
// same for the capture's thread, and the second best for both: the nice level -11, which
// RLIMIT_NICE may permit where real time is refused.
//
// Threads are named by the kernel's ids; 0 is the caller.
#pragma once

#include <sys/types.h>

namespace hallkorb {

enum class Vorrang {
  ECHTZEIT,  // a real-time policy
  ERHOEHT,   // nice -11 or better
  KEINER,
};

// What a thread of this process has.
[[nodiscard]] Vorrang vorrang(pid_t faden);

// Asks for more than it has, if it has none, and returns what it has then. Its children do not
// inherit real-time priority, but they do inherit the nice level. Any thread.
Vorrang bitteUmVorrang(pid_t faden);

}  // namespace hallkorb
