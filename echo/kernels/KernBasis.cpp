// The kernels with vectors of two doubles: what every processor of the family has (SSE2, NEON).
#define HALLKORB_KERN basis
#include "echo/kernels/Kerntabelle.h"

namespace hallkorb::kern {

const Kernsatz* kernBasis() {
  static constexpr Kernsatz KERN = basis::tabelle("Basis");
  return &KERN;
}

}  // namespace hallkorb::kern
