#include "platform/HostClock.h"

#include <atomic>
#include <cstdlib>

namespace hallkorb {
namespace {

std::atomic<const HostClock*> hostClock{nullptr};

const HostClock& gesetzte() {
  const HostClock* uhr = hostClock.load(std::memory_order_acquire);
  if (uhr == nullptr) std::abort();  // a reader before the driver has set the clock
  return *uhr;
}

}  // namespace

void setzeHostClock(const HostClock& uhr) {
  hostClock.store(&uhr, std::memory_order_release);
}

double hostSekunden() {
  return gesetzte().sekunden();
}

double unixSekunden() {
  return static_cast<double>(gesetzte().unixMs()) / 1000.0;
}

}  // namespace hallkorb
