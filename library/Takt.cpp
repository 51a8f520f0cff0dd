// The clock stage behind the C interface.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "library/Grenze.h"
#include "library/hallkorb/audio.h"
#include "platform/clock/Hosttakt.h"
#include "platform/PcmBlock.h"

struct hallkorb_clock {
  hallkorb_clock(hallkorb_block_fn empfaenger, void* user)
      : takt([empfaenger, user](const hallkorb::PcmBlock& block) {
          const hallkorb_block hinaus{.rate = block.format.rate,
                                      .channels = block.format.channels,
                                      .interleaved = block.format.interleaved ? 1U : 0U,
                                      .frames = block.frames,
                                      .samples = block.samples.data(),
                                      .time = block.hostTime.value_or(HALLKORB_NO_TIME)};
          empfaenger(user, &hinaus);
        }) {}

  hallkorb::Hosttakt takt;
  std::vector<float> heil;
};

namespace {

using hallkorb::gerufen;
using hallkorb::gescheitert;

constexpr std::uint32_t KANAELE_BIS = 64;
constexpr std::uint32_t FRAMES_BIS = 1U << 20U;

bool brauchbar(const hallkorb_block& block) {
  return hallkorb::brauchbareRate(block.rate) && block.channels >= 1 &&
         block.channels <= KANAELE_BIS && block.frames <= FRAMES_BIS &&
         (block.samples != nullptr || block.frames == 0);
}

}  // namespace

extern "C" {

int hallkorb_clock_new(hallkorb_clock** clock, hallkorb_block_fn block, void* user) {
  return gerufen([&] {
    if (clock == nullptr || block == nullptr)
      return gescheitert(HALLKORB_INVALID, "clock: no handle or no callback");
    *clock = std::make_unique<hallkorb_clock>(block, user).release();
    return int{HALLKORB_OK};
  });
}

int hallkorb_clock_feed(hallkorb_clock* clock, const hallkorb_block* block) {
  return gerufen([&] {
    if (clock == nullptr || block == nullptr || !brauchbar(*block))
      return gescheitert(HALLKORB_INVALID, "clock: null handle, or no block of sound");
    if (block->frames == 0) return int{HALLKORB_OK};
    const bool bekannt = std::isfinite(block->time) && block->time > 0;
    const std::size_t anzahl = std::size_t{block->frames} * block->channels;
    clock->takt.nimm(
        hallkorb::PcmBlock{.format = {.rate = block->rate,
                                      .channels = block->channels,
                                      .interleaved = block->interleaved != 0},
                           .frames = block->frames,
                           .samples = hallkorb::geheilt(block->samples, anzahl, clock->heil),
                           .hostTime = bekannt ? std::optional(block->time) : std::nullopt});
    return int{HALLKORB_OK};
  });
}

int hallkorb_clock_flush(hallkorb_clock* clock) {
  return gerufen([&] {
    if (clock == nullptr) return gescheitert(HALLKORB_INVALID, "clock: null handle");
    clock->takt.leere();
    return int{HALLKORB_OK};
  });
}

void hallkorb_clock_free(hallkorb_clock* clock) {
  delete clock;
}

}  // extern "C"
