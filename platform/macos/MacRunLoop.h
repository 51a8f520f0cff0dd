// The run loop on macOS: dispatch sources on the main queue, and the main thread's own run loop,
// which serves that queue.
//
// Signals come by dispatch signal sources, which watch from aufSignal() on and pass them to the
// main queue; the default action is set to ignore once the source watches. A signal that was held
// back until then (base/Signalhalt.h) is handled too. So one that comes before run() is kept, and
// none ends the process. The kernel's event queue reports that a reader is gone, without anything
// being written.
//
// Equal signals that come faster than they are handled arrive as one; one that comes just while its
// source begins to watch may be handled twice.
//
// Threads as in RunLoop.h.
#pragma once

#include <memory>

#include "platform/RunLoop.h"

namespace hallkorb {

class MacRunLoop final : public RunLoop {
 public:
  MacRunLoop();
  // Leaves the signals ignored: one that comes while the process ends in order must not kill it.
  ~MacRunLoop() override;
  MacRunLoop(const MacRunLoop&) = delete;
  MacRunLoop& operator=(const MacRunLoop&) = delete;

  void aufSignal(int nummer, Handler handler) override;
  void aufLeserWeg(int deskriptor, Handler handler) override;
  void post(Handler handler) override;
  int run() override;
  void quit(int status) override;

 private:
  struct Innen;
  std::shared_ptr<Innen> innen_;
};

}  // namespace hallkorb
