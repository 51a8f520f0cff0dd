// The run loop on Linux: signals, the host's disconnection and posted work, all as events of one
// poll(2).
//
// Signals arrive by signalfd(2), so no code of ours ever runs in a signal handler. For that they
// are blocked, which is inherited by the threads that the caller starts: the run loop must know its
// signals before there are other threads, or the kernel could end the process through one of those.
// Signals that have been blocked earlier and are pending by then are not lost.
//
// Equal signals that come faster than they are handled arrive as one: the kernel keeps no count.
//
// Threads as in RunLoop.h.
#pragma once

#include <csignal>
#include <deque>
#include <map>
#include <mutex>
#include <optional>

#include "platform/linux/Deskriptor.h"
#include "platform/RunLoop.h"

namespace hallkorb {

class LinuxRunLoop final : public RunLoop {
 public:
  LinuxRunLoop();
  // Leaves the signals blocked: one that comes while the process ends in order must not kill it.
  ~LinuxRunLoop() override = default;
  LinuxRunLoop(const LinuxRunLoop&) = delete;
  LinuxRunLoop& operator=(const LinuxRunLoop&) = delete;

  void aufSignal(int nummer, Handler handler) override;
  // A Unix socket's reader that has only closed its own sending side still reads and does not count
  // as gone; with other sockets the two look the same, and both count.
  void aufLeserWeg(int deskriptor, Handler handler) override;
  void post(Handler handler) override;
  int run() override;
  void quit(int status) override;

 private:
  struct Leser {
    int deskriptor = -1;
    short ereignisse = 0;  // requested of poll, besides errors and hang-ups
    Handler handler;
  };

  void laufeSignale();
  void laufeGepostete();
  [[nodiscard]] bool beendet();

  sigset_t signale_{};
  Deskriptor signalFd_;
  std::map<int, Handler> signalHandler_;
  std::deque<Leser> leser_;

  Wecker wecker_;  // set while the fields below want attention
  std::mutex lock_;
  std::deque<Handler> gepostet_;
  std::optional<int> status_;
};

}  // namespace hallkorb
