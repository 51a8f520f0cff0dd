#include "platform/linux/audio/BlockRing.h"

#include <algorithm>

namespace hallkorb {

BlockRing::BlockRing(std::size_t samples, std::size_t bloecke)
    : samples_(samples), saetze_(bloecke) {}

bool BlockRing::schreibe(const PcmBlock& block, std::uint64_t strom) {
  const std::uint64_t satz = saetzeGeschrieben_.load(std::memory_order_relaxed);
  const std::size_t groesse = block.samples.size();
  const std::size_t platz = samplesGeschrieben_ % samples_.size();
  const std::uint64_t anfang = platz + groesse <= samples_.size()
                                   ? samplesGeschrieben_
                                   : samplesGeschrieben_ + (samples_.size() - platz);
  const std::uint64_t frei = samplesGelesen_.load(std::memory_order_acquire);
  const std::uint64_t satzFrei = saetzeGelesen_.load(std::memory_order_acquire);
  if (anfang + groesse - frei > samples_.size() || satz - satzFrei >= saetze_.size()) {
    verloren_.fetch_add(1, std::memory_order_relaxed);
    return false;
  }

  const std::span<float> ziel(samples_.data() + anfang % samples_.size(), groesse);
  std::copy(block.samples.begin(), block.samples.end(), ziel.begin());
  Satz& neu = saetze_[satz % saetze_.size()];
  neu.eintrag = {block, strom};
  neu.eintrag.block.samples = ziel;
  neu.ende = samplesGeschrieben_ = anfang + groesse;
  saetzeGeschrieben_.store(satz + 1, std::memory_order_release);
  return true;
}

std::optional<BlockRing::Eintrag> BlockRing::vorn() const {
  const std::uint64_t satz = saetzeGelesen_.load(std::memory_order_relaxed);
  if (satz == saetzeGeschrieben_.load(std::memory_order_acquire)) return std::nullopt;
  return saetze_[satz % saetze_.size()].eintrag;
}

void BlockRing::weiter() {
  const std::uint64_t satz = saetzeGelesen_.load(std::memory_order_relaxed);
  samplesGelesen_.store(saetze_[satz % saetze_.size()].ende, std::memory_order_release);
  saetzeGelesen_.store(satz + 1, std::memory_order_release);
}

std::uint64_t BlockRing::verlorene() {
  return verloren_.exchange(0, std::memory_order_relaxed);
}

}  // namespace hallkorb
