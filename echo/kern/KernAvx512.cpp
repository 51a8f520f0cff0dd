// The kernels with vectors of eight doubles.
#define HALLKORB_KERN avx512
#include "echo/kern/Kern.h"

#if defined(__AVX512F__) && defined(__AVX512DQ__)
#include "echo/kern/Tabelle.h"

namespace hallkorb::kern {

const Kern* kernAvx512() {
  static constexpr Kern KERN = avx512::tabelle("AVX-512");
  return &KERN;
}

}  // namespace hallkorb::kern
#else
namespace hallkorb::kern {

const Kern* kernAvx512() {
  return nullptr;
}

}  // namespace hallkorb::kern
#endif
