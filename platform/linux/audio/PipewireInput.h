// An audio input on PipeWire: the microphone or the system's sound.
//
// One thread per input, the capture's thread, hands the blocks over and looks after the connection:
// it connects, waits with time limits, notices when the connection is lost or falls silent, takes
// it down and connects again, once a second. Nothing is ever taken down by a callback of the audio
// system, and stop() needs nothing from the daemon, so it returns in every state.
//
// A graph delivers silence if nothing is heard, but it delivers. So a source counts as gone when no
// block has come for a second, or at once when the daemon ends. Less than that is a move, to
// another device or another rate, and only shows in the block times.
//
// The microphone follows the default source itself (see PipewireStrom.h), and takes no block before
// the links of the graph show that it comes from there. The session manager moves the system audio.
#pragma once

#include <atomic>
#include <future>
#include <mutex>
#include <thread>

#include "platform/AudioInput.h"
#include "platform/linux/audio/PipewireQuelle.h"
#include "platform/linux/Deskriptor.h"

namespace hallkorb {

class PipewireInput final : public AudioInput {
 public:
  explicit PipewireInput(PipewireQuelle quelle);
  ~PipewireInput() override;
  PipewireInput(const PipewireInput&) = delete;
  PipewireInput& operator=(const PipewireInput&) = delete;

  [[nodiscard]] Ergebnis start(AudioInputListener& listener) override;
  Ergebnis stop() override;

 private:
  void laufe(AudioInputListener& listener, std::promise<Ergebnis> ergebnis);

  const PipewireQuelle quelle_;
  Wecker wecker_;
  std::atomic<bool> stopp_{false};
  std::mutex fadenLock_;  // for `faden_`; held by whoever waits for its end
  std::thread faden_;
};

}  // namespace hallkorb
