// Stand-ins for the main run loop and the tick counter.
#include <mach/mach_time.h>

#include <chrono>

#include "tests/macos/doubles/Schlangen.h"

namespace hallkorb::ersatz {
namespace {

bool angehalten = false;  // under the main queue's lock

}  // namespace

Schlange& hauptschlange() {
  static auto& eine = *new Schlange;
  return eine;
}

}  // namespace hallkorb::ersatz

using namespace hallkorb::ersatz;

void CFRunLoopRun() {
  Schlange& schlange = hauptschlange();
  diene(&schlange);
  while (true) {
    std::unique_lock halter(schlange.lock);
    schlange.neues.wait(halter, [&] { return angehalten || !schlange.bloecke.empty(); });
    if (angehalten) break;
    fuehreNaechstenAus(schlange, std::move(halter));
  }
  angehalten = false;
  diene(nullptr);
}

CFRunLoopRef CFRunLoopGetMain() {
  return reinterpret_cast<CFRunLoopRef>(&hauptschlange());
}

void CFRunLoopStop(CFRunLoopRef) {
  {
    const std::lock_guard halter(hauptschlange().lock);
    angehalten = true;
  }
  hauptschlange().neues.notify_all();
}

// Ticks of 24 MHz, as on newer machines: a forgotten conversion shows.
uint64_t mach_absolute_time() {
  const auto jetzt = std::chrono::steady_clock::now().time_since_epoch().count();
  return static_cast<uint64_t>(jetzt) / 125 * 3;
}
