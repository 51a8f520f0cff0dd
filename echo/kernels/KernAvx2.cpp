// The kernels with vectors of four doubles.
#define HALLKORB_KERN avx2
#include "echo/kernels/Kernsatz.h"

#if defined(__AVX2__) && defined(__FMA__) && !defined(__AVX512F__)
#include "echo/kernels/Kerntabelle.h"

namespace hallkorb::kern {

const Kernsatz* kernAvx2() {
  static constexpr Kernsatz KERN = avx2::tabelle("AVX2");
  return &KERN;
}

}  // namespace hallkorb::kern
#else
namespace hallkorb::kern {

const Kernsatz* kernAvx2() {
  return nullptr;
}

}  // namespace hallkorb::kern
#endif
