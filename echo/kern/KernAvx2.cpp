// The kernels with vectors of four doubles.
#define HALLKORB_KERN avx2
#include "echo/kern/Kern.h"

#if defined(__AVX2__) && defined(__FMA__) && !defined(__AVX512F__)
#include "echo/kern/Tabelle.h"

namespace hallkorb::kern {

const Kern* kernAvx2() {
  static constexpr Kern KERN = avx2::tabelle("AVX2");
  return &KERN;
}

}  // namespace hallkorb::kern
#else
namespace hallkorb::kern {

const Kern* kernAvx2() {
  return nullptr;
}

}  // namespace hallkorb::kern
#endif
