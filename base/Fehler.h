// An error as a value: what platform calls and file operations hand up instead of throwing.
//
// A failure of one device or file must not end a recording, so errors travel as values to the one
// who decides what they mean. Three things are kept because three readers need them: the domain and
// code for programs and bug reports, the description for the person in front of the screen.
//
// Plain value, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace hallkorb {

struct Fehler {
  std::string domain;       // who speaks: "hallkorb", "posix", "pipewire", ...
  std::int64_t code = 0;    // the domain's own number
  std::string description;  // for people; one sentence, no line feed at its end

  friend bool operator==(const Fehler&, const Fehler&) = default;

  // The error as it is printed into a diagnostic line, with everything that it carries.
  [[nodiscard]] std::string gedruckt() const {
    return domain + " " + std::to_string(code) + ": " + description;
  }

  // An error number of the C library; `was` names what could not be done.
  static Fehler ausErrno(int nummer, const std::string& was) {
    return {"posix", nummer, was + ": " + std::generic_category().message(nummer)};
  }
};

// The result of an operation that yields nothing but may fail: absent means success.
using Ergebnis = std::optional<Fehler>;

}  // namespace hallkorb
