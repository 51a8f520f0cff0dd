// The main thread's run loop: handles signals and notices when the host disconnects.
//
// A recording is ended from outside, by a signal or because nobody reads its output any more. Both
// must be noticed at once, and handled on an ordinary thread, which may use locks and files; a real
// signal handler may use neither.
#pragma once

#include <functional>

namespace hallkorb {

class RunLoop {
 public:
  using Handler = std::function<void()>;

  virtual ~RunLoop() = default;

  // From now on the signal's default action is off, and `handler` runs on the main thread for each
  // arrival. Before run(), on the main thread.
  virtual void aufSignal(int nummer, Handler handler) = 0;

  // `handler` runs once on the main thread when the reading end of `deskriptor` (a pipe, a socket,
  // a terminal) is closed, without anything being written. Does nothing for files. Before run().
  virtual void aufLeserWeg(int deskriptor, Handler handler) = 0;

  // Runs `handler` on the main thread, in the order of the calls. Any thread.
  virtual void post(Handler handler) = 0;

  // Waits for and runs handlers until quit(); returns its status. Main thread.
  virtual int run() = 0;

  // Lets run() return with `status` once the running handler has ended. Any thread.
  virtual void quit(int status) = 0;
};

}  // namespace hallkorb
