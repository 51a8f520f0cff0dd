// The echo path allocates nothing once its buffers have their size: the allocator may take a lock
// that another thread holds, and a recording must not wait for it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <vector>

#include "echo/EchoStrecke.h"
#include "tests/echo/scenes/Szene.h"

namespace {

std::atomic<long> belegungen{0};

void* belege(std::size_t bytes, std::size_t ausrichtung) {
  ++belegungen;
  const std::size_t ganze = (bytes + ausrichtung - 1) / ausrichtung * ausrichtung;
  return std::aligned_alloc(ausrichtung, ganze == 0 ? ausrichtung : ganze);
}

void* belegeOderWirf(std::size_t bytes, std::size_t ausrichtung) {
  if (void* p = belege(bytes, ausrichtung)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t bytes) {
  return belegeOderWirf(bytes, 16);
}
void* operator new[](std::size_t bytes) {
  return belegeOderWirf(bytes, 16);
}
void* operator new(std::size_t bytes, std::align_val_t a) {
  return belegeOderWirf(bytes, static_cast<std::size_t>(a));
}
void* operator new(std::size_t bytes, std::align_val_t a, const std::nothrow_t&) noexcept {
  return belege(bytes, static_cast<std::size_t>(a));
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
void operator delete(void* p, std::align_val_t) noexcept {
  std::free(p);
}

namespace hallkorb {
namespace {

TEST(Speicher, IsNotAskedForOnceTheBuffersHaveTheirSize) {
  const szenen::Szene szene = szenen::szene({.name = "speicher",
                                             .sekunden = 16.0,
                                             .fern = {{0.0, 16.0}},
                                             .nah = {{5.0, 9.0}},
                                             .verzoegerungMs = 200.0});
  EchoStrecke strecke(20);
  std::size_t heraus = 0;
  strecke.ausgabe = [&heraus](std::span<const float> samples, const std::vector<bool>&) {
    heraus += samples.size();
  };
  long vorher = 0;
  for (std::size_t ab = 0; ab + 1000 <= szene.mikro.size(); ab += 1000) {
    // Six seconds: by then the delay was analysed, the filter moved and the reference trimmed.
    if (ab == 96000) vorher = belegungen;
    strecke.referenz({szene.referenz.data() + ab, 1000});
    strecke.mikro({szene.mikro.data() + ab, 1000});
  }
  EXPECT_EQ(strecke.versatzWechsel(), 1);
  EXPECT_GT(vorher, 0);
  EXPECT_EQ(belegungen, vorher);
  EXPECT_GT(heraus, 200000U);
}

// Minutes of one stream without the other: the buffers soon reach a greatest size.
TEST(Speicher, DoesNotGrowWhereOneOfTheStreamsStaysAway) {
  const std::vector<float> stueck(1600, 0.25F);
  {
    EchoStrecke strecke(20);
    long vorher = 0;
    for (int zehntel = 0; zehntel < 3000; ++zehntel) {
      if (zehntel == 1000) vorher = belegungen;
      strecke.referenz(stueck);
    }
    EXPECT_EQ(belegungen, vorher);
  }
  EchoStrecke strecke(4);
  strecke.referenz(stueck);
  long vorher = 0;
  for (int zehntel = 0; zehntel < 600; ++zehntel) {
    if (zehntel == 50) vorher = belegungen;
    strecke.mikro(stueck);
  }
  EXPECT_EQ(belegungen, vorher);
  EXPECT_GT(strecke.ohneReferenz(), 3700);
}

}  // namespace
}  // namespace hallkorb
