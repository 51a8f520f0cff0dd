// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
#pragma once
#include <sys/socket.h>

struct sockaddr_un { unsigned char sun_len; sa_family_t sun_family; char sun_path[104]; };
