// The kernels with vectors of two doubles: what every processor of the family has (SSE2, NEON).
#define HALLKORB_KERN basis
#include "echo/kern/Tabelle.h"

namespace hallkorb::kern {

const Kern* kernBasis() {
  static constexpr Kern KERN = basis::tabelle("Basis");
  return &KERN;
}

}  // namespace hallkorb::kern
