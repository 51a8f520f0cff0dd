// Waiting no longer than a while for work that may hang.
//
// Calls into a screen server or a capture service return when it answers, and one that is stuck
// does not. A call cannot be taken back from outside; but its caller can go on without it.
#pragma once

#include <functional>

#include "platform/Executor.h"

namespace hallkorb {

// Runs `arbeit` beside the caller and returns whether it ended within `sekunden`; false at once if
// the system has no thread for it. Otherwise it goes on by itself and may end long after the caller is gone: it must own all that it uses. When it has
// ended in time, what it owned has been released on return.
[[nodiscard]] bool laufeBefristet(Executor& executor, double sekunden,
                                  std::function<void()> arbeit);

}  // namespace hallkorb
