// One window of the screen as a plain record, and the list of such records as JSON.
//
// The ranking of meeting windows sees nothing but these records. So it can be tried on any machine,
// on a saved list, and a user whose meeting was not found can send that list instead of a
// description.
//
// Lengths are in points of the screen's space, whose origin is at the top left. Plain values; any
// thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ScreenCapture.h"

namespace hallkorb {

// In JSON: an object with exactly these names as keys.
struct FensterInfo {
  std::uint32_t id = 0;  // the platform's window identifier
  std::string titel;     // empty when the window has none
  std::string bundle;    // bundle identifier of the owning application
  std::string app;       // its name for people
  double x = 0.0;
  double y = 0.0;
  double breite = 0.0;
  double hoehe = 0.0;
  bool sichtbar = false;   // on the screen
  std::int64_t ebene = 0;  // 0 for ordinary windows

  friend bool operator==(const FensterInfo&, const FensterInfo&) = default;
};

// A window list, as read from a file.
struct Eingabe {
  std::vector<FensterInfo> fenster;

  friend bool operator==(const Eingabe&, const Eingabe&) = default;
};

// The windows of a snapshot, in its order, without those that no application owns.
[[nodiscard]] std::vector<FensterInfo> metadaten(const ScreenContent& content);

// Reads a window list. Strict, since nobody could trust a choice from a list whose meaning was
// guessed. Returns nullopt if the text as a whole is not JSON (invalid UTF-8 and trailing text
// included), if a key is missing, or if a value has the wrong type or does not fit its field.
// Integers must be written as integers: "1.0" is not one. Other keys are skipped, whatever they
// hold, except for a number that fits no double (1e400), which makes the list unreadable. Of a
// repeated key the last one counts.
[[nodiscard]] std::optional<Eingabe> liesEingabe(std::string_view json);

// The list as one line of JSON that liesEingabe() reads. Invalid UTF-8 becomes U+FFFD. The program
// itself only reads lists; whoever makes one (a test, a fuzzer, a benchmark) writes it with this.
[[nodiscard]] std::string eingabeJSON(const Eingabe& eingabe);

}  // namespace hallkorb
