// Runs tests once for each instruction set that this processor has.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "echo/kernels/Kernsatz.h"

namespace hallkorb {

namespace kern {
inline void PrintTo(Befehlssatz befehlssatz, std::ostream* aus) {
  *aus << static_cast<int>(befehlssatz);
}
}  // namespace kern

inline std::vector<kern::Befehlssatz> vorhandeneBefehlssaetze() {
  std::vector<kern::Befehlssatz> alle;
  for (const auto b :
       {kern::Befehlssatz::basis, kern::Befehlssatz::avx2, kern::Befehlssatz::avx512}) {
    if (kern::fuer(b) != nullptr) alle.push_back(b);
  }
  return alle;
}

inline std::string nameDesBefehlssatzes(
    const ::testing::TestParamInfo<kern::Befehlssatz>& befehlssatz) {
  switch (befehlssatz.param) {
    case kern::Befehlssatz::avx512:
      return "Avx512";
    case kern::Befehlssatz::avx2:
      return "Avx2";
    case kern::Befehlssatz::basis:
      break;
  }
  return "Basis";
}

// Every object made while the test runs uses the test's instruction set.
class JeBefehlssatz : public ::testing::TestWithParam<kern::Befehlssatz> {
 protected:
  void SetUp() override { kern::beschraenken(kern::fuer(GetParam())); }
  void TearDown() override { kern::beschraenken(nullptr); }
};

}  // namespace hallkorb

#define HALLKORB_JE_BEFEHLSSATZ(Suite)                                                            \
  INSTANTIATE_TEST_SUITE_P(Alle, Suite, ::testing::ValuesIn(hallkorb::vorhandeneBefehlssaetze()), \
                           hallkorb::nameDesBefehlssatzes)
