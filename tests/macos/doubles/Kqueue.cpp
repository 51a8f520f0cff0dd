// Stand-in for the kernel's event queue, as far as waiting for room in a pipe takes it: on epoll.
#include <sys/epoll.h>
#include <sys/event.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "tests/macos/doubles/System.h"

namespace {

std::atomic<bool> gibtKeine{false};

}  // namespace

void hallkorb::ersatz::keineEreignisse(bool ja) {
  gibtKeine = ja;
}

int kqueue() {
  if (gibtKeine) {
    errno = EMFILE;
    return -1;
  }
  return ::epoll_create1(EPOLL_CLOEXEC);
}

namespace {

bool aendere(int warteschlange, const struct kevent& aenderung) {
  if (aenderung.filter != EVFILT_WRITE) {
    errno = EINVAL;
    return false;
  }
  struct epoll_event ereignis{};
  ereignis.events = EPOLLOUT;
  if ((aenderung.flags & EV_CLEAR) != 0) ereignis.events |= static_cast<std::uint32_t>(EPOLLET);
  ereignis.data.fd = static_cast<int>(aenderung.ident);
  const int art = (aenderung.flags & EV_DELETE) != 0 ? EPOLL_CTL_DEL : EPOLL_CTL_ADD;
  return ::epoll_ctl(warteschlange, art, ereignis.data.fd, &ereignis) == 0;
}

}  // namespace

int kevent(int warteschlange, const struct kevent* aenderungen, int anzahl,
           struct kevent* ereignisse, int platz, const struct timespec* zeit) {
  for (int i = 0; i < anzahl; ++i) {
    if (!aendere(warteschlange, aenderungen[i])) return -1;
  }
  if (platz == 0) return 0;
  const long ms = zeit == nullptr ? -1 : zeit->tv_sec * 1000 + zeit->tv_nsec / 1000000;
  struct epoll_event ereignis{};
  const int da = ::epoll_wait(warteschlange, &ereignis, 1, static_cast<int>(ms));
  if (da <= 0) return da;
  const bool zuEnde = (ereignis.events & (EPOLLERR | EPOLLHUP)) != 0;
  EV_SET(ereignisse, static_cast<uintptr_t>(ereignis.data.fd), EVFILT_WRITE,
         static_cast<std::uint16_t>(EV_CLEAR | (zuEnde ? EV_EOF : 0)), 0, 0, nullptr);
  return 1;
}
