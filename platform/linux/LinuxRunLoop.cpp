#include "platform/linux/LinuxRunLoop.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>
#include <vector>

namespace hallkorb {
namespace {

[[noreturn]] void scheitere(const char* was) {
  throw std::system_error(errno, std::generic_category(), was);
}

bool istUnixSocket(int deskriptor) {
  int familie = 0;
  socklen_t laenge = sizeof familie;
  return getsockopt(deskriptor, SOL_SOCKET, SO_DOMAIN, &familie, &laenge) == 0 &&
         familie == AF_UNIX;
}

}  // namespace

LinuxRunLoop::LinuxRunLoop() {
  if (wecker_.nummer() != 0) {
    throw std::system_error(wecker_.nummer(), std::generic_category(), "eventfd");
  }
  sigemptyset(&signale_);
}

void LinuxRunLoop::aufSignal(int nummer, Handler handler) {
  sigaddset(&signale_, nummer);
  if (const int fehler = pthread_sigmask(SIG_BLOCK, &signale_, nullptr); fehler != 0) {
    throw std::system_error(fehler, std::generic_category(), "pthread_sigmask");
  }
  // The same descriptor takes the larger set from the second call on.
  const int fd = ::signalfd(signalFd_.fd(), &signale_, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd < 0) scheitere("signalfd");
  if (signalFd_.fd() < 0) signalFd_ = Deskriptor(fd);
  signalHandler_[nummer] = std::move(handler);
}

void LinuxRunLoop::aufLeserWeg(int deskriptor, Handler handler) {
  struct stat art{};
  if (fstat(deskriptor, &art) != 0 || S_ISREG(art.st_mode)) return;
  const bool beidseitig = S_ISSOCK(art.st_mode) && !istUnixSocket(deskriptor);
  leser_.push_back(
      {deskriptor, static_cast<short>(beidseitig ? POLLRDHUP : 0), std::move(handler)});
}

void LinuxRunLoop::post(Handler handler) {
  const std::lock_guard halter(lock_);
  gepostet_.push_back(std::move(handler));
  wecker_.wecke();
}

void LinuxRunLoop::quit(int status) {
  const std::lock_guard halter(lock_);
  status_ = status;
  wecker_.wecke();
}

bool LinuxRunLoop::beendet() {
  const std::lock_guard halter(lock_);
  return status_.has_value();
}

// Only what was there before: work that posts more work must not keep the signals waiting.
void LinuxRunLoop::laufeGepostete() {
  wecker_.leere();
  std::size_t anzahl = 0;
  {
    const std::lock_guard halter(lock_);
    anzahl = gepostet_.size();
  }
  for (; anzahl > 0; --anzahl) {
    Handler handler;
    {
      const std::lock_guard halter(lock_);
      if (status_) return;
      handler = std::move(gepostet_.front());
      gepostet_.pop_front();
    }
    handler();
  }
}

void LinuxRunLoop::laufeSignale() {
  signalfd_siginfo ankunft{};
  while (!beendet() && ::read(signalFd_.fd(), &ankunft, sizeof ankunft) == sizeof ankunft) {
    signalHandler_.at(static_cast<int>(ankunft.ssi_signo))();
  }
}

int LinuxRunLoop::run() {
  while (!beendet()) {
    std::vector<pollfd> warten{{wecker_.fd(), POLLIN, 0}, {signalFd_.fd(), POLLIN, 0}};
    for (const Leser& leser : leser_)
      warten.push_back({leser.deskriptor, leser.ereignisse, 0});
    if (::poll(warten.data(), warten.size(), -1) < 0) {
      if (errno == EINTR) continue;
      scheitere("poll");
    }

    if (warten[0].revents != 0) laufeGepostete();
    if (warten[1].revents != 0) laufeSignale();
    for (std::size_t i = leser_.size(); i-- > 0;) {
      if (warten[i + 2].revents == 0 || beendet()) continue;
      const Handler handler = std::move(leser_[i].handler);
      leser_.erase(leser_.begin() + static_cast<std::ptrdiff_t>(i));
      handler();
    }
  }
  const std::lock_guard halter(lock_);
  return *std::exchange(status_, std::nullopt);
}

}  // namespace hallkorb
