#include "echo/kernels/Kernsatz.h"

#include <initializer_list>

namespace hallkorb::kern {

namespace {

const Kernsatz*& beschraenkung() {
  static const Kernsatz* kern = nullptr;
  return kern;
}

bool prozessorHat(Befehlssatz befehlssatz) {
#if defined(__x86_64__) && !HALLKORB_MACOS  // on macOS only the basis is built
  switch (befehlssatz) {
    case Befehlssatz::avx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq");
    case Befehlssatz::avx2:
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    case Befehlssatz::basis:
      return true;
  }
#endif
  return befehlssatz == Befehlssatz::basis;
}

}  // namespace

const Kernsatz* fuer(Befehlssatz befehlssatz) {
  if (!prozessorHat(befehlssatz)) return nullptr;
  switch (befehlssatz) {
    case Befehlssatz::avx512:
      return kernAvx512();
    case Befehlssatz::avx2:
      return kernAvx2();
    case Befehlssatz::basis:
      break;
  }
  return kernBasis();
}

const Kernsatz& bester() {
  if (beschraenkung() != nullptr) return *beschraenkung();
  for (const Befehlssatz befehlssatz : {Befehlssatz::avx512, Befehlssatz::avx2}) {
    if (const Kernsatz* kern = fuer(befehlssatz)) return *kern;
  }
  return *kernBasis();
}

void beschraenken(const Kernsatz* kern) {
  beschraenkung() = kern;
}

}  // namespace hallkorb::kern
