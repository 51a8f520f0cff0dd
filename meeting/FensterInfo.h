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

// In JSON an object with exactly these names as keys.
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

// A window list as the window choice reads it from a file.
struct Eingabe {
  std::vector<FensterInfo> fenster;

  friend bool operator==(const Eingabe&, const Eingabe&) = default;
};

// The windows of a snapshot in its order, without those that no application owns.
[[nodiscard]] std::vector<FensterInfo> metadaten(const ScreenContent& content);

// Reads a window list. Strict, since a guess at what a list may have meant would be a choice that
// nobody can trust: nothing comes back when the text is no JSON as a whole (invalid UTF-8 and
// trailing text included), when a key is missing, or when a value has another type than its field
// or does not fit it. Integers must be written as integers: "1.0" is none. Further keys are passed
// over, whatever they hold and however deeply nested, but for numbers that fit no double (1e400): a
// list with one is not read. Of a repeated key the last one counts.
[[nodiscard]] std::optional<Eingabe> liesEingabe(std::string_view json);

// The list as JSON, one line; what liesEingabe() reads. Bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string eingabeJSON(const Eingabe& eingabe);

}  // namespace hallkorb
