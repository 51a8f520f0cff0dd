// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Names, types and values as in the manual page kqueue(2).
#pragma once
#include <sys/types.h>
#include <time.h>

#define EVFILT_READ (-1)
#define EVFILT_WRITE (-2)
#define EV_ADD 0x0001
#define EV_DELETE 0x0002
#define EV_ENABLE 0x0004
#define EV_DISABLE 0x0008
#define EV_ONESHOT 0x0010
#define EV_CLEAR 0x0020
#define EV_ERROR 0x4000
#define EV_EOF 0x8000
#pragma pack(push, 4)
struct kevent {
  uintptr_t ident;
  int16_t filter;
  uint16_t flags;
  uint32_t fflags;
  intptr_t data;
  void *udata;
};
#pragma pack(pop)
#define EV_SET(kevp, a, b, c, d, e, f) \
  do {                                 \
    struct kevent *__kevp__ = (kevp);  \
    __kevp__->ident = (a);             \
    __kevp__->filter = (b);            \
    __kevp__->flags = (c);             \
    __kevp__->fflags = (d);            \
    __kevp__->data = (e);              \
    __kevp__->udata = (f);             \
  } while (0)
__BEGIN_DECLS
int kqueue(void);
int kevent(int kq, const struct kevent *changelist, int nchanges, struct kevent *eventlist, int nevents, const struct timespec *timeout);
__END_DECLS
