// How far a test is that takes minutes: a line on standard error every few seconds, where neither
// the test's own results nor the program's lines go.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

namespace hallkorb {

class Fortschrittszeile {
 public:
  explicit Fortschrittszeile(std::size_t alle, std::string was = "recordings")
      : alle_(alle), was_(std::move(was)) {}

  void zeige(std::size_t anzahl) {
    if (Uhr::now() < naechste_) return;
    naechste_ = Uhr::now() + std::chrono::seconds(10);
    std::fprintf(stderr, "  %zu of %zu %s\n", anzahl, alle_, was_.c_str());
  }

 private:
  using Uhr = std::chrono::steady_clock;

  std::size_t alle_;
  std::string was_;
  Uhr::time_point naechste_ = Uhr::now() + std::chrono::seconds(10);
};

}  // namespace hallkorb
