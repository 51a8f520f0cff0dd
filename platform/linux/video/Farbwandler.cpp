#include "platform/linux/video/Farbwandler.h"

#include <array>
#include <cstring>

namespace hallkorb {
namespace {

constexpr std::size_t BYTES_JE_PUNKT = 4;

// Weights of BT.709 in limited range, times 2^15; those of chroma are applied to sums of four.
constexpr int HELL_BITS = 15;
constexpr int FARB_BITS = HELL_BITS + 2;
constexpr std::uint32_t HELL_NULL = (16U << HELL_BITS) + (1U << (HELL_BITS - 1));
constexpr int FARB_NULL = (128 << FARB_BITS) + (1 << (FARB_BITS - 1));

[[gnu::always_inline]] inline std::uint32_t punkt(const std::uint8_t* ort) {
  std::uint32_t wert = 0;
  std::memcpy(&wert, ort, BYTES_JE_PUNKT);
  return wert;
}

[[gnu::always_inline]] inline void hellZeile(const std::uint8_t* __restrict zeile,
                                             std::uint8_t* __restrict y, std::size_t anzahl) {
  for (std::size_t i = 0; i < anzahl; ++i) {
    const std::uint32_t p = punkt(zeile + i * BYTES_JE_PUNKT);
    const std::uint32_t blau = p & 0xFF;
    const std::uint32_t gruen = (p >> 8) & 0xFF;
    const std::uint32_t rot = (p >> 16) & 0xFF;
    y[i] = static_cast<std::uint8_t>((rot * 5983 + gruen * 20127 + blau * 2032 + HELL_NULL) >>
                                     HELL_BITS);
  }
}

[[gnu::always_inline]] inline void farbZeile(const std::uint8_t* __restrict obere,
                                             const std::uint8_t* __restrict untere,
                                             std::uint8_t* __restrict u, std::uint8_t* __restrict v,
                                             std::size_t anzahl) {
  constexpr std::uint32_t ROT_BLAU = 0x00FF00FF;
  for (std::size_t i = 0; i < anzahl; ++i) {
    const std::uint32_t a = punkt(obere + 2 * i * BYTES_JE_PUNKT);
    const std::uint32_t b = punkt(obere + (2 * i + 1) * BYTES_JE_PUNKT);
    const std::uint32_t c = punkt(untere + 2 * i * BYTES_JE_PUNKT);
    const std::uint32_t d = punkt(untere + (2 * i + 1) * BYTES_JE_PUNKT);
    // Red and blue in the halves of one number: their sums of four fit.
    const std::uint32_t paar = (a & ROT_BLAU) + (b & ROT_BLAU) + (c & ROT_BLAU) + (d & ROT_BLAU);
    const auto blau = static_cast<int>(paar & 0xFFFF);
    const auto rot = static_cast<int>(paar >> 16);
    const auto gruen = static_cast<int>(((a >> 8) & 0xFF) + ((b >> 8) & 0xFF) + ((c >> 8) & 0xFF) +
                                        ((d >> 8) & 0xFF));
    u[i] = static_cast<std::uint8_t>((blau * 14392 - rot * 3298 - gruen * 11094 + FARB_NULL) >>
                                     FARB_BITS);
    v[i] = static_cast<std::uint8_t>((rot * 14392 - gruen * 13073 - blau * 1319 + FARB_NULL) >>
                                     FARB_BITS);
  }
}

void hellBasis(const std::uint8_t* zeile, std::uint8_t* y, std::size_t anzahl) {
  hellZeile(zeile, y, anzahl);
}

void farbeBasis(const std::uint8_t* obere, const std::uint8_t* untere, std::uint8_t* u,
                std::uint8_t* v, std::size_t anzahl) {
  farbZeile(obere, untere, u, v, anzahl);
}

#if defined(__x86_64__)

[[gnu::target("avx2")]] void hellAvx2(const std::uint8_t* zeile, std::uint8_t* y,
                                      std::size_t anzahl) {
  hellZeile(zeile, y, anzahl);
}

[[gnu::target("avx2")]] void farbeAvx2(const std::uint8_t* obere, const std::uint8_t* untere,
                                       std::uint8_t* u, std::uint8_t* v, std::size_t anzahl) {
  farbZeile(obere, untere, u, v, anzahl);
}

constexpr std::array KERNE{Farbkern{"AVX2", hellAvx2, farbeAvx2},
                           Farbkern{"basis", hellBasis, farbeBasis}};

bool kannAlle() {
  return __builtin_cpu_supports("avx2") != 0;
}

#else

constexpr std::array KERNE{Farbkern{"basis", hellBasis, farbeBasis}};

bool kannAlle() {
  return true;
}

#endif

// The last column of an odd width, as if it were there twice.
void letzteSpalte(const Farbkern& kern, const std::uint8_t* obere, const std::uint8_t* untere,
                  std::uint8_t* u, std::uint8_t* v) {
  std::array<std::uint8_t, 4 * BYTES_JE_PUNKT> punkte{};
  for (std::size_t i = 0; i < 2; ++i) {
    std::memcpy(punkte.data() + i * BYTES_JE_PUNKT, obere, BYTES_JE_PUNKT);
    std::memcpy(punkte.data() + (2 + i) * BYTES_JE_PUNKT, untere, BYTES_JE_PUNKT);
  }
  kern.farbe(punkte.data(), punkte.data() + 2 * BYTES_JE_PUNKT, u, v, 1);
}

}  // namespace

std::span<const Farbkern> farbkerne() {
  static const bool alle = kannAlle();
  return std::span<const Farbkern>(KERNE).subspan(alle ? 0 : 1);
}

void wandleFarben(const BgrBild& bild, const YuvEbenen& ziel, const Farbkern& kern) {
  const auto breite = static_cast<std::size_t>(bild.breite());
  const std::size_t paare = breite / 2;
  for (int y = 0; y < bild.hoehe(); y += 2) {
    const std::uint8_t* obere = bild.daten() + bild.zeilenLaenge() * static_cast<std::size_t>(y);
    const bool zwei = y + 1 < bild.hoehe();
    const std::uint8_t* untere = zwei ? obere + bild.zeilenLaenge() : obere;
    std::uint8_t* hell = ziel.daten[0] + ziel.zeile[0] * y;
    kern.hell(obere, hell, breite);
    if (zwei) kern.hell(untere, hell + ziel.zeile[0], breite);
    std::uint8_t* u = ziel.daten[1] + ziel.zeile[1] * (y / 2);
    std::uint8_t* v = ziel.daten[2] + ziel.zeile[2] * (y / 2);
    kern.farbe(obere, untere, u, v, paare);
    if (breite % 2 == 0) continue;
    const std::size_t rest = (breite - 1) * BYTES_JE_PUNKT;
    letzteSpalte(kern, obere + rest, untere + rest, u + paare, v + paare);
  }
}

}  // namespace hallkorb
