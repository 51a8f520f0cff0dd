// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// As in the kernel's published interface (vm_deallocate); confirmed by no Mac.
#pragma once
#include <mach/mach_types.h>

__BEGIN_DECLS
kern_return_t vm_deallocate(vm_map_t target_task, vm_address_t address, vm_size_t size);
__END_DECLS
