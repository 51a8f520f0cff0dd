// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// flock as in the manual page flock(2).
#pragma once
#include <sys/types.h>

#define LOCK_SH 0x01
#define LOCK_EX 0x02
#define LOCK_NB 0x04
#define LOCK_UN 0x08
__BEGIN_DECLS
int flock(int, int);
__END_DECLS
