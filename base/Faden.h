// Threads of our own: how each one begins, and what happens if the system has none left.
//
// Signals are meant for the main thread's run loop. The kernel gives a signal to any thread that
// does not block it, and until the run loop has taken the signal over, its default action ends the
// process. So no other thread takes any.
//
// A limit on threads may be reached at any time (other programs of the user count too), and a new
// thread takes memory. The standard library throws then, and an exception that nobody expects would
// end the recording.
#pragma once

#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "base/Fehler.h"

namespace hallkorb {

// Names the calling thread for debuggers (systems keep the first 15 characters), and blocks all
// signals in it and in those that it starts, except those that a fault of its own raises. First
// thing in the thread.
void beginneFaden(const std::string& name);

// The error to report if the system has no thread left.
[[nodiscard]] Fehler keinFaden();

// Starts a thread that runs `arbeit`; nullopt if the system refuses.
template <class Arbeit>
[[nodiscard]] std::optional<std::thread> neuerFaden(std::string name, Arbeit arbeit) {
  try {
    return std::thread([name = std::move(name), arbeit = std::move(arbeit)]() mutable {
      beginneFaden(name);
      arbeit();
    });
  } catch (const std::system_error&) {
    return std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace hallkorb
