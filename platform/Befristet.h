// A limited wait for work that may hang.
//
// Calls into a screen server or a capture service return when it answers, and a stuck one never
// does. A call cannot be cancelled from outside, but its caller can go on without it.
#pragma once

#include <functional>
#include <memory>

#include "platform/Executor.h"

namespace hallkorb {

// Runs `arbeit` beside the caller and returns whether it ended within `sekunden`; false at once if
// the system has no thread for it. Work that takes longer goes on by itself and may end long after
// the caller is gone: it must own everything it uses. If it ended in time, what it owned has been
// released on return.
[[nodiscard]] bool laufeBefristet(Executor& executor, double sekunden,
                                  std::function<void()> arbeit);

// A thread that is kept ready for one such piece of work: for a stop, which must not depend on
// whether the system has a thread left by then.
class Bereitschaft {
 public:
  // Null if the system has no thread now.
  [[nodiscard]] static std::unique_ptr<Bereitschaft> neu(Executor& executor);
  // The thread ends by itself, without work or after it.
  ~Bereitschaft();
  Bereitschaft(const Bereitschaft&) = delete;
  Bereitschaft& operator=(const Bereitschaft&) = delete;

  // As laufeBefristet(), once.
  [[nodiscard]] bool laufe(double sekunden, std::function<void()> arbeit);

 private:
  struct Auftrag;
  explicit Bereitschaft(std::shared_ptr<Auftrag> auftrag);

  const std::shared_ptr<Auftrag> auftrag_;
};

}  // namespace hallkorb
