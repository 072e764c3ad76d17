// The C library's, with the one call that this system declares here (setgroups(2)).
#pragma once
#include_next <unistd.h>
#ifdef __cplusplus
extern "C" {
#endif
int setgroups(int, const gid_t*);
#ifdef __cplusplus
}
#endif
