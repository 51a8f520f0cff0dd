// Notices a device that runs but no longer brings any sound: nothing but zeros after real sound.
//
// A muted microphone, a cable half pulled or a stuck driver deliver block after block, so that no
// supervision of the device finds anything wrong, and an hour later the recording is empty. Rooms
// are never as silent as zero, but a far end may be, when nobody plays anything. So it is patient,
// and does no more than report.
//
// One thread at a time; no lock.
#pragma once

#include <vector>

#include "platform/PcmBlock.h"

namespace hallkorb {

class Nullenwacht {
 public:
  static constexpr double GEDULD = 90.0;  // seconds of zeros that are remarkable

  enum class Wechsel { NICHTS, STUMM, WIEDER_TON };

  // STUMM once when the zeros have lasted for so long, WIEDER_TON once when they end after that.
  [[nodiscard]] Wechsel nimm(const PcmBlock& block);
  // How long the last zeros have lasted, or had when they ended; seconds of sound captured.
  [[nodiscard]] double dauer() const { return dauer_; }

 private:
  std::vector<float> platz_;
  double dauer_ = 0.0;
  bool tonWarDa_ = false;
  bool letzterMitTon_ = false;
  bool stumm_ = false;
};

}  // namespace hallkorb
