#include "tests/macos/doubles/Bildquelle.h"

#include <chrono>
#include <thread>

namespace hallkorb::ersatz {
namespace {

constexpr std::chrono::milliseconds PERIODE{100};
constexpr long VOLLSTAENDIG = 0;
constexpr long UNVERAENDERT = 1;

}  // namespace

void Bildquelle::starte() {
  stelleAus();
  std::thread([this] { laufe(); }).detach();
}

void Bildquelle::zeige(const bildschirm::Fenster& fenster) {
  {
    const std::lock_guard halter(lock_);
    fenster_[fenster.id] = fenster;
  }
  stelleAus();
}

void Bildquelle::schliesse(std::uint32_t id) {
  {
    const std::lock_guard halter(lock_);
    fenster_.erase(id);
  }
  stelleAus();
}

void Bildquelle::displays(int anzahl) {
  {
    const std::lock_guard halter(lock_);
    displays_ = anzahl;
  }
  stelleAus();
}

void Bildquelle::bewege(bool ja) {
  const std::lock_guard halter(lock_);
  bewegt_ = ja;
}

void Bildquelle::warteAufBild(std::uint32_t id) {
  std::unique_lock halter(lock_);
  const std::size_t bisher = bilder_.size();
  genommen_.wait(halter, [&] { return bilder_.size() > bisher && bilder_.back().second == id; });
}

std::vector<std::pair<double, std::uint32_t>> Bildquelle::bilder() const {
  const std::lock_guard halter(lock_);
  return bilder_;
}

void Bildquelle::stelleAus() {
  const std::lock_guard halter(lock_);
  std::vector<bildschirm::Fenster> alle;
  for (const auto& [id, fenster] : fenster_)
    alle.push_back(fenster);
  bildschirm::inhalt(alle, displays_);
}

void Bildquelle::laufe() {
  for (auto wann = std::chrono::steady_clock::now();; wann += PERIODE) {
    std::this_thread::sleep_until(wann);
    liefere(std::chrono::duration<double>(wann.time_since_epoch()).count());
  }
}

void Bildquelle::liefere(double hostZeit) {
  const auto gezeigt = bildschirm::gezeigtesFenster();
  bool neu = false;
  {
    const std::lock_guard halter(lock_);
    if (!gezeigt || !fenster_.contains(*gezeigt)) {
      zuletzt_ = 0;
      return;
    }
    neu = bewegt_ || zuletzt_ != *gezeigt;
  }
  const Schnappschuss bild{.mitAnhang = true, .status = neu ? VOLLSTAENDIG : UNVERAENDERT};
  if (!bildschirm::bild(bild, {.sekunden = hostZeit}) || !neu) return;
  const std::lock_guard halter(lock_);
  zuletzt_ = *gezeigt;
  bilder_.emplace_back(hostZeit, *gezeigt);
  genommen_.notify_all();
}

}  // namespace hallkorb::ersatz
