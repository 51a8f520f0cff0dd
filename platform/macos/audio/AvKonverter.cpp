#include "platform/macos/audio/AvKonverter.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace hallkorb {

AvKonverter::AvKonverter(const PcmFormat& quellformat, std::unique_ptr<KonverterAufrufe> aufrufe)
    : quellformat_(quellformat), aufrufe_(std::move(aufrufe)) {}

Umwandlung AvKonverter::wandle(const PcmBlock& block, std::size_t kapazitaet,
                               std::vector<float>& ausgabe) {
  ausgabe.clear();
  if (block.format != quellformat_ ||
      block.samples.size() < std::size_t{block.frames} * block.format.channels) {
    return Umwandlung::verloren();
  }
  if (block.frames == 0) return {};
  Umwandlung umwandlung = aufrufe_->wandle(
      block.ersterKanal(ersterKanal_),
      std::min<std::size_t>(kapazitaet, std::numeric_limits<std::uint32_t>::max()), ausgabe);
  if (!umwandlung.gelungen) ausgabe.clear();
  return umwandlung;
}

}  // namespace hallkorb
