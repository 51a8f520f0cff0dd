#include "platform/linux/audio/BlockRing.h"

#include <algorithm>

namespace hallkorb {

BlockRing::BlockRing(std::size_t samples, std::size_t bloecke)
    : samples_(samples), plaetze_(bloecke) {}

bool BlockRing::schreibe(const PcmBlock& block, std::uint64_t strom) {
  const std::uint64_t platz = plaetzeGeschrieben_.load(std::memory_order_relaxed);
  const std::size_t groesse = block.samples.size();
  const std::size_t stelle = samplesGeschrieben_ % samples_.size();
  const std::uint64_t anfang = stelle + groesse <= samples_.size()
                                   ? samplesGeschrieben_
                                   : samplesGeschrieben_ + (samples_.size() - stelle);
  const std::uint64_t frei = samplesGelesen_.load(std::memory_order_acquire);
  const std::uint64_t platzFrei = plaetzeGelesen_.load(std::memory_order_acquire);
  if (anfang + groesse - frei > samples_.size() || platz - platzFrei >= plaetze_.size()) {
    verloren_.fetch_add(1, std::memory_order_relaxed);
    return false;
  }

  const std::span<float> ziel(samples_.data() + anfang % samples_.size(), groesse);
  std::copy(block.samples.begin(), block.samples.end(), ziel.begin());
  Platz& neu = plaetze_[platz % plaetze_.size()];
  neu.eintrag = {block, strom};
  neu.eintrag.block.samples = ziel;
  neu.ende = samplesGeschrieben_ = anfang + groesse;
  plaetzeGeschrieben_.store(platz + 1, std::memory_order_release);
  return true;
}

std::optional<BlockRing::StromBlock> BlockRing::vorn() const {
  const std::uint64_t platz = plaetzeGelesen_.load(std::memory_order_relaxed);
  if (platz == plaetzeGeschrieben_.load(std::memory_order_acquire)) return std::nullopt;
  return plaetze_[platz % plaetze_.size()].eintrag;
}

void BlockRing::raeumeVorn() {
  const std::uint64_t platz = plaetzeGelesen_.load(std::memory_order_relaxed);
  samplesGelesen_.store(plaetze_[platz % plaetze_.size()].ende, std::memory_order_release);
  plaetzeGelesen_.store(platz + 1, std::memory_order_release);
}

std::uint64_t BlockRing::verlorene() {
  return verloren_.exchange(0, std::memory_order_relaxed);
}

}  // namespace hallkorb
