// Makes one stream of captured blocks run on the host's clock.
//
// A device counts with a crystal of its own. What it delivers in an hour is off by up to 0.7 s, and
// the microphone's crystal and the loudspeaker's are off differently. A timeline that corrects this
// by 5 ms at a time moves one channel and later the other, and each time the echo canceller loses
// the echo's place. Here the stream is stretched evenly instead, so that no correction is needed.
//
// Blocks leave edge to edge: each begins where the one before has ended, whatever its stamp. Until
// the device turns out to drift (Taktregler.h) they are the captured blocks themselves. From then
// on they are interpolated (Zwischenwerte.h): one block holds up to 17 frames fewer than were
// captured, later ones the missing frames; each block's time is that of its first frame, so nothing
// is displaced. If sound was lost, the stream ends with all of its frames and goes on after the
// loss.
//
// Samples keep their format. Times are seconds on the clock of hostSekunden(). One thread at a
// time; no lock; memory is asked for by richteEin() only.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "platform/clock/Stempelfilter.h"
#include "platform/clock/Taktregler.h"
#include "platform/clock/Zwischenwerte.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

class Gleichlauf {
 public:
  // Longer blocks are interpolated in pieces; no graph cycle in use is longer.
  static constexpr std::size_t STUECK = 8192;  // frames
  using Weiter = std::function<void(const PcmBlock&)>;

  explicit Gleichlauf(Weiter weiter);

  // Takes the memory for blocks of this format, so that nimm() needs none. Only between streams.
  void richteEin(const PcmFormat& format);
  // A block of that format and its place. Calls `weiter` with the result.
  void nimm(const PcmBlock& block, const Stempelfilter::Ort& ort);
  // The stream has ended: hands on what is left of it. The next block begins another one.
  void beende();

  // By how much a captured second is longer than the host's, once the stream is stretched.
  [[nodiscard]] double verhaeltnis() const { return regler_.verhaeltnis(); }

 private:
  void beginne(double zeit);
  void spuele(double sprung);
  void strecke(const PcmBlock& block);
  void gib(std::span<const float> samples);

  Weiter weiter_;
  Taktregler regler_;
  Zwischenwerte werte_;
  PcmFormat format_;            // what werte_ was made for
  std::optional<double> zeit_;  // of the next frame to hand on; absent between streams
};

}  // namespace hallkorb
