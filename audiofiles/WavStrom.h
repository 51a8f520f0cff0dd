// A WAV file read piece by piece, by the rules of `liesWav`, in memory that does not depend on its
// length.
//
// Only regular files: a device or a pipe without a writer would never end. They are not even
// opened, since that alone can block.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/WavLeser.h"
#include "base/Dateien.h"

namespace hallkorb {

class WavStrom {
 public:
  // Opens the file and reads up to its first samples. Null if it is not a regular file, or not one
  // that `liesWav` reads.
  [[nodiscard]] static std::unique_ptr<WavStrom> oeffne(const std::string& pfad,
                                                        Dateien& dateien = posixDateien());
  WavStrom(const WavStrom&) = delete;
  WavStrom& operator=(const WavStrom&) = delete;
  ~WavStrom();

  // Hz, as the file declares it; 0 if it does not.
  [[nodiscard]] std::uint32_t rate() const { return leser_.rate(); }

  // Whether the file declares what it is read as: 16-bit PCM.
  [[nodiscard]] bool pcm16() const { return leser_.pcm16(); }

  // The next samples, at most as many as `ziel` holds; fewer only at the end. nullopt if the file
  // cannot be read on.
  [[nodiscard]] std::optional<std::size_t> lies(std::span<float> ziel);

 private:
  WavStrom(int datei, Dateien& dateien);
  bool liesBlock();

  int datei_;
  Dateien& dateien_;
  WavLeser leser_{0};
  std::size_t gegeben_ = 0;  // of the reader's samples
  bool zuEnde_ = false;
  std::vector<std::uint8_t> block_;
};

}  // namespace hallkorb
