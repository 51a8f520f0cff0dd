// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Functions as in the manual pages mmap(2), mprotect(2), munmap(2); numbers are general knowledge of the system,
// confirmed by no Mac.
#pragma once
#include <sys/types.h>

#define PROT_NONE 0x00
#define PROT_READ 0x01
#define PROT_WRITE 0x02
#define MAP_SHARED 0x0001
#define MAP_PRIVATE 0x0002
#define MAP_ANON 0x1000
#define MAP_ANONYMOUS MAP_ANON
#define MAP_FAILED ((void *)-1)
__BEGIN_DECLS
void *mmap(void *, size_t, int, int, int, off_t);
int munmap(void *, size_t);
int mprotect(void *, size_t, int);
__END_DECLS
