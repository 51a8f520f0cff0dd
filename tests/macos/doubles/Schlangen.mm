// Stand-ins for Dispatch's queues and semaphores.
#include "tests/macos/doubles/Schlangen.h"

#include <pthread.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "tests/macos/doubles/System.h"

#pragma clang diagnostic ignored "-Wprotocol"

namespace hallkorb::ersatz {
namespace {

thread_local Schlange* meine = nullptr;

// Blocks that wait on a queue or run, of all queues but the main one.
struct Betrieb {
  std::mutex lock;
  std::condition_variable weniger;
  long offen = 0;
};
Betrieb& betrieb() {
  static auto& einer = *new Betrieb;
  return einer;
}

void stelleAn(Schlange& schlange, dispatch_block_t block) {
  if (&schlange != &hauptschlange()) beginneArbeit();
  {
    const std::lock_guard halter(schlange.lock);
    schlange.bloecke.push_back(block);
  }
  schlange.neues.notify_all();
}

void arbeite(const std::shared_ptr<Schlange>& schlange) {
  ::pthread_setname_np(::pthread_self(), schlange->name.substr(0, 15).c_str());
  diene(schlange.get());
  while (true) {
    std::unique_lock halter(schlange->lock);
    schlange->neues.wait(halter, [&] { return schlange->zu || !schlange->bloecke.empty(); });
    if (schlange->bloecke.empty()) return;
    fuehreNaechstenAus(*schlange, std::move(halter));
    beendeArbeit();
  }
}

}  // namespace

void beginneArbeit() {
  const std::lock_guard halter(betrieb().lock);
  ++betrieb().offen;
}

void beendeArbeit() {
  {
    const std::lock_guard halter(betrieb().lock);
    --betrieb().offen;
  }
  betrieb().weniger.notify_all();
}

bool ruhe() {
  std::unique_lock halter(betrieb().lock);
  return betrieb().weniger.wait_for(halter, std::chrono::minutes(1),
                                    [] { return betrieb().offen == 0; });
}

void diene(Schlange* schlange) {
  meine = schlange;
}

void fuehreNaechstenAus(Schlange& schlange, std::unique_lock<std::mutex> halter) {
  @autoreleasepool {
    dispatch_block_t block = schlange.bloecke.front();
    schlange.bloecke.pop_front();
    halter.unlock();
    block();
  }
}

void dispatchEnde(const char* was) {
  std::fprintf(stderr, "Dispatch: %s\n", was);
  std::abort();
}

}  // namespace hallkorb::ersatz

using namespace hallkorb::ersatz;

@interface HKSchlange : NSObject <OS_dispatch_queue> {
 @public
  std::shared_ptr<Schlange> schlange;
}
@end
@implementation HKSchlange
- (void)dealloc {
  {
    const std::lock_guard halter(schlange->lock);
    schlange->zu = true;
  }
  schlange->neues.notify_all();
}
@end

// The main queue is static data.
@interface HKUnsterblichHaupt : NSObject <OS_dispatch_queue_main>
@end
@implementation HKUnsterblichHaupt
@end
extern "C" char hkHauptKlasse __asm__("OBJC_CLASS_$_HKUnsterblichHaupt");
struct dispatch_queue_s {
  void* isa;
};
extern "C" struct dispatch_queue_s _dispatch_main_q = {&hkHauptKlasse};

namespace {

Schlange& schlangeVon(dispatch_queue_t queue) {
  if ([queue isKindOfClass:[HKUnsterblichHaupt class]]) return hauptschlange();
  return *static_cast<HKSchlange*>(static_cast<id>(queue))->schlange;
}

}  // namespace

dispatch_queue_t dispatch_queue_create(const char* name, dispatch_queue_attr_t) {
  HKSchlange* neu = [[HKSchlange alloc] init];
  neu->schlange = std::make_shared<Schlange>();
  neu->schlange->name = name != nullptr ? name : "";
  std::thread([schlange = neu->schlange] { arbeite(schlange); }).detach();
  return static_cast<dispatch_queue_t>(neu);
}

const char* dispatch_queue_get_label(dispatch_queue_t queue) {
  if (queue != nil) return schlangeVon(queue).name.c_str();
  return meine != nullptr ? meine->name.c_str() : "";
}

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
  stelleAn(schlangeVon(queue), ^{
    static_cast<void>(queue);  // lives while blocks wait on it
    block();
  });
}

void dispatch_sync(dispatch_queue_t queue, __attribute__((noescape)) dispatch_block_t block) {
  Schlange& schlange = schlangeVon(queue);
  if (meine == &schlange) dispatchEnde("dispatch_sync on the queue that runs it");
  struct Stand {
    std::mutex lock;
    std::condition_variable cv;
    bool fertig = false;
  } stand;
  Stand* const zeiger = &stand;
  __unsafe_unretained dispatch_block_t nurHier = block;
  stelleAn(schlange, ^{
    nurHier();
    const std::lock_guard halter(zeiger->lock);
    zeiger->fertig = true;
    zeiger->cv.notify_all();
  });
  std::unique_lock halter(stand.lock);
  stand.cv.wait(halter, [&] { return stand.fertig; });
}

@interface HKSemaphor : NSObject <OS_dispatch_semaphore> {
 @public
  std::mutex lock;
  std::condition_variable mehr;
  long wert;
  long anfang;
}
@end
@implementation HKSemaphor
- (void)dealloc {
  if (wert < anfang) dispatchEnde("a semaphore was released while in use");
}
@end

namespace {

// Retained, since semaphores are used on threads without a pool.
HKSemaphor* semaphorVon(dispatch_semaphore_t semaphor) __attribute__((ns_returns_retained));
HKSemaphor* semaphorVon(dispatch_semaphore_t semaphor) {
  return static_cast<HKSemaphor*>(static_cast<id>(semaphor));
}

}  // namespace

dispatch_semaphore_t dispatch_semaphore_create(intptr_t wert) {
  HKSemaphor* neu = [[HKSemaphor alloc] init];
  neu->wert = wert;
  neu->anfang = wert;
  return static_cast<dispatch_semaphore_t>(neu);
}

intptr_t dispatch_semaphore_signal(dispatch_semaphore_t welcher) {
  HKSemaphor* semaphor = semaphorVon(welcher);
  {
    const std::lock_guard halter(semaphor->lock);
    ++semaphor->wert;
  }
  semaphor->mehr.notify_one();
  return 0;
}

intptr_t dispatch_semaphore_wait(dispatch_semaphore_t welcher, dispatch_time_t bis) {
  HKSemaphor* semaphor = semaphorVon(welcher);
  std::unique_lock halter(semaphor->lock);
  const auto da = [&] { return semaphor->wert > 0; };
  if (bis == DISPATCH_TIME_FOREVER) {
    semaphor->mehr.wait(halter, da);
  } else {
    const std::chrono::steady_clock::time_point frist{std::chrono::nanoseconds(bis)};
    if (!semaphor->mehr.wait_until(halter, frist, da)) return 1;
  }
  --semaphor->wert;
  return 0;
}

namespace {

// What was put off, with the time since then in nanoseconds of the test.
struct Aufgeschoben {
  std::uint64_t nach;
  dispatch_queue_t queue;
  dispatch_block_t block;
};
struct Uhr {
  std::mutex lock;
  std::deque<Aufgeschoben> alle;
};
Uhr& uhr() {
  static auto& eine = *new Uhr;
  return eine;
}

std::uint64_t jetzt() {
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

}  // namespace

dispatch_queue_global_t dispatch_get_global_queue(intptr_t, uintptr_t) {
  static dispatch_queue_t queue = dispatch_queue_create("global", DISPATCH_QUEUE_SERIAL);
  return static_cast<dispatch_queue_global_t>(static_cast<id>(queue));
}

void dispatch_after(dispatch_time_t wann, dispatch_queue_t queue, dispatch_block_t block) {
  const std::uint64_t bisher = jetzt();
  const std::lock_guard halter(uhr().lock);
  uhr().alle.push_back({wann > bisher ? wann - bisher : 0, queue, block});
}

void hallkorb::ersatz::lassZeitVergehen(double sekunden) {
  @autoreleasepool {
    const auto dauer = static_cast<std::uint64_t>(sekunden * 1e9);
    std::deque<Aufgeschoben> faellige;
    {
      const std::lock_guard halter(uhr().lock);
      std::deque<Aufgeschoben> spaetere;
      for (Aufgeschoben& a : uhr().alle) {
        if (a.nach > dauer) {
          spaetere.push_back({a.nach - dauer, a.queue, a.block});
        } else {
          faellige.push_back(a);
        }
      }
      uhr().alle.swap(spaetere);
    }
    for (const Aufgeschoben& a : faellige)
      dispatch_async(a.queue, a.block);
    faellige.clear();
    static_cast<void>(ruhe());
  }
}

dispatch_time_t dispatch_time(dispatch_time_t wann, int64_t dauer) {
  return (wann == DISPATCH_TIME_NOW ? jetzt() : wann) + static_cast<std::uint64_t>(dauer);
}
