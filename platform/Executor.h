// Where work runs off the main thread (concurrent tasks and serial queues), and how it sleeps.
//
// It is an interface for one reason: on a simulated platform the same recorder runs on one thread,
// in an order that the test decides, so that a race becomes a case that can be repeated.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace hallkorb {

// Runs work items one after another, in the order of the calls. Any thread may call; the item
// itself must not call sync() on its own queue.
class SerialQueue {
 public:
  using Arbeit = std::function<void()>;

  // Waits for all queued work.
  virtual ~SerialQueue() = default;
  // Queues the item and returns at once.
  virtual void async(Arbeit arbeit) = 0;
  // Queues the item and returns when it has run, and so all that was queued before it.
  virtual void sync(Arbeit arbeit) = 0;
};

// A piece of work that runs beside the caller.
class Task {
 public:
  // Waits for its end.
  virtual ~Task() = default;
  // Returns when the work has ended. Not from within the task itself.
  virtual void warte() = 0;
};

// A sleep that others can end.
class Schlaf {
 public:
  virtual ~Schlaf() = default;
  // Sleeps for `sekunden`, or until wecke(). Returns whether it was woken; once woken it never
  // sleeps again. Several threads may sleep in it.
  virtual bool warte(double sekunden) = 0;
  // Any thread.
  virtual void wecke() = 0;
};

// A system's limit on threads may be reached at any moment. So what a recording needs for its stop
// is made before it begins, and what is started later may be refused: null or false, and the work
// has not run.
class Executor {
 public:
  virtual ~Executor() = default;
  [[nodiscard]] virtual std::unique_ptr<Task> starte(std::function<void()> arbeit) = 0;
  // Runs the work beside the caller, and nobody waits for its end: it must own everything it uses,
  // and may outlive the executor.
  virtual bool starteUnabhaengig(std::function<void()> arbeit) = 0;
  [[nodiscard]] virtual std::unique_ptr<Schlaf> schlaf() = 0;
  [[nodiscard]] virtual std::unique_ptr<SerialQueue> queue(const std::string& name) = 0;
};

}  // namespace hallkorb
