#include <gtest/gtest.h>

#include <limits>

#include "echo/Fliesskomma.h"

namespace hallkorb {
namespace {

constexpr double KLEINSTE_NORMALE = std::numeric_limits<double>::min();

// Volatile, so that the processor computes and not the compiler.
double halbe(double x) {
  const volatile double wert = x;
  const volatile double faktor = 0.5;
  return wert * faktor;
}

double mal2hoch60(double x) {
  const volatile double wert = x;
  const volatile double faktor = 0x1p60;
  return wert * faktor;
}

TEST(Fliesskomma, TakesDenormalResultsForZero) {
  EXPECT_GT(halbe(KLEINSTE_NORMALE), 0.0);
  const DenormaleSindNull schnell;
  EXPECT_EQ(halbe(KLEINSTE_NORMALE), 0.0);
  EXPECT_EQ(halbe(2 * KLEINSTE_NORMALE), KLEINSTE_NORMALE);
}

// Such as those in a file that another program has written.
TEST(Fliesskomma, TakesDenormalInputsForZero) {
  EXPECT_GT(mal2hoch60(KLEINSTE_NORMALE / 2), 0.0);
  const DenormaleSindNull schnell;
  EXPECT_EQ(mal2hoch60(std::numeric_limits<double>::denorm_min()), 0.0);
}

TEST(Fliesskomma, PutsTheThreadsArithmeticBack) {
  {
    const DenormaleSindNull aussen;
    {
      const DenormaleSindNull innen;
      EXPECT_EQ(halbe(KLEINSTE_NORMALE), 0.0);
    }
    EXPECT_EQ(halbe(KLEINSTE_NORMALE), 0.0);
  }
  EXPECT_EQ(halbe(KLEINSTE_NORMALE), KLEINSTE_NORMALE / 2);
  EXPECT_GT(halbe(KLEINSTE_NORMALE), 0.0);
}

}  // namespace
}  // namespace hallkorb
