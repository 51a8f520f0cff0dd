#include "platform/HostClock.h"

#include <atomic>
#include <cstdlib>

namespace hallkorb {
namespace {

std::atomic<const HostClock*> hostClock{nullptr};

}  // namespace

void setzeHostClock(const HostClock& uhr) {
  hostClock.store(&uhr, std::memory_order_release);
}

double hostSekunden() {
  const HostClock* uhr = hostClock.load(std::memory_order_acquire);
  if (uhr == nullptr) std::abort();  // a reader before the driver has set the clock
  return uhr->sekunden();
}

}  // namespace hallkorb
