#include "capture/Nullenwacht.h"

#include <algorithm>
#include <span>
#include <utility>

namespace hallkorb {

// Only the first channel is looked at, since only that is recorded.
Nullenwacht::Wechsel Nullenwacht::nimm(const PcmBlock& block) {
  const std::span<const float> kanal = block.ersterKanal(platz_);
  if (kanal.empty() || !(block.format.rate > 0)) return Wechsel::NICHTS;
  const bool ton = std::any_of(kanal.begin(), kanal.end(), [](float x) { return x != 0.0F; });
  if (ton) {
    tonWarDa_ = true;
    letzterMitTon_ = true;
    return std::exchange(stumm_, false) ? Wechsel::WIEDER_TON : Wechsel::NICHTS;
  }
  if (std::exchange(letzterMitTon_, false)) dauer_ = 0.0;
  dauer_ += block.dauer();
  if (!tonWarDa_ || stumm_ || dauer_ < GEDULD) return Wechsel::NICHTS;
  stumm_ = true;
  return Wechsel::STUMM;
}

}  // namespace hallkorb
