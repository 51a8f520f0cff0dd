// Included before everything else in a build of bench/mutation.py: chooses the mutant that is on,
// and notes which ones a run has come by.
//
// HALLKORB_MUTANT is its number; without it the program is the original. HALLKORB_ERREICHT names a
// file of HOECHSTENS bytes, of which those of the mutants that were come by are set to 1: mapped,
// so that also children of the program and programs that abort are seen. Any thread.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <type_traits>

namespace hallkorb::mutation {

inline constexpr int HOECHSTENS = 65536;

struct Zustand {
  int an = -1;
  volatile char* erreicht = nullptr;

  Zustand() {
    if (const char* wahl = std::getenv("HALLKORB_MUTANT")) an = std::atoi(wahl);
    const char* pfad = std::getenv("HALLKORB_ERREICHT");
    const int datei = pfad != nullptr ? ::open(pfad, O_RDWR | O_CLOEXEC) : -1;
    if (datei < 0) return;
    void* seite = ::mmap(nullptr, HOECHSTENS, PROT_READ | PROT_WRITE, MAP_SHARED, datei, 0);
    if (seite != MAP_FAILED) erreicht = static_cast<volatile char*>(seite);
    ::close(datei);
  }
};

// Made before the constructors of the program's own objects ask for it.
inline Zustand& zustand() {
  static Zustand einer;
  return einer;
}

inline bool ist(int nummer) {
  Zustand& z = zustand();
  if (z.erreicht != nullptr) z.erreicht[nummer] = 1;
  return z.an == nummer;
}

// For functions that may also run at compile time, when no mutant is on.
constexpr bool istFest(int nummer) {
  return !std::is_constant_evaluated() && ist(nummer);
}

}  // namespace hallkorb::mutation

#define HALLKORB_M(nummer) ::hallkorb::mutation::ist(nummer)
#define HALLKORB_MF(nummer) ::hallkorb::mutation::istFest(nummer)
