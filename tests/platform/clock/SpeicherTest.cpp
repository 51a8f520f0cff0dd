// The stage asks for no memory once a stream has begun: the allocator may take a lock that another
// thread holds, and the capture must not wait for it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

#include "platform/clock/Hosttakt.h"
#include "tests/support/Kristall.h"

namespace {

std::atomic<long> belegungen{0};

void* belegeOderWirf(std::size_t bytes) {
  ++belegungen;
  if (void* p = std::malloc(bytes == 0 ? 1 : bytes)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t bytes) {
  return belegeOderWirf(bytes);
}
void* operator new[](std::size_t bytes) {
  return belegeOderWirf(bytes);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}

namespace hallkorb {
namespace {

TEST(TaktSpeicher, IsNotAskedForOnceAStreamHasBegun) {
  bool keineZahl = false;
  Kristall geraet({.ppm = 150, .kanaele = 2}, [&keineZahl](double) {
    return keineZahl ? std::numeric_limits<double>::quiet_NaN() : 0.25;
  });
  geraet.laenge(8192);
  (void)geraet.naechster();  // its own buffer has its size by now
  std::uint64_t heraus = 0;
  long darin = 0;
  Hosttakt takt([&](const PcmBlock& block) { heraus += block.frames; });
  const auto gib = [&](const PcmBlock& block) {
    const long vorher = belegungen;
    takt.nimm(block);
    darin += belegungen - vorher;
  };
  gib(geraet.naechster());
  EXPECT_GT(darin, 0);
  darin = 0;
  // Drift, false stamps, losses, early stamps, long and short blocks, some of no numbers, a pause.
  for (int i = 0; i < 4000; ++i) {
    geraet.laenge(i / 500 % 2 == 0 ? 1024 : i / 500 % 3 == 0 ? 8192 : 64);
    if (i % 400 == 399) geraet.verliere(4000);
    keineZahl = i % 61 == 0;
    gib(i % 90 < 2     ? geraet.falscher(0.02)
        : i % 777 == 5 ? geraet.falscher(-0.02)
                       : geraet.naechster());
    if (i == 2000) takt.leere();
  }
  const long vorher = belegungen;
  takt.leere();
  EXPECT_EQ(belegungen, vorher);
  EXPECT_EQ(darin, 0);
  EXPECT_GT(heraus, 3000000U);
}

}  // namespace
}  // namespace hallkorb
