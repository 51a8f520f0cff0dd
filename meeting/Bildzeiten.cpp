#include "meeting/Bildzeiten.h"

#include <algorithm>

namespace hallkorb {

void Bildzeiten::buche(const std::string& quelle, double sekunden) {
  const auto eintrag = std::find_if(zeiten_.begin(), zeiten_.end(),
                                    [&](const Eintrag& e) { return e.first == quelle; });
  if (eintrag == zeiten_.end()) {
    zeiten_.emplace_back(quelle, sekunden);
  } else {
    eintrag->second += sekunden;
  }
}

std::vector<Bildzeiten::Eintrag> Bildzeiten::laengsteZuerst() const {
  std::vector<Eintrag> sortiert = zeiten_;
  std::stable_sort(sortiert.begin(), sortiert.end(),
                   [](const Eintrag& a, const Eintrag& b) { return a.second > b.second; });
  return sortiert;
}

}  // namespace hallkorb
