// Waiting no longer than a while for work that may hang.
//
// Calls into a screen server or a capture service return when it answers, and a stuck one never
// does. A call cannot be cancelled from outside, but its caller can go on without it.
#pragma once

#include <functional>

#include "platform/Executor.h"

namespace hallkorb {

// Runs `arbeit` beside the caller and returns whether it ended within `sekunden`; false at once if
// the system has no thread for it. Otherwise it goes on by itself and may end long after the caller
// is gone: it must own everything it uses. If it ended in time, what it owned has been released on
// return.
[[nodiscard]] bool laufeBefristet(Executor& executor, double sekunden,
                                  std::function<void()> arbeit);

}  // namespace hallkorb
