// What macOS refuses, in words that help: which switch the user must turn, and where it is.
//
// Permissions on macOS belong to the application that started this program (or to the terminal it
// was started from), so the texts speak of "the app that starts the recording" and not of this
// program. The system's own descriptions, in the user's language, stay as they are if the user can
// do nothing about the error.
//
// Pure functions, any thread.
#pragma once

#include <cstdint>
#include <string>

#include "base/Fehler.h"

namespace hallkorb {

// The error domains that matter here, by the system's names for them.
inline constexpr const char* SCREEN_CAPTURE_DOMAIN = "SCStreamErrorDomain";
inline constexpr const char* MIKROFON_DOMAIN = "AVAuthorizationStatus";

// The numbers of AVAuthorizationStatus.
enum class Erlaubnis : std::int64_t {
  nichtGefragt = 0,
  eingeschraenkt = 1,
  verweigert = 2,
  erteilt = 3
};

// The error for a microphone that is not, or not yet, permitted; the code is the permission's
// number.
[[nodiscard]] Fehler mikrofonNichtErlaubt(Erlaubnis erlaubnis);

// What is to be captured does not exist, or no longer does.
[[nodiscard]] Fehler keinDisplay();
[[nodiscard]] Fehler fensterVerschwunden();

// The error with a description that helps, if there is one; otherwise as it is.
[[nodiscard]] Fehler erklaert(Fehler fehler);

// Whether the user has refused, by a permission or by ending the capture in the menu bar: a retry
// would only ask again.
[[nodiscard]] bool istEntscheidungDesNutzers(const Fehler& fehler);

}  // namespace hallkorb
