#include "capture/Nullenwacht.h"

#include <algorithm>
#include <span>
#include <utility>

namespace hallkorb {

// Only the first channel is looked at, since only that is recorded.
Nullenwacht::Befund Nullenwacht::nimm(const PcmBlock& block) {
  const std::span<const float> kanal = block.ersterKanal(platz_);
  if (kanal.empty() || !(block.format.rate > 0)) return Befund::NICHTS;
  const bool ton = std::any_of(kanal.begin(), kanal.end(), [](float x) { return x != 0.0F; });
  if (ton) {
    tonWarDa_ = true;
    letzterMitTon_ = true;
    return std::exchange(stumm_, false) ? Befund::WIEDER_TON : Befund::NICHTS;
  }
  if (std::exchange(letzterMitTon_, false)) dauer_ = 0.0;
  dauer_ += block.dauer();
  if (!tonWarDa_ || stumm_ || dauer_ < GEDULD) return Befund::NICHTS;
  stumm_ = true;
  return Befund::STUMM;
}

}  // namespace hallkorb
