#include "platform/macos/MacRunLoop.h"

#include <dispatch/dispatch.h>
#import <Foundation/Foundation.h>
#include <sys/event.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#if !__has_feature(objc_arc)
#error "compile with -fobjc-arc: without it every object here leaks"
#endif

namespace hallkorb {
namespace {

// Takes microseconds; a system that needs longer is not waited for.
constexpr std::int64_t REGISTRIERUNG = NSEC_PER_SEC;

// Whether the signal has come while it was held back.
bool wartet(int nummer) {
  sigset_t wartende;
  sigemptyset(&wartende);
  sigpending(&wartende);
  return sigismember(&wartende, nummer) == 1;
}

void halteNichtMehr(int nummer) {
  sigset_t signale;
  sigemptyset(&signale);
  sigaddset(&signale, nummer);
  pthread_sigmask(SIG_UNBLOCK, &signale, nullptr);
}

}  // namespace

struct MacRunLoop::Innen {
  // Runs `handler` unless the loop is to end.
  void rufe(const Handler& handler) {
    {
      const std::lock_guard halter(lock);
      if (status) return;
    }
    @autoreleasepool {
      handler();
    }
  }

  // Lets the source run until the loop is gone. Its handler may hold the loop only weakly.
  void auf(dispatch_source_t quelle, void (^handler)(void)) {
    dispatch_source_set_event_handler(quelle, handler);
    dispatch_resume(quelle);
    quellen.push_back(quelle);
  }

  // Where the signals arrive. A source on the main queue would only begin to watch when that queue
  // is served, and what comes before that would be lost.
  dispatch_queue_t signale = dispatch_queue_create("signale", DISPATCH_QUEUE_SERIAL);
  std::vector<dispatch_source_t> quellen;  // main thread
  std::mutex lock;
  std::optional<int> status;
};

MacRunLoop::MacRunLoop() : innen_(std::make_shared<Innen>()) {}

MacRunLoop::~MacRunLoop() {
  for (dispatch_source_t quelle : innen_->quellen)
    dispatch_source_cancel(quelle);
}

// The default action is switched off only once the source watches: in between, a signal would reach
// nobody. What came before is still held back (base/Signalhalt.h), and ignoring it drops it, so it
// is asked for in between.
void MacRunLoop::aufSignal(int nummer, Handler handler) {
  dispatch_source_t quelle = dispatch_source_create(
      DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(nummer), 0, innen_->signale);
  dispatch_semaphore_t wacht = dispatch_semaphore_create(0);
  dispatch_source_set_registration_handler(quelle, ^{
    dispatch_semaphore_signal(wacht);
  });
  const std::weak_ptr<Innen> innen = innen_;
  innen_->auf(quelle, ^{
    dispatch_async(dispatch_get_main_queue(), ^{
      if (const auto i = innen.lock()) i->rufe(handler);
    });
  });
  dispatch_semaphore_wait(wacht, dispatch_time(DISPATCH_TIME_NOW, REGISTRIERUNG));
  if (wartet(nummer)) post(handler);
  std::signal(nummer, SIG_IGN);
  halteNichtMehr(nummer);
}

// The event queue reports a reader that is gone as the end of file on the writing side. Its write
// filter also reports room in the pipe, again and again; cleared after each report, it does so only
// when the reader has taken something.
void MacRunLoop::aufLeserWeg(int deskriptor, Handler handler) {
  struct stat art{};
  if (fstat(deskriptor, &art) != 0 || S_ISREG(art.st_mode)) return;
  const int ereignisse = kqueue();
  if (ereignisse < 0) return;
  struct kevent wunsch{};
  EV_SET(&wunsch, static_cast<uintptr_t>(deskriptor), EVFILT_WRITE, EV_ADD | EV_CLEAR, 0, 0,
         nullptr);
  if (kevent(ereignisse, &wunsch, 1, nullptr, 0, nullptr) != 0) {
    ::close(ereignisse);
    return;
  }
  dispatch_source_t quelle = dispatch_source_create(
      DISPATCH_SOURCE_TYPE_READ, static_cast<uintptr_t>(ereignisse), 0, dispatch_get_main_queue());
  dispatch_source_set_cancel_handler(quelle, ^{
    ::close(ereignisse);
  });
  const std::weak_ptr<Innen> innen = innen_;
  innen_->auf(quelle, ^{
    struct kevent ereignis{};
    const struct timespec sofort{};
    if (kevent(ereignisse, nullptr, 0, &ereignis, 1, &sofort) != 1) return;
    if ((ereignis.flags & EV_EOF) == 0) return;
    const auto i = innen.lock();
    if (i == nullptr) return;
    struct kevent ende{};
    EV_SET(&ende, static_cast<uintptr_t>(deskriptor), EVFILT_WRITE, EV_DELETE, 0, 0, nullptr);
    kevent(ereignisse, &ende, 1, nullptr, 0, nullptr);
    i->rufe(handler);
  });
}

void MacRunLoop::post(Handler handler) {
  const std::weak_ptr<Innen> innen = innen_;
  dispatch_async(dispatch_get_main_queue(), ^{
    if (const auto i = innen.lock()) i->rufe(handler);
  });
}

int MacRunLoop::run() {
  while (true) {
    {
      const std::lock_guard halter(innen_->lock);
      if (innen_->status) return *std::exchange(innen_->status, std::nullopt);
    }
    CFRunLoopRun();
  }
}

// The stop is issued from within the loop: one issued before its next round would be lost.
void MacRunLoop::quit(int status) {
  {
    const std::lock_guard halter(innen_->lock);
    innen_->status = status;
  }
  dispatch_async(dispatch_get_main_queue(), ^{
    CFRunLoopStop(CFRunLoopGetMain());
  });
}

}  // namespace hallkorb
