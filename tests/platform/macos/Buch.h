// What happened, in its order, written down by the stand-ins of the system's calls and by
// listeners.
//
// Any thread. Whoever waits for an entry that never comes fails its test after a minute.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace hallkorb {

using Eintraege = std::vector<std::string>;

class Buch {
 public:
  void schreibe(std::string eintrag) {
    {
      const std::lock_guard halter(lock_);
      eintraege_.push_back(std::move(eintrag));
    }
    neues_.notify_all();
  }

  [[nodiscard]] Eintraege eintraege() const {
    const std::lock_guard halter(lock_);
    return eintraege_;
  }

  // Waits until there are `anzahl` entries and returns them.
  [[nodiscard]] Eintraege warteAuf(std::size_t anzahl) {
    std::unique_lock halter(lock_);
    if (!neues_.wait_for(halter, std::chrono::seconds(60),
                         [&] { return eintraege_.size() >= anzahl; })) {
      ADD_FAILURE() << "waited for entry " << anzahl;
    }
    return eintraege_;
  }

  // The entries so far; the next ones begin anew.
  [[nodiscard]] Eintraege nimm() {
    const std::lock_guard halter(lock_);
    return std::exchange(eintraege_, {});
  }

 private:
  mutable std::mutex lock_;
  std::condition_variable neues_;
  Eintraege eintraege_;
};

}  // namespace hallkorb
