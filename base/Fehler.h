// An error as a value: what platform calls and file operations hand up instead of throwing.
//
// A failure of one device or file must not end a recording, so errors travel as values to the
// caller that decides what they mean. The domain and code are for programs and bug reports, the
// description is for the person in front of the screen.
//
// Plain value, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace hallkorb {

struct Fehler {
  std::string domain;       // the source: "hallkorb", "posix", "pipewire", ...
  std::int64_t code = 0;    // the domain's own number
  std::string description;  // for people; one sentence, no line feed at its end

  friend bool operator==(const Fehler&, const Fehler&) = default;

  // The whole error, as printed in a diagnostic line.
  [[nodiscard]] std::string gedruckt() const {
    return domain + " " + std::to_string(code) + ": " + description;
  }

  // An error number of the C library; `was` names what could not be done.
  static Fehler ausErrno(int nummer, const std::string& was) {
    return {"posix", nummer, was + ": " + std::generic_category().message(nummer)};
  }
};

// The result of an operation that returns no value but may fail.
//
// Queried by name, never as a bool: true could mean an error as well as a success.
class [[nodiscard]] Ergebnis {
 public:
  Ergebnis() = default;                                    // succeeded
  Ergebnis(Fehler fehler) : fehler_(std::move(fehler)) {}  // failed with this

  [[nodiscard]] bool gelungen() const { return !fehler_; }
  [[nodiscard]] bool gescheitert() const { return fehler_.has_value(); }

  // Only if it failed.
  [[nodiscard]] const Fehler& fehler() const& { return *fehler_; }
  [[nodiscard]] Fehler&& fehler() && { return *std::move(fehler_); }

  friend bool operator==(const Ergebnis&, const Ergebnis&) = default;

 private:
  std::optional<Fehler> fehler_;
};

}  // namespace hallkorb
