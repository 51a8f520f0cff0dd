// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
// As in the kernel's published interface (task_threads); confirmed by no Mac.
#pragma once
#include <mach/mach_types.h>

__BEGIN_DECLS
kern_return_t task_threads(task_t target_task, thread_act_array_t *act_list, mach_msg_type_number_t *act_listCnt);
__END_DECLS
