#include "meeting/Weckuhr.h"

#include <utility>

namespace hallkorb {

Weckuhr::Weckuhr(Executor& executor) : executor_(executor), ruhe_(executor.schlaf()) {}

Weckuhr::Grund Weckuhr::warte(double sekunden) {
  {
    const std::lock_guard halter(lock_);
    if (ende_) return Grund::ende;  // the executor may be gone
  }
  const std::shared_ptr<Schlaf> schlaf = executor_.schlaf();
  bool sofort = false;
  {
    const std::lock_guard halter(lock_);
    sofort = geweckt_ || ende_;
    if (!sofort) schlaf_ = schlaf;
  }
  if (!sofort) schlaf->warte(sekunden);
  const std::lock_guard halter(lock_);
  schlaf_ = nullptr;
  const bool geweckt = std::exchange(geweckt_, false);
  if (ende_) return Grund::ende;
  return geweckt ? Grund::geweckt : Grund::zeit;
}

bool Weckuhr::ruhe(double sekunden) {
  return ruhe_->warte(sekunden);
}

void Weckuhr::wecke() {
  std::shared_ptr<Schlaf> schlaf;
  {
    const std::lock_guard halter(lock_);
    geweckt_ = true;
    schlaf = schlaf_;
  }
  if (schlaf) schlaf->wecke();
}

void Weckuhr::beende() {
  std::shared_ptr<Schlaf> schlaf;
  {
    const std::lock_guard halter(lock_);
    ende_ = true;
    schlaf = schlaf_;
  }
  if (schlaf) schlaf->wecke();
  ruhe_->wecke();
}

}  // namespace hallkorb
