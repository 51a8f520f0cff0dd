// The platform's transform behind KFFT: what is asked of it, and what if it refuses.
//
// That the results are those of a plain transform is shown by KFFTTest, here as on every system.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "echo/DFeld.h"
#include "echo/KFFT.h"
#include "tests/macos/doubles/Transformation.h"

namespace hallkorb {
namespace {

namespace vdsp = ersatz::vdsp;

TEST(KFFTAccelerate, EachTransformHasASetupOfItsOwnAndReleasesIt) {
  const long vorher = vdsp::lebende();
  {
    const KFFT kurze(3);
    const KFFT lange(9);
    EXPECT_EQ(vdsp::lebende(), vorher + 2);
  }
  EXPECT_EQ(vdsp::lebende(), vorher);
}

// Not defined by the platform: it is never asked for.
TEST(KFFTAccelerate, OnePointIsItsOwnTransform) {
  KFFT fft(0);
  double re = 2.5;
  double im = -1.5;
  fft.vor(&re, &im);
  fft.vorUngeordnet(&re, &im);
  fft.rueck(&re, &im);
  fft.rueckUngeordnet(&re, &im);
  EXPECT_EQ(re, 2.5);
  EXPECT_EQ(im, -1.5);
}

TEST(KFFTAccelerate, SpectraAreInOrderEvenIfTheyNeedNotBe) {
  constexpr std::size_t N = 32;
  KFFT fft(5);
  std::vector<double> re(N, 0.0);
  std::vector<double> im(N, 0.0);
  re[1] = 1;
  auto geordnetR = re;
  auto geordnetI = im;
  fft.vorUngeordnet(re.data(), im.data());
  fft.vor(geordnetR.data(), geordnetI.data());
  EXPECT_EQ(re, geordnetR);
  EXPECT_EQ(im, geordnetI);
  fft.rueckUngeordnet(re.data(), im.data());
  EXPECT_NEAR(re[1], N, 1e-12);  // without the factor
}

TEST(KFFTAccelerateDeathTest, WithoutASetupTheProgramStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        vdsp::keine(true);
        const KFFT fft(9);
      },
      "KFFT: Setup nicht moeglich");
}

TEST(KFFTAccelerate, FieldsAreClearedByThePlatform) {
  const long vorher = vdsp::geloeschteWerte();
  DFeld feld(77);
  feld[0] = 1;
  feld[76] = 2;
  feld.null();
  EXPECT_EQ(vdsp::geloeschteWerte(), vorher + 77);
  for (std::size_t i = 0; i < 77; ++i)
    EXPECT_EQ(feld[i], 0.0);
}

}  // namespace
}  // namespace hallkorb
