// The commands of hallkorb-sitzung: each reads a recorded folder, prints what it has found or done
// to standard output, one line each, and returns the exit status.
//
// What could not be done at all goes to standard error. One thread.
#pragma once

#include "tool/Aufruf.h"

namespace hallkorb {

[[nodiscard]] int fuehreAus(const Aufruf& aufruf);

}  // namespace hallkorb
