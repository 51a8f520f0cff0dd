// Stand-in for the kernel's event queue, as far as waiting for room in a pipe takes it: on epoll.
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/event.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <optional>

#include "tests/macos/doubles/System.h"

namespace {

constexpr long WIRKLICH = LONG_MIN;  // no answer is given by the test

std::atomic<int> gibtKeine{0};
std::atomic<int> lehntAb{0};
std::atomic<bool> nurAlsFehler{false};
std::atomic<long> rohrplatz{WIRKLICH};

// What a write takes for certain. A pipe holds pages, so beside unread data only one of them is
// known.
long freieBytes(int fd) {
  int groesse = ::fcntl(fd, F_GETPIPE_SZ);
  const bool rohr = groesse >= 0;
  socklen_t laenge = sizeof groesse;
  if (!rohr && ::getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &groesse, &laenge) != 0) return PIPE_BUF;
  int ungelesen = 0;
  if (::ioctl(fd, rohr ? FIONREAD : SIOCOUTQ, &ungelesen) != 0) return PIPE_BUF;
  return ungelesen > 0 ? PIPE_BUF : rohr ? groesse : groesse / 2;
}

// Returns 0, or why not.
int aendere(int warteschlange, const struct kevent& aenderung) {
  if (const int grund = lehntAb; grund != 0) return grund;
  if (aenderung.filter != EVFILT_WRITE) return EINVAL;
  struct epoll_event ereignis{};
  ereignis.events = EPOLLOUT;
  if ((aenderung.flags & EV_CLEAR) != 0) ereignis.events |= static_cast<std::uint32_t>(EPOLLET);
  ereignis.data.fd = static_cast<int>(aenderung.ident);
  const int art = (aenderung.flags & EV_DELETE) != 0 ? EPOLL_CTL_DEL : EPOLL_CTL_ADD;
  return ::epoll_ctl(warteschlange, art, ereignis.data.fd, &ereignis) == 0 ? 0 : errno;
}

}  // namespace

void hallkorb::ersatz::keineEreignisse(int fehlernummer) {
  gibtKeine = fehlernummer;
}

void hallkorb::ersatz::keineWache(int fehlernummer, bool ohneEreignis) {
  lehntAb = fehlernummer;
  nurAlsFehler = ohneEreignis;
}

void hallkorb::ersatz::setzeRohrplatz(std::optional<long> bytes) {
  rohrplatz = bytes.value_or(WIRKLICH);
}

int kqueue() {
  if (const int grund = gibtKeine; grund != 0) {
    errno = grund;
    return -1;
  }
  return ::epoll_create1(EPOLL_CLOEXEC);
}

// A change that fails is reported as an event if there is room for one.
int kevent(int warteschlange, const struct kevent* aenderungen, int anzahl,
           struct kevent* ereignisse, int platz, const struct timespec* zeit) {
  for (int i = 0; i < anzahl; ++i) {
    const int fehler = aendere(warteschlange, aenderungen[i]);
    if (fehler == 0) continue;
    if (platz == 0 || nurAlsFehler) {
      errno = fehler;
      return -1;
    }
    *ereignisse = aenderungen[i];
    ereignisse->flags = EV_ERROR;
    ereignisse->data = fehler;
    return 1;
  }
  if (platz == 0) return 0;
  const long ms = zeit == nullptr ? -1 : zeit->tv_sec * 1000 + zeit->tv_nsec / 1000000;
  struct epoll_event ereignis{};
  const int da = ::epoll_wait(warteschlange, &ereignis, 1, static_cast<int>(ms));
  if (da <= 0) return da;
  const long gewollt = rohrplatz;
  if (gewollt < 0 && gewollt != WIRKLICH) return 0;
  const bool zuEnde = (ereignis.events & (EPOLLERR | EPOLLHUP)) != 0;
  EV_SET(ereignisse, static_cast<uintptr_t>(ereignis.data.fd), EVFILT_WRITE,
         static_cast<std::uint16_t>(EV_CLEAR | (zuEnde ? EV_EOF : 0)), 0,
         gewollt == WIRKLICH ? freieBytes(ereignis.data.fd) : gewollt, nullptr);
  return 1;
}
