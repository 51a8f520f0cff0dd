// Priority over other programs, for the threads that sound passes through.
//
// A client of the audio graph that is not ready within one cycle (usually 21 ms) loses the block.
// At normal priority on a busy computer that happens several times a minute. So PipeWire's library
// asks for real-time priority for its data thread: directly, as the user's RLIMIT_RTPRIO permits,
// otherwise from the desktop portal or from rtkit. Here is the second best: the nice level -11,
// which RLIMIT_NICE may permit if real time is refused.
//
// The capture's own thread has no deadline, since the ring in front of it holds ten seconds; it
// gets the nice level, and hands it down to the threads that the library starts from it. Real time
// could end the process: rtkit grants it only to processes that the kernel may kill when a
// real-time thread computes for 200 ms, and filling the gap of an hour's sleep takes longer.
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

// Raises a thread of this process to nice -11 if it has no priority and the limits permit it.
// Returns what it has then. Any thread.
Vorrang hebeVorrang(pid_t faden);

}  // namespace hallkorb
