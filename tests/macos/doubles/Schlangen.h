// What the stand-ins for queues, sources and the main run loop share. Objective-C++ only.
//
// Each queue has a thread of its own, which ends when the queue is released and empty. The main
// queue is served by CFRunLoopRun() alone.
#pragma once

#include <dispatch/dispatch.h>
#import <Foundation/Foundation.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

namespace hallkorb::ersatz {

struct Schlange {
  std::string name;
  std::mutex lock;
  std::condition_variable neues;
  std::deque<dispatch_block_t> bloecke;  // under the lock
  bool zu = false;                       // under the lock: released
};

[[nodiscard]] Schlange& hauptschlange();
// Takes the queue's next block out, which must be there, and runs it; on the thread that serves it.
void fuehreNaechstenAus(Schlange& schlange, std::unique_lock<std::mutex> halter);
// The queue that the calling thread serves from now on, or null.
void diene(Schlange* schlange);

// What ruhe() waits for beside blocks: announces a piece of work, and its end.
void beginneArbeit();
void beendeArbeit();

[[noreturn]] void dispatchEnde(const char* was);

}  // namespace hallkorb::ersatz
