// Written for the check from the manual page removefile(3).
#pragma once
#include <stdint.h>
struct _removefile_state;
typedef struct _removefile_state* removefile_state_t;
typedef uint32_t removefile_flags_t;
#define REMOVEFILE_RECURSIVE (1 << 0)
#define REMOVEFILE_KEEP_PARENT (1 << 1)
#ifdef __cplusplus
extern "C" {
#endif
int removefile(const char* path, removefile_state_t state, removefile_flags_t flags);
#ifdef __cplusplus
}
#endif
