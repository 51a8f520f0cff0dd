// Makes the processor treat denormal numbers as zero during its lifetime.
//
// In digital silence the smoothed spectra and the states of the recursive filters decay towards
// zero for ever, and below 1e-308 a processor computes ten to a hundred times slower: silence would
// cost more than speech. Values that small decide nothing (the faintest sample of a 16-bit
// recording is 1). The mode belongs to the thread and is restored at the end, since other code on
// the thread may need exact arithmetic.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace hallkorb {

class DenormaleSindNull {
 public:
#if defined(__SSE2__)
  DenormaleSindNull() : vorher_(_mm_getcsr()) { _mm_setcsr(vorher_ | FTZ | DAZ); }
  ~DenormaleSindNull() { _mm_setcsr(vorher_); }
#elif defined(__aarch64__)
  // "memory": loads and stores, and the arithmetic between them, stay on their side of the change.
  DenormaleSindNull() {
    asm volatile("mrs %0, fpcr" : "=r"(vorher_));
    asm volatile("msr fpcr, %0" : : "r"(vorher_ | FZ) : "memory");
  }
  ~DenormaleSindNull() { asm volatile("msr fpcr, %0" : : "r"(vorher_) : "memory"); }
#else
  DenormaleSindNull() = default;
  ~DenormaleSindNull() = default;
#endif
  DenormaleSindNull(const DenormaleSindNull&) = delete;
  DenormaleSindNull& operator=(const DenormaleSindNull&) = delete;

 private:
#if defined(__SSE2__)
  static constexpr unsigned FTZ = 1U << 15;
  static constexpr unsigned DAZ = 1U << 6;
  unsigned vorher_;
#elif defined(__aarch64__)
  static constexpr std::uint64_t FZ = std::uint64_t{1} << 24;
  std::uint64_t vorher_ = 0;
#endif
};

}  // namespace hallkorb
