// Want of memory as an error value, for work that a recording can do without.
//
// The standard library throws if there is no memory, and an exception that leaves a thread ends the
// process. For the sound that is right: without memory there is none. The picture needs far more of
// it, so it is often the picture alone that gets none, and then only the picture may end.
//
// Any thread.
#pragma once

#include <cerrno>
#include <new>
#include <string>
#include <type_traits>

#include "base/Ausgabe.h"
#include "base/Fehler.h"

namespace hallkorb {

// The error to report. Its texts are short enough to lie in the strings themselves: it needs no
// memory.
[[nodiscard]] inline Fehler keinSpeicher() {
  return {"posix", ENOMEM, "kein Speicher"};
}

// Runs `schritt` and returns its Ergebnis, if it has one; if it gets no memory, it has failed.
template <class Schritt>
[[nodiscard]] Ergebnis fangeMangel(Schritt schritt) {
  try {
    if constexpr (std::is_void_v<decltype(schritt())>) {
      schritt();
      return {};
    } else {
      return schritt();
    }
  } catch (const std::bad_alloc&) {
    return keinSpeicher();
  }
}

// Logs the line; it is lost if there is no memory for it.
inline void logFallsMoeglich(const char* was, const std::string& text = {}) {
  static_cast<void>(fangeMangel([&] { log(was + text); }));
}

}  // namespace hallkorb
