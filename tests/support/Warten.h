// Waits for what can only be polled, such as the state of another process.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace hallkorb {

// Waits up to `sekunden` until `bedingung` holds; returns whether it did.
inline bool warteBis(const std::function<bool()>& bedingung, double sekunden = 60.0) {
  const auto ende = std::chrono::steady_clock::now() + std::chrono::duration<double>(sekunden);
  while (!bedingung()) {
    if (std::chrono::steady_clock::now() >= ende) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace hallkorb
