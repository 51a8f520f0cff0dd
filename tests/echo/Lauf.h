// Feeds a scene to an echo path (the fast or the literal one) and keeps what comes out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace hallkorb {

struct Ergebnisse {
  std::vector<float> samples;
  std::vector<bool> sprache;
  std::string statistik;
};

// Appends all output to `e`, which must outlive the path.
template <class Strecke>
void sammle(Strecke& strecke, Ergebnisse& e) {
  strecke.ausgabe = [&e](const auto& samples, const std::vector<bool>& sprache) {
    e.samples.insert(e.samples.end(), samples.begin(), samples.end());
    e.sprache.insert(e.sprache.end(), sprache.begin(), sprache.end());
  };
}

// Both streams in pieces of `stueck` samples, the reference first.
template <class Strecke>
Ergebnisse lauf(Strecke& strecke, std::span<const float> mikro, std::span<const float> referenz,
                std::size_t stueck = 4800) {
  Ergebnisse e;
  sammle(strecke, e);
  const auto teil = [stueck](std::span<const float> s, std::size_t ab) {
    return ab < s.size() ? s.subspan(ab, std::min(stueck, s.size() - ab))
                         : std::span<const float>{};
  };
  for (std::size_t ab = 0; ab < std::max(mikro.size(), referenz.size()); ab += stueck) {
    strecke.referenz(teil(referenz, ab));
    strecke.mikro(teil(mikro, ab));
  }
  strecke.abschliessen();
  e.statistik = strecke.statistik();
  strecke.ausgabe = nullptr;
  return e;
}

// As it would stand in a WAV file.
inline int kodiert(float x) {
  return static_cast<int>(std::clamp(x, -1.0F, 1.0F) * 32767.0F);
}

// The largest difference in steps of 16 bits; -1 if the lengths differ.
inline int abweichung(std::span<const float> a, std::span<const float> b) {
  if (a.size() != b.size()) return -1;
  int groesste = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    groesste = std::max(groesste, std::abs(kodiert(a[i]) - kodiert(b[i])));
  }
  return groesste;
}

}  // namespace hallkorb
