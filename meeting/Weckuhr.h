// A sleep that can be cut short again and again, and ended for good.
//
// One thread sleeps; wecke() and beende() any thread.
#pragma once

#include <memory>
#include <mutex>

#include "platform/Executor.h"

namespace hallkorb {

class Weckuhr {
 public:
  enum class Grund { zeit, geweckt, ende };

  // `executor` must live until beende() has been called.
  explicit Weckuhr(Executor& executor);

  // Sleeps for `sekunden`, or until it is woken; not at all if it was woken since the last sleep.
  [[nodiscard]] Grund warte(double sekunden);
  // Sleeps for `sekunden` even if woken. Returns whether it was ended.
  [[nodiscard]] bool ruhe(double sekunden);

  void wecke();
  // No sleep from now on.
  void beende();

 private:
  Executor& executor_;
  const std::unique_ptr<Schlaf> ruhe_;

  std::mutex lock_;  // for what follows; not held during a call of the executor
  std::shared_ptr<Schlaf> schlaf_;
  bool geweckt_ = false;
  bool ende_ = false;
};

}  // namespace hallkorb
