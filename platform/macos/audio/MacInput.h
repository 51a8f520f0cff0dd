// An audio input on macOS: the supervision of one capture device.
//
// The devices of macOS end by themselves: the engine stops when the microphone's format changes,
// the capture service ends its streams when a display goes to sleep. What must happen then is the
// same for both and decided here: the loss is reported to the listener, the device is closed and
// opened again, at first at once and then every second, until blocks flow. A device that is lost
// again and again soon after it was opened is opened less and less often, so that it neither fills
// the log nor keeps the computer busy. A microphone that falls silent is treated the same, since
// not every change of the device is announced. A change after which the device still runs is
// ignored.
//
// One thread per input opens and closes; blocks come on the system's own thread (the engine's tap
// thread, the queue "sck.audio"), which is not a real-time thread. A lock admits one call on the
// listener at a time, and none after the stop. While blocks flow, the input's thread holds it only
// briefly, every 0.4 s at most. It holds it for longer, to hand on what is held back, if the stream
// pauses (Hosttakt.h), when the device is closed, and at the stop. So neither start() nor
// stop() depends on a call into the system that may never return: it is not made under the lock,
// and its thread is left behind with everything it needs.
//
// Blocks are brought onto the host's clock on their way to the listener (Hosttakt.h); a time stamp
// that cannot be true is none (Stempelpruefung.h).
//
// If the listener is slow, the system drops blocks without counting them: they show as a gap of the
// block times, and verloren() is never called.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "platform/AudioInput.h"
#include "platform/macos/audio/AudioGeraet.h"

namespace hallkorb {

class MacInput final : public AudioInput {
 public:
  struct Zeiten {
    std::chrono::milliseconds oeffnen{2800};  // for one opening of the device
    std::chrono::milliseconds start{
        3000};  // for start(); longer, so that the device can give the reason
    std::chrono::milliseconds abstand{1000};  // between two openings, at least
    std::chrono::milliseconds frueh{10000};   // a device that is lost sooner was lost early
    std::chrono::milliseconds laengsterAbstand{30000};  // after many early losses
    std::chrono::milliseconds abbau{3000};              // that stop() waits for the device to close
    std::optional<std::chrono::milliseconds>
        stille;  // without blocks, after which it counts as gone
  };

  // `name` names the thread; all its waiting is done at `stelle`.
  MacInput(std::string name, std::unique_ptr<AudioGeraet> geraet, const Zeiten& zeiten,
           std::shared_ptr<Wartestelle> stelle = std::make_shared<Wartestelle>());
  ~MacInput() override;
  MacInput(const MacInput&) = delete;
  MacInput& operator=(const MacInput&) = delete;

  [[nodiscard]] Ergebnis start(AudioInputListener& listener) override;
  Ergebnis stop() override;

 private:
  class Aufsicht;
  class Oeffnung;
  std::shared_ptr<Aufsicht> aufsicht_;
};

}  // namespace hallkorb
