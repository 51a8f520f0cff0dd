// One source of captured audio: the microphone, or what the computer plays.
//
// Contract
// - start() blocks until blocks flow or the attempt has failed, at most 3 seconds (macOS) or 8
//   (Linux). It is called once. After a failure the input stays off and never calls the listener
//   again.
// - Calls on the listener come one at a time, and each sees what those before it did. The thread
//   that makes one is the capture's thread: on Linux always the same; on macOS the device's, or,
//   when something is handed on that was held back or a loss is reported, the input's own, or that
//   of stop(). None is a real-time thread: the listener may convert, lock and write files there.
//   What it does not take in time is buffered for some seconds, then lost and, on Linux, reported.
// - stop() may come at any time from any thread that is not calling the listener, also during
//   start(), which then returns with an error at once. What was captured before the call is handed
//   over before it returns; after that the listener is not called any more. It is final and may be
//   repeated. It returns what the platform reports about the end of its capture; the input is off
//   in any case.
// - If a source goes away during the recording, the input itself keeps trying to get it back, and
//   reports both the loss and the return to the listener. The block times show what was missed. A
//   move to another device or format is such a case if the platform ends the capture for it
//   (macOS); if it keeps the capture running (Linux), the gap of less than a second shows in the
//   block times only.
#pragma once

#include <cstdint>

#include "base/Fehler.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

class AudioInputListener {
 public:
  // The next block, in the order of capture. Its samples are valid during the call only.
  virtual void block(const PcmBlock& block) = 0;
  // The source went away; reported once, until fortgesetzt() is called.
  virtual void unterbrochen(const Fehler& fehler) = 0;
  // The source is back; its blocks follow.
  virtual void fortgesetzt() = 0;
  // Blocks were lost because the listener was too slow; how many since the last call.
  virtual void verloren(std::uint64_t bloecke) = 0;
  // The capture runs, but something about the computer may cost it blocks; reported once for all
  // inputs.
  virtual void hinweis(const Fehler& fehler) = 0;

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
