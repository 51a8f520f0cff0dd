// What every thread of ours begins with.
//
// Signals are meant for the main thread's run loop. The kernel gives a signal to any thread that
// does not block it, and if that happens before the run loop has taken the signal over, its default
// action ends the process. So no other thread takes any.
#pragma once

#include <string>

namespace hallkorb {

// Names the calling thread for debuggers (systems keep the first 15 characters), and blocks all
// signals in it and in those that it starts, but for the ones that a fault of its own raises. First
// thing in the thread.
void beginneFaden(const std::string& name);

}  // namespace hallkorb
