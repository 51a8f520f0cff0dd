// What differs in the C library of macOS. Included before everything else in the files of base/,
// which ask for it if they are built for macOS.
#pragma once

#include <climits>

// What a pipe takes at once. Lines longer than this are common.
#undef PIPE_BUF
#define PIPE_BUF 512

// Names the calling thread, and never another. Returns 0 or an error number.
int pthread_setname_np(const char* name);
