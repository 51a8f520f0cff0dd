#include "session/Lesedatei.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace hallkorb {
namespace {

constexpr std::size_t BLOCK = std::size_t{64} * 1024;

}  // namespace

std::optional<Lesedatei> Lesedatei::oeffne(const std::string& pfad, Dateien& dateien) {
  const int griff =
      beharrlich([&] { return dateien.oeffnen(pfad, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0); });
  if (griff < 0) return std::nullopt;
  Dateien::Zustand zustand;
  const int ergebnis = beharrlich([&] { return dateien.zustandOffen(griff, zustand); });
  if (ergebnis < 0 || zustand.art != Dateien::Art::datei) {
    schliesse(griff, dateien);
    return std::nullopt;
  }
  return Lesedatei(griff, zustand.groesse, dateien);
}

Lesedatei::Lesedatei(Lesedatei&& andere) noexcept
    : griff_(std::exchange(andere.griff_, -1)),
      groesse_(andere.groesse_),
      dateien_(andere.dateien_),
      fehlernummer_(andere.fehlernummer_) {}

Lesedatei::~Lesedatei() {
  if (griff_ >= 0) schliesse(griff_, *dateien_);
}

std::size_t Lesedatei::liesAn(std::int64_t stelle, std::span<std::uint8_t> ziel) const {
  std::size_t gelesen = 0;
  while (gelesen < ziel.size()) {
    const ssize_t n = beharrlich([&] {
      return dateien_->lesenAn(griff_, ziel.subspan(gelesen),
                               stelle + static_cast<std::int64_t>(gelesen));
    });
    if (n < 0 && fehlernummer_ == 0) fehlernummer_ = static_cast<int>(-n);
    if (n <= 0) break;
    gelesen += static_cast<std::size_t>(n);
  }
  return gelesen;
}

bool Lesedatei::gleicht(std::int64_t stelle, const Lesedatei& andere, std::int64_t dort,
                        std::int64_t bytes) const {
  std::vector<std::uint8_t> hier(BLOCK);
  std::vector<std::uint8_t> drueben(BLOCK);
  for (std::int64_t ab = 0; ab < bytes; ab += static_cast<std::int64_t>(BLOCK)) {
    const auto n = static_cast<std::size_t>(std::min<std::int64_t>(bytes - ab, BLOCK));
    const auto einer = std::span(hier).first(n);
    const auto anderer = std::span(drueben).first(n);
    if (liesAn(stelle + ab, einer) < n || andere.liesAn(dort + ab, anderer) < n ||
        !std::equal(einer.begin(), einer.end(), anderer.begin())) {
      return false;
    }
  }
  return true;
}

}  // namespace hallkorb
