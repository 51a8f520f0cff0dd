// Vectors of doubles of the width that the including file is compiled for.
//
// Included only by the kernels' headers, in files that are compiled for one instruction set each.
// All names live in the namespace HALLKORB_KERN, which differs from file to file, and no function
// of the standard library is used: the linker must not keep an inline function compiled for AVX-512
// as the one copy for the whole program.
#pragma once

#include <cstddef>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

#define HK_INLINE inline __attribute__((always_inline))

namespace hallkorb::kern::HALLKORB_KERN {

#if defined(__AVX512F__)
inline constexpr std::size_t B = 8;
#elif defined(__AVX2__)
inline constexpr std::size_t B = 4;
#else
inline constexpr std::size_t B = 2;
#endif

using V = double __attribute__((vector_size(B * sizeof(double))));

HK_INLINE V lade(const double* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

HK_INLINE void speichere(double* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

HK_INLINE V alle(double x) {
  return V{} + x;
}

HK_INLINE V umgekehrt(V v) {
#if defined(__AVX512F__)
  return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
#elif defined(__AVX2__)
  return __builtin_shufflevector(v, v, 3, 2, 1, 0);
#else
  return __builtin_shufflevector(v, v, 1, 0);
#endif
}

HK_INLINE V wurzel(V v) {
#if defined(__AVX512F__)
  return V(_mm512_maskz_sqrt_pd(0xff, __m512d(v)));
#elif defined(__AVX2__)
  return V(_mm256_sqrt_pd(__m256d(v)));
#elif defined(__SSE2__)
  return V(_mm_sqrt_pd(__m128d(v)));
#elif defined(__aarch64__)
  return V(vsqrtq_f64(float64x2_t(v)));
#else
  for (std::size_t i = 0; i < B; ++i)
    v[i] = __builtin_sqrt(v[i]);
  return v;
#endif
}

HK_INLINE double summe(V v) {
  double s = v[0];
  for (std::size_t i = 1; i < B; ++i)
    s += v[i];
  return s;
}

// Eight vectors of B lanes as B rows of eight values: ziel[l * abstand + k] = v[k][l].
HK_INLINE void speichereTransponiert(const V (&v)[8], double* ziel, std::size_t abstand) {
#if defined(__AVX512F__)
  V a[8];
  for (int i = 0; i < 8; i += 2) {
    a[i] = __builtin_shufflevector(v[i], v[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    a[i + 1] = __builtin_shufflevector(v[i], v[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
  V b[8];
  for (int i = 0; i < 8; i += 4) {
    for (int j = 0; j < 2; ++j) {
      b[i + j] = __builtin_shufflevector(a[i + j], a[i + j + 2], 0, 1, 8, 9, 4, 5, 12, 13);
      b[i + j + 2] = __builtin_shufflevector(a[i + j], a[i + j + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
  }
  for (std::size_t j = 0; j < 4; ++j) {
    speichere(ziel + j * abstand,
              __builtin_shufflevector(b[j], b[j + 4], 0, 1, 2, 3, 8, 9, 10, 11));
    speichere(ziel + (j + 4) * abstand,
              __builtin_shufflevector(b[j], b[j + 4], 4, 5, 6, 7, 12, 13, 14, 15));
  }
#elif defined(__AVX2__)
  for (std::size_t h = 0; h < 8; h += 4) {
    const V a0 = __builtin_shufflevector(v[h], v[h + 1], 0, 4, 2, 6);
    const V a1 = __builtin_shufflevector(v[h], v[h + 1], 1, 5, 3, 7);
    const V a2 = __builtin_shufflevector(v[h + 2], v[h + 3], 0, 4, 2, 6);
    const V a3 = __builtin_shufflevector(v[h + 2], v[h + 3], 1, 5, 3, 7);
    speichere(ziel + h, __builtin_shufflevector(a0, a2, 0, 1, 4, 5));
    speichere(ziel + abstand + h, __builtin_shufflevector(a1, a3, 0, 1, 4, 5));
    speichere(ziel + 2 * abstand + h, __builtin_shufflevector(a0, a2, 2, 3, 6, 7));
    speichere(ziel + 3 * abstand + h, __builtin_shufflevector(a1, a3, 2, 3, 6, 7));
  }
#else
  for (std::size_t h = 0; h < 8; h += 2) {
    speichere(ziel + h, __builtin_shufflevector(v[h], v[h + 1], 0, 2));
    speichere(ziel + abstand + h, __builtin_shufflevector(v[h], v[h + 1], 1, 3));
  }
#endif
}

}  // namespace hallkorb::kern::HALLKORB_KERN
