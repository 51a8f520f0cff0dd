// The audio graph's position, as far as a stream needs it: how long the present cycle is.
//
// It lies in memory that the daemon shares with us, and that PipeWire's library unmaps as soon as
// the stream moves to another driver, or away from all. The real-time thread may be reading it just
// then, and must not wait; so the loop's thread does, for the moment that a reading takes.
#pragma once

#include <spa/node/io.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <thread>

namespace hallkorb {

class Graphlage {
 public:
  // Loop's thread. What was set before is not read any more when this returns.
  void setze(const spa_io_position* lage) {
    lage_.store(lage);
    while (liest_.load())
      std::this_thread::yield();
  }

  // Real-time thread. The cycle's length in ticks of the graph; nullopt while there is no position.
  [[nodiscard]] std::optional<std::uint64_t> zyklus() {
    // Sequentially consistent, as above: either setze() sees that we read, or we see what it set.
    liest_.store(true);
    const spa_io_position* lage = lage_.load();
    std::optional<std::uint64_t> dauer;
    if (lage != nullptr) dauer = lage->clock.duration;
    liest_.store(false);
    return dauer;
  }

 private:
  std::atomic<const spa_io_position*> lage_{nullptr};
  std::atomic<bool> liest_{false};
};

}  // namespace hallkorb
