// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Functions as in the manual pages socket(2), bind(2), listen(2), accept(2), connect(2); layouts and numbers are general
// knowledge of the system, confirmed by no Mac.
#pragma once
#include <sys/types.h>

typedef uint8_t sa_family_t;
typedef uint32_t socklen_t;
struct sockaddr { uint8_t sa_len; sa_family_t sa_family; char sa_data[14]; };
#define SOCK_STREAM 1
#define SOCK_DGRAM 2
#define SOL_SOCKET 0xffff
#define AF_UNIX 1
#define AF_INET 2
#define SHUT_RD 0
#define SHUT_WR 1
#define SHUT_RDWR 2
__BEGIN_DECLS
int socket(int, int, int);
int socketpair(int, int, int, int[2]);
int bind(int, const struct sockaddr *, socklen_t);
int listen(int, int);
int accept(int, struct sockaddr *, socklen_t *);
int connect(int, const struct sockaddr *, socklen_t);
int shutdown(int, int);
int getsockopt(int, int, int, void *, socklen_t *);
__END_DECLS
