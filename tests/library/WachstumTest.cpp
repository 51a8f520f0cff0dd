// A library that has grown, and programs that were compiled before.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "library/Wachstum.h"

namespace hallkorb {
namespace {

struct Alt {
  std::size_t size;
  double laenge;
};

struct Neu {
  std::size_t size;
  double laenge;
  double pause;
};

constexpr Neu VORGABEN{sizeof(Neu), 4.0, 0.6};

TEST(Wachstum, NothingIsWrittenBehindAnOldCallersStructure) {
  std::array<Alt, 2> platz{};
  platz[1] = {17, 18.0};
  ASSERT_TRUE(gibHinaus(VORGABEN, sizeof(Alt), sizeof(Alt), &platz));
  EXPECT_EQ(platz[0].size, sizeof(Alt));
  EXPECT_EQ(platz[0].laenge, 4.0);
  EXPECT_EQ(platz[1].size, 17U);
  EXPECT_EQ(platz[1].laenge, 18.0);
}

TEST(Wachstum, AnOldCallersOptionsAreCompletedByTheDefaults) {
  const Alt alt{sizeof(Alt), 9.0};
  const auto genommen = nimmHerein(&alt, sizeof(Alt), VORGABEN);
  ASSERT_TRUE(genommen);
  EXPECT_EQ(genommen->size, sizeof(Neu));
  EXPECT_EQ(genommen->laenge, 9.0);
  EXPECT_EQ(genommen->pause, 0.6);
}

TEST(Wachstum, ACallerThatKnowsMoreGetsWhatThereIs) {
  struct Kuenftig {
    Neu neu;
    double mehr;
  };
  Kuenftig platz{{}, 5.0};
  ASSERT_TRUE(gibHinaus(VORGABEN, sizeof(Alt), sizeof platz, &platz.neu));
  EXPECT_EQ(platz.neu.size, sizeof(Neu));
  EXPECT_EQ(platz.neu.pause, 0.6);
  EXPECT_EQ(platz.mehr, 5.0);
  EXPECT_TRUE(nimmHerein(&platz.neu, sizeof(Alt), VORGABEN));
}

TEST(Wachstum, NoVersionIsThatShortOrThatLong) {
  Neu platz = VORGABEN;
  EXPECT_FALSE(gibHinaus(VORGABEN, sizeof(Alt), sizeof(Alt) - 1, &platz));
  EXPECT_FALSE(gibHinaus(VORGABEN, sizeof(Alt), sizeof(Neu), nullptr));
  EXPECT_FALSE(nimmHerein(nullptr, sizeof(Alt), VORGABEN));
  for (const std::size_t bytes : {std::size_t{0}, sizeof(Alt) - 1, sizeof(Neu) + 1}) {
    platz.size = bytes;
    EXPECT_FALSE(nimmHerein(&platz, sizeof(Alt), VORGABEN)) << bytes;
  }
}

}  // namespace
}  // namespace hallkorb
