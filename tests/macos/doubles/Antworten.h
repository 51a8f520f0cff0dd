// How the stand-ins of ScreenCaptureKit answer: on a queue of the service's own, or when the test
// says. Objective-C++ only.
#pragma once

#include <dispatch/dispatch.h>
#import <Foundation/Foundation.h>

#include "tests/macos/doubles/Bildschirm.h"

@class SCContentFilter;

namespace hallkorb::ersatz {

// The service's own queue.
[[nodiscard]] dispatch_queue_t dienstQueue();
// Gives the answer now, or keeps it for antworte().
void antworteAuf(bildschirm::Frage frage, dispatch_block_t antwort);
// What the answer to such a call is: an error, or nil.
[[nodiscard]] NSError* antwortFehler(bildschirm::Frage frage);
[[nodiscard]] bool ohneFehlerobjekt(bildschirm::Frage frage);
[[nodiscard]] NSError* dienstFehler(long code);

// The window that passes the filter; 0 if that is for a display.
[[nodiscard]] std::uint32_t fensterVon(SCContentFilter* filter);

void setzeInhaltZurueck();

}  // namespace hallkorb::ersatz
