// Included before everything else in a build of bench/mutation.py: chooses the mutant that is on,
// and notes which ones a run has come by.
//
// HALLKORB_MUTANT is its number; without it the program is the original. HALLKORB_ERREICHT names a
// file to which the numbers of all that were come by are appended when the program ends. Any
// thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace hallkorb::mutation {

inline constexpr int HOECHSTENS = 20000;

struct Zustand {
  int an = -1;
  std::array<std::atomic<bool>, HOECHSTENS> erreicht{};

  Zustand() {
    if (const char* wahl = std::getenv("HALLKORB_MUTANT")) an = std::atoi(wahl);
  }
  ~Zustand() {
    const char* pfad = std::getenv("HALLKORB_ERREICHT");
    std::FILE* datei = pfad != nullptr ? std::fopen(pfad, "a") : nullptr;
    if (datei == nullptr) return;
    for (std::size_t i = 0; i < erreicht.size(); ++i) {
      if (erreicht[i]) std::fprintf(datei, "%zu\n", i);
    }
    std::fclose(datei);
  }
  Zustand(const Zustand&) = delete;
  Zustand& operator=(const Zustand&) = delete;
};

// Made before the constructors of the program's own objects ask for it.
inline Zustand& zustand() {
  static Zustand einer;
  return einer;
}

inline bool ist(int nummer) {
  Zustand& z = zustand();
  z.erreicht[static_cast<std::size_t>(nummer)].store(true, std::memory_order_relaxed);
  return z.an == nummer;
}

// For functions that may also run while compiling, where no mutant is on.
constexpr bool istFest(int nummer) {
  return !std::is_constant_evaluated() && ist(nummer);
}

}  // namespace hallkorb::mutation

#define HALLKORB_M(nummer) ::hallkorb::mutation::ist(nummer)
#define HALLKORB_MF(nummer) ::hallkorb::mutation::istFest(nummer)
