// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Functions as in the manual page getrlimit(2); numbers are general knowledge of the system, confirmed by no Mac.
#pragma once
#include <sys/time.h>
#include <sys/types.h>

typedef uint64_t rlim_t;
struct rlimit { rlim_t rlim_cur, rlim_max; };
#define RLIM_INFINITY (((uint64_t)1 << 63) - 1)
#define RLIMIT_FSIZE 1
#define RLIMIT_CORE 4
#define RLIMIT_NOFILE 8
__BEGIN_DECLS
int getrlimit(int, struct rlimit *);
int setrlimit(int, const struct rlimit *);
__END_DECLS
