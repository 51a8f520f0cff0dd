// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Names and types as in the kernel's published interface (mach_task_self); confirmed by no Mac.
#pragma once
#include <mach/mach_types.h>

__BEGIN_DECLS
extern mach_port_t mach_task_self_;
__END_DECLS
#define mach_task_self() mach_task_self_
