// The C library's, with the one call that this system declares here (setgroups(2)).
#pragma once
#define setgroups setgroups_of_another_system
#include_next <unistd.h>
#undef setgroups
#ifdef __cplusplus
extern "C" {
#endif
int setgroups(int, const gid_t*);
#ifdef __cplusplus
}
#endif
