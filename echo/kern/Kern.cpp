#include "echo/kern/Kern.h"

#include <initializer_list>

namespace hallkorb::kern {

namespace {

const Kern*& beschraenkung() {
  static const Kern* kern = nullptr;
  return kern;
}

bool prozessorHat(Befehlssatz befehlssatz) {
#if defined(__x86_64__) && !defined(__APPLE__)  // there the build makes none but the basis
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

const Kern* fuer(Befehlssatz befehlssatz) {
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

const Kern& bester() {
  if (beschraenkung() != nullptr) return *beschraenkung();
  for (const Befehlssatz befehlssatz : {Befehlssatz::avx512, Befehlssatz::avx2}) {
    if (const Kern* kern = fuer(befehlssatz)) return *kern;
  }
  return *kernBasis();
}

void beschraenken(const Kern* kern) {
  beschraenkung() = kern;
}

}  // namespace hallkorb::kern
