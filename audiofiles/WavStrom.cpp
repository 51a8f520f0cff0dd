#include "audiofiles/WavStrom.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>

namespace hallkorb {
namespace {

constexpr std::size_t BLOCK = std::size_t{1} << 16U;

}  // namespace

std::unique_ptr<WavStrom> WavStrom::oeffne(const std::string& pfad, Dateien& dateien) {
  Dateien::Zustand zustand;
  if (dateien.zustand(pfad, zustand) != 0 || zustand.art != Dateien::Art::datei) return nullptr;
  const int datei = beharrlich([&] { return dateien.oeffnen(pfad, O_RDONLY | O_NONBLOCK, 0); });
  if (datei < 0) return nullptr;
  std::unique_ptr<WavStrom> strom(new WavStrom(datei, dateien));
  while (!strom->leser_.lesbar() && !strom->zuEnde_) {
    if (!strom->liesBlock()) return nullptr;
  }
  return strom->leser_.lesbar() ? std::move(strom) : nullptr;
}

WavStrom::WavStrom(int datei, Dateien& dateien) : datei_(datei), dateien_(dateien), block_(BLOCK) {}

WavStrom::~WavStrom() {
  schliesse(datei_, dateien_);
}

std::optional<std::size_t> WavStrom::lies(std::span<float> ziel) {
  std::size_t anzahl = 0;
  while (anzahl < ziel.size()) {
    const auto da = leser_.samples().subspan(gegeben_);
    if (da.empty()) {
      if (zuEnde_) break;
      leser_.verwirf();
      gegeben_ = 0;
      if (!liesBlock()) return std::nullopt;
      continue;
    }
    const std::size_t n = std::min(da.size(), ziel.size() - anzahl);
    std::copy_n(da.begin(), n, ziel.begin() + static_cast<std::ptrdiff_t>(anzahl));
    gegeben_ += n;
    anzahl += n;
  }
  return anzahl;
}

bool WavStrom::liesBlock() {
  const ssize_t n = beharrlich([&] { return dateien_.lesen(datei_, block_); });
  if (n < 0) return false;
  leser_.nimm(std::span(block_).first(static_cast<std::size_t>(n)));
  zuEnde_ = n == 0 || leser_.fertig();
  return true;
}

}  // namespace hallkorb
