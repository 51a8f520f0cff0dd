#include "meeting/Bildzeiten.h"

#include <algorithm>

namespace hallkorb {

void Bildzeiten::buche(const std::string& quelle, double sekunden) {
  const auto [stelle, neu] = stellen_.try_emplace(quelle, zeiten_.size());
  if (neu) zeiten_.emplace_back(quelle, 0.0);
  zeiten_[stelle->second].second += sekunden;
}

std::vector<Bildzeiten::Quellenzeit> Bildzeiten::laengsteZuerst() const {
  std::vector<Quellenzeit> sortiert = zeiten_;
  std::stable_sort(sortiert.begin(), sortiert.end(),
                   [](const Quellenzeit& a, const Quellenzeit& b) { return a.second > b.second; });
  return sortiert;
}

}  // namespace hallkorb
