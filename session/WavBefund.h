// What a WAV file says about itself, and what it holds.
//
// Pure function, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "session/Lesedatei.h"

namespace hallkorb {

struct WavBefund {
  std::int64_t rate = 0;       // Hz
  std::int64_t datenAb = 0;    // position of the samples
  std::int64_t erklaert = 0;   // bytes of samples by the "data" block
  std::int64_t riff = 0;       // bytes by the head of the file
  std::int64_t vorhanden = 0;  // bytes behind the head
  bool eigener = false;        // mono, 16 bit, 44 bytes of header: as the recorder writes it

  // Samples that are declared and there.
  [[nodiscard]] std::int64_t samples() const;
  [[nodiscard]] double sekunden() const;
  // Whether the header declares just what the file holds.
  [[nodiscard]] bool stimmt() const;
  // Bytes of the whole samples that are there.
  [[nodiscard]] std::int64_t ganzeBytes() const { return vorhanden / 2 * 2; }
  // Whether a header can declare them, so that writing it anew is enough.
  [[nodiscard]] bool erneuerbar() const;
};

// nullopt if it has no format or no data block; so also for a file whose header the recorder could
// not write before it was killed.
[[nodiscard]] std::optional<WavBefund> liesWavBefund(const Lesedatei& datei);

}  // namespace hallkorb
