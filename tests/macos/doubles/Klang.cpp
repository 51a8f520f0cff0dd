#include "tests/macos/doubles/Klang.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <utility>

namespace hallkorb::ersatz {
namespace {

constexpr double RATE = 48000;

std::mutex alle;

// Between two samples on the line between them; 0 outside.
float wert(const std::vector<float>& werte, double stelle) {
  const double unten = std::floor(stelle);
  if (unten < 0 || unten + 1 >= static_cast<double>(werte.size())) return 0;
  const auto i = static_cast<std::size_t>(unten);
  const auto anteil = static_cast<float>(stelle - unten);
  return werte[i] * (1 - anteil) + werte[i + 1] * anteil;
}

}  // namespace

std::unique_lock<std::mutex> Klang::halte() {
  return std::unique_lock(alle);
}

std::optional<std::vector<float>> Klang::lies(const std::string& pfad) {
  std::ifstream datei(pfad, std::ios::binary | std::ios::ate);
  if (!datei) return std::nullopt;
  std::vector<float> werte(static_cast<std::size_t>(datei.tellg()) / sizeof(float));
  datei.seekg(0);
  datei.read(reinterpret_cast<char*>(werte.data()),
             static_cast<std::streamsize>(werte.size() * sizeof(float)));
  if (!datei) return std::nullopt;
  return werte;
}

void Klang::beginne(double wann, std::vector<float> werte) {
  spuren_.push_back({wann, std::move(werte)});
}

void Klang::mische(double wann, double rate, std::span<float> ziel) const {
  std::fill(ziel.begin(), ziel.end(), 0.0F);
  const auto halter = halte();
  for (const Spur& spur : spuren_) {
    double stelle = (wann - spur.beginn) * RATE;
    // At the recording's own rate its samples come as they are.
    if (rate == RATE) stelle = std::round(stelle);
    for (std::size_t i = 0; i < ziel.size(); ++i)
      ziel[i] += wert(spur.werte, stelle + static_cast<double>(i) * RATE / rate);
  }
}

}  // namespace hallkorb::ersatz
