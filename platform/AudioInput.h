// One source of captured audio: the microphone, or what the computer plays.
//
// Contract
// - start() blocks until blocks flow or the attempt has failed, at most 3 seconds. It is called
//   once. After a failure the input stays off; nothing is called on the listener any more.
// - All calls on the listener come from one thread, the capture's thread, one at a time. It is not
//   the device's real-time thread: the listener may convert, lock and write files there. What the
//   listener does not take in time is buffered for some seconds, then lost and reported.
// - stop() may come at any time from any thread but the capture's own, also during start(), which
//   then returns with an error at once. What was captured before the call is handed over before it
//   returns, and nothing after it. It is final and may be repeated. What the platform says to the
//   end of its capture is returned, for whoever wants to know; the input is off all the same.
// - A source that goes away while it records is the input's own business: it keeps trying to come
//   back and tells the listener of both. The block times show what was missed. A move to another
//   device or format is such a case where the platform ends the capture for it (macOS); where it
//   carries the capture along (Linux), the hole of less than a second shows in the block times
//   only.
#pragma once

#include <cstdint>

#include "base/Fehler.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

class AudioInputListener {
 public:
  // The next block, in the order of capture. Its samples are valid during the call only.
  virtual void block(const PcmBlock& block) = 0;
  // The source went away; told once, until fortgesetzt() is called.
  virtual void unterbrochen(const Fehler& fehler) = 0;
  // The source is back; its blocks follow.
  virtual void fortgesetzt() = 0;
  // Blocks were lost because the listener was too slow; how many since the last call.
  virtual void verloren(std::uint64_t bloecke) = 0;

 protected:
  ~AudioInputListener() = default;
};

class AudioInput {
 public:
  virtual ~AudioInput() = default;

  // `listener` must live until stop() has returned or start() has failed.
  [[nodiscard]] virtual Ergebnis start(AudioInputListener& listener) = 0;
  virtual Ergebnis stop() = 0;
};

}  // namespace hallkorb
