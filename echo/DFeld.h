// A buffer of doubles whose length is fixed when it is made.
//
// The echo code keeps its signals and spectra in such buffers: allocated once when their owner is
// built and reused for every block of 16 ms, so that the audio path never waits for the allocator.
// The memory starts on a cache line (64 bytes), the length of the kernels' longest vector, so
// loading a vector never touches two lines.
//
// One owner and one thread at a time; no lock.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hallkorb {

class DFeld {
 public:
  // max(n, 1) elements, all 0.0. A length whose byte size does not fit 64 bits, or a lack of
  // memory, stops the program.
  explicit DFeld(std::int64_t n);
  ~DFeld();
  DFeld(const DFeld&) = delete;
  DFeld& operator=(const DFeld&) = delete;

  // No bounds check.
  double& operator[](std::size_t i) { return p[i]; }
  double operator[](std::size_t i) const { return p[i]; }

  // Sets every element to 0.0.
  void null();

  const std::int64_t n;

 private:
  const std::size_t versatz_;

 public:
  double* const p;
};

}  // namespace hallkorb
