// The host clock of tests that drive a part of the recorder alone: it stands where they set it.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/HostClock.h"

namespace hallkorb {

class Testuhr final : public HostClock {
 public:
  explicit Testuhr(double sekunden) : jetzt(sekunden) { setzeHostClock(*this); }
  Testuhr(const Testuhr&) = delete;
  Testuhr& operator=(const Testuhr&) = delete;

  [[nodiscard]] double sekunden() const override { return jetzt; }
  [[nodiscard]] std::int64_t unixMs() const override { return 0; }

  std::atomic<double> jetzt;
};

}  // namespace hallkorb
