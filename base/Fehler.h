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

// The codes of the program's own domain, "hallkorb". A code means one thing, on every platform and
// in every version: a new one goes to the end, and none is used again.
enum class Fehlercode : std::int64_t {
  ohneBeschreibung = 0,  // the platform failed and said no more
  keinDisplay = 1,
  keinMikrofon = 2,
  keinVideoEingang = 3,  // the video file takes no pictures
  fensterWeg = 4,
  geraetGewechselt = 5,  // the input device, while it was opened
  keineFensterliste = 6,
  ungeradesBild = 7,  // the video's width or height
  programmFehlt = 8,
  programmGescheitert = 9,
  nichtLesbar = 10,  // a recorded folder, or a file in it
  inArbeit = 11,     // a folder that is being recorded into or repaired
  nichtsDa = 12,     // a folder without a recording, or without sound
  zuLang = 13,       // more sound than a file can hold
};

struct Fehler {
  std::string domain;       // the source: "hallkorb" (Fehlercode), "posix", "pipewire", ...
  std::int64_t code = 0;    // the domain's own number
  std::string description;  // for people; one sentence, no line feed at its end

  friend bool operator==(const Fehler&, const Fehler&) = default;

  // The whole error, as printed in a diagnostic line.
  [[nodiscard]] std::string gedruckt() const {
    return domain + " " + std::to_string(code) + ": " + description;
  }

  // An error that the program itself reports.
  static Fehler eigener(Fehlercode code, std::string text) {
    return {"hallkorb", static_cast<std::int64_t>(code), std::move(text)};
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
