// The platform of the computer that the program was built for: the one place that names one.
//
// main() makes it before any other thread is started, and once: on Linux the run loop must block
// its signals before there are threads that would take them.
#pragma once

#include <memory>

#include "platform/Plattform.h"

namespace hallkorb {

[[nodiscard]] std::unique_ptr<Plattform> diesePlattform();

}  // namespace hallkorb
