// The kernels with vectors of eight doubles.
#define HALLKORB_KERN avx512
#include "echo/kernels/Kernsatz.h"

#if defined(__AVX512F__) && defined(__AVX512DQ__)
#include "echo/kernels/Kerntabelle.h"

namespace hallkorb::kern {

const Kernsatz* kernAvx512() {
  static constexpr Kernsatz KERN = avx512::tabelle("AVX-512");
  return &KERN;
}

}  // namespace hallkorb::kern
#else
namespace hallkorb::kern {

const Kernsatz* kernAvx512() {
  return nullptr;
}

}  // namespace hallkorb::kern
#endif
