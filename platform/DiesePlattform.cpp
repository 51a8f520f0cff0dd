#include "platform/DiesePlattform.h"

#if HALLKORB_MACOS
#include "platform/macos/MacPlattform.h"
using Plattformart = hallkorb::MacPlattform;
#elif defined(__linux__)
#include "platform/linux/LinuxPlattform.h"
using Plattformart = hallkorb::LinuxPlattform;
#else
#error "no platform for this system"
#endif

namespace hallkorb {

std::unique_ptr<Plattform> diesePlattform() {
  return std::make_unique<Plattformart>();
}

}  // namespace hallkorb
