#include "echo/DFeld.h"

#if HALLKORB_MACOS
#include <Accelerate/Accelerate.h>
#endif

#include <algorithm>
#include <atomic>
#include <new>

#include "base/Abbruch.h"

namespace hallkorb {

namespace {

constexpr std::align_val_t AUSRICHTUNG{64};

// Long buffers would all begin at the same place within a page, and equal elements of two of them,
// such as real and imaginary part, would compete for the same sets of the cache. So each begins a
// cache line later than the one before.
std::size_t versatz() {
  constexpr std::size_t LINIE = 64 / sizeof(double);
  static std::atomic<std::size_t> felder{0};
  return felder.fetch_add(1, std::memory_order_relaxed) % 8 * LINIE;
}

double* belegen(std::int64_t n, std::size_t versatz) {
  constexpr std::int64_t HOECHSTENS = (std::int64_t{1} << 60) - 1;
  if (n > HOECHSTENS) abbruch("DFeld: unmoegliche Laenge");
  void* speicher = ::operator new((static_cast<std::size_t>(n) + versatz) * sizeof(double),
                                  AUSRICHTUNG, std::nothrow);
  if (speicher == nullptr) abbruch("DFeld: kein Speicher");
  double* p = static_cast<double*>(speicher) + versatz;
  std::fill_n(p, n, 0.0);
  return p;
}

}  // namespace

DFeld::DFeld(std::int64_t laenge)
    : n(std::max<std::int64_t>(laenge, 1)),
      versatz_(versatz()),
      p(belegen(std::max<std::int64_t>(laenge, 1), versatz_)) {}

DFeld::~DFeld() {
  ::operator delete(p - versatz_, AUSRICHTUNG);
}

void DFeld::null() {
#if HALLKORB_MACOS
  vDSP_vclrD(p, 1, static_cast<vDSP_Length>(n));
#else
  std::fill_n(p, n, 0.0);
#endif
}

}  // namespace hallkorb
