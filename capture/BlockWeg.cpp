#include "capture/BlockWeg.h"

#include <utility>

namespace hallkorb {

BlockWeg::BlockWeg(double rate, Zeitachse& zeit, Weiter weiter, AudioConverterFactory& konverter)
    : resampler_(rate, konverter), zeit_(&zeit), weiter_(std::move(weiter)) {}

void BlockWeg::nimm(const PcmBlock& block) {
  auto samples = resampler_.process(block);
  if (!samples) return;
  weiter_(zeit_->einordnen(std::move(*samples), block.hostTime, block.dauer()));
}

}  // namespace hallkorb
