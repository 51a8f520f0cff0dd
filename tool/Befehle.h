// The commands of hallkorb-sitzung: each reads a recorded folder, prints what it has found or done
// to standard output, one line each, and returns the exit status.
//
// What could not be done at all goes to standard error. One thread.
#pragma once

#include <functional>
#include <memory>

#include "platform/Plattform.h"
#include "tool/Aufruf.h"

namespace hallkorb {

// Makes the platform of this computer; only the commands that need one ask for it.
using NeuePlattform = std::function<std::unique_ptr<Plattform>()>;

// Whether everything printed has reached standard output; otherwise it says so on standard error.
[[nodiscard]] bool ausgabeGeschrieben();

[[nodiscard]] int fuehreAus(const Aufruf& aufruf, const NeuePlattform& neuePlattform);

}  // namespace hallkorb
