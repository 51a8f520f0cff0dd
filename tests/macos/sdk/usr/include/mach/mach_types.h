// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// Widths as in the kernel's published interface for 64-bit processes; confirmed by no Mac.
#pragma once
#include <mach/mach_time.h>
#include <stdint.h>

typedef unsigned int natural_t;
typedef natural_t mach_port_t;
typedef mach_port_t task_t;
typedef mach_port_t thread_act_t;
typedef mach_port_t thread_t;
typedef thread_act_t *thread_act_array_t;
typedef natural_t mach_msg_type_number_t;
typedef mach_port_t vm_map_t;
typedef uintptr_t vm_address_t;
typedef uintptr_t vm_size_t;
#define KERN_SUCCESS 0
