// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Names and values as in the manual page regex(3).
#pragma once
#include <sys/types.h>

typedef off_t regoff_t;
typedef struct { int re_magic; size_t re_nsub; const char *re_endp; struct re_guts *re_g; } regex_t;
typedef struct { regoff_t rm_so, rm_eo; } regmatch_t;
#define REG_EXTENDED 0001
#define REG_ICASE 0002
#define REG_NOSUB 0004
#define REG_NEWLINE 0010
__BEGIN_DECLS
int regcomp(regex_t *, const char *, int);
int regexec(const regex_t *, const char *, size_t, regmatch_t[], int);
size_t regerror(int, const regex_t *, char *, size_t);
void regfree(regex_t *);
__END_DECLS
