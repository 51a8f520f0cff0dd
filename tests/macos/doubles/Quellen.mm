// Stand-ins for Dispatch's sources of signals and of readable descriptors.
//
// Each source has a thread that waits for its event. On the platform a source sees signals that are
// ignored; here an ignored signal is gone, so the source takes a handler of its own, and what the
// program says with signal() from then on decides only whether the action follows as well. For that
// the linker leads calls of signal() here (--wrap=signal).
//
// On the platform a source sees each signal that is sent from when it watches, even if it is
// blocked, and none that was sent before. Here a blocked one stays pending: when it is ignored, it
// is passed on, or dropped if it had come before.
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <mutex>
#include <thread>
#include <utility>

#include "tests/macos/doubles/Schlangen.h"
#include "tests/macos/doubles/System.h"

#pragma clang diagnostic ignored "-Wprotocol"

using namespace hallkorb::ersatz;

extern "C" {
const struct dispatch_source_type_s _dispatch_source_type_signal = {{1}};
const struct dispatch_source_type_s _dispatch_source_type_read = {{2}};
}

extern "C" sighandler_t __real_signal(int nummer, sighandler_t aktion);

namespace {

constexpr int SIGNALE = 65;
std::atomic<int> rohre[SIGNALE] = {};      // where the handler writes
std::atomic<bool> beachtet[SIGNALE] = {};  // a source watches
std::atomic<sighandler_t> gesetzt[SIGNALE] = {};
std::atomic<bool> kamVorher[SIGNALE] = {};  // pending when the source began
std::atomic<bool> meldetNie{false};

void meldeAnkunft(int nummer) {
  static_cast<void>(!::write(rohre[nummer], "x", 1));
}

void beiSignal(int nummer) {
  if (gesetzt[nummer] == SIG_DFL) {  // the action comes besides the source, as on the platform
    __real_signal(nummer, SIG_DFL);  // the wrapped one would only remember it
    ::raise(nummer);
    return;
  }
  const int alt = errno;
  meldeAnkunft(nummer);
  errno = alt;
}

bool wartet(int nummer) {
  sigset_t wartende;
  sigpending(&wartende);
  return sigismember(&wartende, nummer) == 1;
}

// What is pending is gone as soon as it is ignored.
void verwirf(int nummer) {
  sigset_t signale;
  sigemptyset(&signale);
  sigaddset(&signale, nummer);
  const timespec sofort{};
  if (!wartet(nummer) || ::sigtimedwait(&signale, nullptr, &sofort) != nummer) return;
  if (!kamVorher[nummer].exchange(false)) meldeAnkunft(nummer);
}

// What a test does in such a moment.
struct Einwurf {
  std::mutex lock;
  std::optional<Signalmoment> wann;
  std::function<void()> tat;
};
Einwurf& einwurf() {
  static auto& einer = *new Einwurf;
  return einer;
}

void moment(Signalmoment jetzt) {
  std::function<void()> tat;
  {
    const std::lock_guard halter(einwurf().lock);
    if (einwurf().wann == jetzt) tat = einwurf().tat;
  }
  if (tat) tat();
}

void wecke(int eventfd) {
  const std::uint64_t eins = 1;
  static_cast<void>(!::write(eventfd, &eins, sizeof eins));
}

}  // namespace

extern "C" sighandler_t __wrap_signal(int nummer, sighandler_t aktion) {
  if (nummer <= 0 || nummer >= SIGNALE || !beachtet[nummer]) return __real_signal(nummer, aktion);
  if (aktion == SIG_IGN) {
    moment(Signalmoment::vorDemIgnorieren);
    verwirf(nummer);
  }
  return gesetzt[nummer].exchange(aktion);
}

@interface HKQuelle : NSObject <OS_dispatch_source> {
 @public
  const struct dispatch_source_type_s* typ;
  int griff;
  dispatch_queue_t queue;
  dispatch_block_t ereignis;
  dispatch_block_t abgesagt;
  dispatch_block_t angemeldet;
  bool gestartet;
  int wecker;                   // makes the thread look again
  int lesen;                    // what the thread reads or polls
  std::atomic<bool> unterwegs;  // the handler has been put on the queue
  std::atomic<bool> weg;        // cancelled
}
@end
@implementation HKQuelle
- (void)dealloc {
  if (!gestartet) dispatchEnde("a source was released that never began");
  ::close(wecker);
}
@end

namespace {

// Retained, since a source is also handled on threads without a pool.
HKQuelle* quelleVon(id quelle) __attribute__((ns_returns_retained));
HKQuelle* quelleVon(id quelle) {
  return static_cast<HKQuelle*>(quelle);
}

void leere(int deskriptor) {
  char alles[64];
  static_cast<void>(!::read(deskriptor, alles, sizeof alles));
}

// Waits for the event, or for being woken.
void warteUndRufe(HKQuelle* q) {
  @autoreleasepool {
    struct pollfd p[2] = {{q->wecker, POLLIN, 0}, {q->unterwegs ? -1 : q->lesen, POLLIN, 0}};
    ::poll(p, 2, -1);
    if ((p[0].revents & POLLIN) != 0) leere(q->wecker);
    if (q->weg || (p[1].revents & (POLLIN | POLLHUP)) == 0) return;
    if (q->typ == &_dispatch_source_type_signal) leere(q->lesen);
    q->unterwegs = true;
    dispatch_async(q->queue, ^{
      if (!q->weg && q->ereignis != nil) q->ereignis();
      q->unterwegs = false;
      wecke(q->wecker);
    });
  }
}

// The thread of a source. It holds the source until that is cancelled, which counts as work until
// the thread has let go of it.
void wache(HKQuelle* q) {
  while (!q->weg)
    warteUndRufe(q);
  @autoreleasepool {
    dispatch_async(q->queue, ^{
      if (q->abgesagt != nil) q->abgesagt();
      q->ereignis = nil;
      q->abgesagt = nil;
      q->angemeldet = nil;
    });
  }
}

void meldeSignalAn(HKQuelle* q) {
  int rohr[2];
  if (::pipe(rohr) != 0) dispatchEnde("pipe");
  q->lesen = rohr[0];
  rohre[q->griff] = rohr[1];
  struct sigaction aktion{};
  aktion.sa_handler = beiSignal;
  aktion.sa_flags = SA_RESTART;
  struct sigaction vorher{};
  ::sigaction(q->griff, &aktion, &vorher);
  if (!beachtet[q->griff].exchange(true)) gesetzt[q->griff] = vorher.sa_handler;
}

}  // namespace

void hallkorb::ersatz::stummeAnmeldung(bool ja) {
  meldetNie = ja;
}

void hallkorb::ersatz::im(std::optional<Signalmoment> wann, std::function<void()> tat) {
  const std::lock_guard halter(einwurf().lock);
  einwurf().wann = wann;
  einwurf().tat = std::move(tat);
}

dispatch_source_t dispatch_source_create(dispatch_source_type_t typ, uintptr_t griff, uintptr_t,
                                         dispatch_queue_t queue) {
  HKQuelle* neu = [[HKQuelle alloc] init];
  neu->typ = typ;
  neu->griff = static_cast<int>(griff);
  neu->queue = queue;
  neu->wecker = ::eventfd(0, 0);
  return static_cast<dispatch_source_t>(neu);
}

void dispatch_source_set_event_handler(dispatch_source_t quelle, dispatch_block_t block) {
  quelleVon(quelle)->ereignis = block;
}

void dispatch_source_set_cancel_handler(dispatch_source_t quelle, dispatch_block_t block) {
  quelleVon(quelle)->abgesagt = block;
}

void dispatch_source_set_registration_handler(dispatch_source_t quelle, dispatch_block_t block) {
  quelleVon(quelle)->angemeldet = block;
}

// The source begins to watch on its queue, when that is served.
void dispatch_resume(dispatch_object_t quelle) {
  HKQuelle* q = quelleVon(quelle);
  q->gestartet = true;
  const bool istSignal = q->typ == &_dispatch_source_type_signal;
  if (istSignal) kamVorher[q->griff] = wartet(q->griff);  // on the thread that may hold it back
  dispatch_async(q->queue, ^{
    q->lesen = q->griff;
    if (istSignal) {
      meldeSignalAn(q);
      moment(Signalmoment::angemeldet);
    }
    std::thread([eine = q]() mutable {
      wache(eine);
      eine = nil;
      beendeArbeit();
    }).detach();
    if (q->angemeldet != nil && !meldetNie) q->angemeldet();
  });
}

void dispatch_source_cancel(dispatch_source_t quelle) {
  HKQuelle* q = quelleVon(quelle);
  if (q->weg.exchange(true)) return;
  beginneArbeit();
  wecke(q->wecker);
}
