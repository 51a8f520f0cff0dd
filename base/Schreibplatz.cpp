#include "base/Schreibplatz.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>

#if HALLKORB_MACOS
#include <sys/event.h>

#include <ctime>
#else
#include <linux/sockios.h>
#include <sys/ioctl.h>
#endif

namespace hallkorb {
namespace {

#if HALLKORB_MACOS

// The free bytes of a pipe or socket that is ready for writing; nullopt if the kernel does not say.
std::optional<std::size_t> freieBytes(int fd, mode_t) {
  const int ereignisse = ::kqueue();
  if (ereignisse < 0) return std::nullopt;
  struct kevent wunsch{};
  EV_SET(&wunsch, static_cast<uintptr_t>(fd), EVFILT_WRITE, EV_ADD | EV_ONESHOT, 0, 0, nullptr);
  struct kevent antwort{};
  const struct timespec sofort{};
  const int anzahl = ::kevent(ereignisse, &wunsch, 1, &antwort, 1, &sofort);
  ::close(ereignisse);
  // A wish that is refused is answered with an event whose data is the error.
  if (anzahl < 0 || (antwort.flags & EV_ERROR) != 0) return std::nullopt;
  return static_cast<std::size_t>(std::max<std::intptr_t>(antwort.data, 0));
}

// Pipes grow to this size while they are written to.
std::size_t fassung(int, mode_t) {
  return 16384;
}

#else

// The free bytes that are certain. A pipe holds pages, some of them half full, so what is free
// beside unread data is not known; if there is none, everything is.
std::size_t fassung(int fd, mode_t art) {
  int groesse = 0;
  if (S_ISFIFO(art)) {
    groesse = ::fcntl(fd, F_GETPIPE_SZ);  // NOLINT(cppcoreguidelines-pro-type-vararg)
  } else {
    socklen_t laenge = sizeof groesse;
    if (::getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &groesse, &laenge) != 0) return PIPE_BUF;
    groesse /= 2;  // the kernel counts its own bookkeeping in
  }
  return static_cast<std::size_t>(std::max(groesse, PIPE_BUF));
}

std::optional<std::size_t> freieBytes(int fd, mode_t art) {
  int ungelesen = 0;
  const unsigned long frage = S_ISFIFO(art) ? FIONREAD : SIOCOUTQ;
  if (::ioctl(fd, frage, &ungelesen) != 0) return std::nullopt;  // NOLINT(*-vararg)
  return ungelesen == 0 ? fassung(fd, art) : PIPE_BUF;
}

#endif

}  // namespace

std::size_t schreibplatz(int fd, std::size_t bytes) {
  if (fd < 0) return bytes;
  pollfd wer{fd, POLLOUT, 0};
  if (::poll(&wer, 1, 0) == 0) return 0;
  if ((wer.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) return bytes;
  struct stat auskunft{};
  if (::fstat(fd, &auskunft) != 0) return bytes;
  const mode_t art = auskunft.st_mode;
  if (bytes <= PIPE_BUF || (!S_ISFIFO(art) && !S_ISSOCK(art))) return bytes;
  const std::optional<std::size_t> frei = freieBytes(fd, art);
  if (!frei) return PIPE_BUF;  // as poll(2) has promised; to wait for an answer could take for ever
  if (*frei >= bytes) return bytes;
  // A part only if the pipe is empty, or nearly so. The smallest ones hold no more than PIPE_BUF.
  const std::size_t ganz = fassung(fd, art);
  return bytes > ganz && *frei > std::min<std::size_t>(ganz - 1, PIPE_BUF) ? PIPE_BUF : 0;
}

// By its name, which gives it a state of its own; /dev/fd would share that of `fd` on macOS.
std::optional<int> terminalOhneWarten(int fd) {
  std::array<char, PATH_MAX> name{};
  if (::ttyname_r(fd, name.data(), name.size()) != 0) return std::nullopt;
  const int neu = ::open(name.data(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  return neu < 0 ? std::nullopt : std::optional(neu);
}

}  // namespace hallkorb
