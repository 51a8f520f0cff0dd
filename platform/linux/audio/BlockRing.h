// The way of captured blocks from the device's real-time thread to the capture's thread.
//
// The real-time thread must neither wait nor allocate, and the capture's thread may be held up by a
// disk for seconds. So all memory is taken beforehand: 4 MiB of samples, which is eleven seconds of
// stereo at 48 kHz, and one place for each block. The samples of a block lie in one piece; a block
// that does not fit before the end of the memory starts again at the front. A block that finds no
// room is lost and counted; those that wait stay whole.
//
// Lock-free, for exactly one producer (the real-time thread) and one consumer (the capture's
// thread); each method says whose it is. Another thread may become the producer if the change is
// synchronised, as when one stream is taken down and another one made.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/PcmBlock.h"

namespace hallkorb {

class BlockRing {
 public:
  static constexpr std::size_t SAMPLES = std::size_t{1} << 20;  // floats
  // Enough for the samples above in mono blocks of 256.
  static constexpr std::size_t BLOECKE = 4096;

  // A block and the number of the stream that it came from.
  struct StromBlock {
    PcmBlock block;
    std::uint64_t strom = 0;
  };

  // Both sizes at least 1. Any thread, before the others start.
  explicit BlockRing(std::size_t samples = SAMPLES, std::size_t bloecke = BLOECKE);
  BlockRing(const BlockRing&) = delete;
  BlockRing& operator=(const BlockRing&) = delete;

  // Producer. Copies the block in; false if there was no room, which verlorene() then counts. Never
  // blocks, never allocates.
  bool schreibe(const PcmBlock& block, std::uint64_t strom);

  // Consumer. The oldest block; its samples stay valid until raeumeVorn().
  [[nodiscard]] std::optional<StromBlock> vorn() const;
  // Consumer. Frees the oldest block's place. Only after vorn() has returned a block.
  void raeumeVorn();
  // Consumer. How many blocks were lost since the last call.
  [[nodiscard]] std::uint64_t verlorene();

 private:
  struct Platz {
    StromBlock eintrag;
    std::uint64_t ende = 0;  // sample position after the block
  };

  // Positions count up for ever; their place in the memory is the remainder. Each position is
  // written by one side and read by the other, and has its own cache line so that they do not slow
  // each other down.
  std::vector<float> samples_;
  std::vector<Platz> plaetze_;
  alignas(64) std::atomic<std::uint64_t> plaetzeGeschrieben_{0};  // producer
  std::uint64_t samplesGeschrieben_ = 0;                          // producer's own
  alignas(64) std::atomic<std::uint64_t> plaetzeGelesen_{0};      // consumer
  std::atomic<std::uint64_t> samplesGelesen_{0};                  // consumer
  alignas(64) std::atomic<std::uint64_t> verloren_{0};            // both
};

}  // namespace hallkorb
