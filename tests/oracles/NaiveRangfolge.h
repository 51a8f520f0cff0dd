// The ranking of meeting windows once more, as naively as possible: every rule is a line of a list,
// texts are copied whole, and sorting picks the best again and again.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "meeting/FensterInfo.h"
#include "meeting/Wahl.h"

namespace hallkorb::naiv {

struct Ergebnis {
  std::vector<Wahl> liste;
  std::string ohne;
};

// The reasons of all rules.
[[nodiscard]] std::set<std::string> gruende();

// Titles must be UTF-8.
[[nodiscard]] Ergebnis kandidaten(const std::vector<FensterInfo>& fenster);

}  // namespace hallkorb::naiv
