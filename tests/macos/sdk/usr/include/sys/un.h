// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Layout as in the manual page unix(4); confirmed by no Mac.
#pragma once
#include <sys/socket.h>

struct sockaddr_un { unsigned char sun_len; sa_family_t sun_family; char sun_path[104]; };
