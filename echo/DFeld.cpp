#include "echo/DFeld.h"

#if HALLKORB_MACOS
#include <Accelerate/Accelerate.h>
#endif

#include <algorithm>
#include <new>

#include "base/Abbruch.h"

namespace hallkorb {

namespace {

constexpr std::align_val_t AUSRICHTUNG{64};

double* belegen(std::int64_t n) {
  constexpr std::int64_t HOECHSTENS = (std::int64_t{1} << 60) - 1;
  if (n > HOECHSTENS) abbruch("DFeld: unmoegliche Laenge");
  void* speicher =
      ::operator new(static_cast<std::size_t>(n) * sizeof(double), AUSRICHTUNG, std::nothrow);
  if (speicher == nullptr) abbruch("DFeld: kein Speicher");
  auto* p = static_cast<double*>(speicher);
  std::fill_n(p, n, 0.0);
  return p;
}

}  // namespace

DFeld::DFeld(std::int64_t laenge)
    : n(std::max<std::int64_t>(laenge, 1)), p(belegen(std::max<std::int64_t>(laenge, 1))) {}

DFeld::~DFeld() {
  ::operator delete(p, AUSRICHTUNG);
}

void DFeld::null() {
#if HALLKORB_MACOS
  vDSP_vclrD(p, 1, static_cast<vDSP_Length>(n));
#else
  std::fill_n(p, n, 0.0);
#endif
}

}  // namespace hallkorb
