// Conversions that all files of calls share: texts, errors, exceptions.
//
// Objective-C++ only.
#pragma once

#import <Foundation/Foundation.h>

#include <string>

#include "base/Fehler.h"

#if !__has_feature(objc_arc)
#error "compile with -fobjc-arc: without it every object here leaks"
#endif

namespace hallkorb {

// A copy of the text; empty if there is none. The system's own pointer dies with its pool.
[[nodiscard]] std::string text(NSString* _Nullable text);

// The error, with the description that the system gives in the user's language; keinSpeicher() if
// there is no memory for it, since errors come on threads of the system, too.
[[nodiscard]] Fehler fehlerAus(NSError* _Nullable error);
[[nodiscard]] Ergebnis ergebnisAus(NSError* _Nullable error);

// Runs `aufruf` and returns its exception, if it raises one, as an error. The audio and video
// frameworks raise exceptions in cases in which other calls return errors.
template <class Aufruf>
[[nodiscard]] Ergebnis ohneAusnahme(Aufruf aufruf) {
  @try {
    aufruf();
    return {};
  } @catch (NSException* ausnahme) {
    return Fehler{"NSException", 0, text(ausnahme.name) + ": " + text(ausnahme.reason)};
  }
}

}  // namespace hallkorb
