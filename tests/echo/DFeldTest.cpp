#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "echo/DFeld.h"

namespace hallkorb {
namespace {

TEST(DFeld, HoldsOneZeroWhereNothingOrLessIsAskedFor) {
  for (const std::int64_t n : {std::int64_t{0}, std::int64_t{-5}, std::int64_t{1},
                               std::numeric_limits<std::int64_t>::min()}) {
    const DFeld feld(n);
    EXPECT_EQ(feld.n, 1);
    EXPECT_EQ(feld[0], 0.0);
  }
}

TEST(DFeld, BeginsWithZerosOnACacheLine) {
  const DFeld feld(1000);
  ASSERT_EQ(feld.n, 1000);
  for (std::size_t i = 0; i < 1000; ++i)
    ASSERT_EQ(feld.p[i], 0.0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(feld.p) % 64, 0U);
}

TEST(DFeld, IsZeroAgainAfterUse) {
  DFeld feld(77);
  for (std::size_t i = 0; i < 77; ++i)
    feld[i] = static_cast<double>(i) + 0.5;
  EXPECT_EQ(feld[76], 76.5);
  feld.null();
  for (std::size_t i = 0; i < 77; ++i)
    EXPECT_EQ(feld[i], 0.0);
}

TEST(DFeldDeathTest, StopsTheProgramAtALengthThatHasNoSize) {
  EXPECT_DEATH(DFeld(std::int64_t{1} << 60), "DFeld: unmoegliche Laenge");
}

}  // namespace
}  // namespace hallkorb
