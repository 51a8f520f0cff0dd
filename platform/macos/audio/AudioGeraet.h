// One capture device as macOS offers it, seen from its supervision (MacInput.h): it can be opened
// and closed, again and again, and reports when it has ended by itself.
//
// Threads: oeffne(), laeuft() and schliesse() are called by one thread, never at the same time. The
// receiver is called on the threads of the system.
#pragma once

#include <memory>

#include "base/Fehler.h"
#include "platform/macos/Wartestelle.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

class BlockEmpfaenger {
 public:
  virtual ~BlockEmpfaenger() = default;
  // The next block; its samples are valid during the call only.
  virtual void block(const PcmBlock& block) = 0;
  // The device has changed, and has ended unless laeuft() says otherwise. May come more than once,
  // and also while the device is being opened.
  virtual void ausgefallen(const Fehler& grund) = 0;
};

class AudioGeraet {
 public:
  virtual ~AudioGeraet() = default;

  // Opens the device; blocks flow to `empfaenger` for as long as that exists. All waiting is done
  // at `stelle` and ends at `frist`. schliesse() must follow even after an error.
  [[nodiscard]] virtual Ergebnis oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger,
                                        const std::shared_ptr<Wartestelle>& stelle,
                                        Wartestelle::Frist frist) = 0;
  // Whether the device, open so far, still delivers.
  [[nodiscard]] virtual bool laeuft() = 0;
  // Takes down whatever is up, in any state. Waits for the system, but not for ever. Returns what
  // the system reports about the end of the capture, which has ended in any case.
  virtual Ergebnis schliesse() = 0;
};

}  // namespace hallkorb
