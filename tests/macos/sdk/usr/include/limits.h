// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// The compiler's own header comes first and includes this one; values as in getconf(1).
#pragma once
#define PATH_MAX 1024
#define NAME_MAX 255
#define PIPE_BUF 512
#define IOV_MAX 1024
#define SSIZE_MAX __LONG_MAX__
