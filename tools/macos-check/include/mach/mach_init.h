// For GoogleTest, which counts its own threads: written for the check from Mach's interface documentation.
#pragma once
#include <stdint.h>
typedef unsigned int mach_port_t;
typedef mach_port_t task_t;
typedef mach_port_t thread_t;
typedef mach_port_t thread_act_t;
typedef thread_act_t* thread_act_array_t;
typedef unsigned int mach_msg_type_number_t;
typedef int kern_return_t;
typedef uintptr_t vm_address_t;
typedef uintptr_t vm_size_t;
#define KERN_SUCCESS 0
#ifdef __cplusplus
extern "C" {
#endif
extern mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_
kern_return_t task_threads(task_t, thread_act_array_t*, mach_msg_type_number_t*);
kern_return_t vm_deallocate(task_t, vm_address_t, vm_size_t);
#ifdef __cplusplus
}
#endif
