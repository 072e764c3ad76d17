#pragma once
/* hand-written */
#include_next <time.h>
#define CLOCK_UPTIME_RAW 8
#ifdef __cplusplus
extern "C"
#endif
    unsigned long long
    clock_gettime_nsec_np(clockid_t clock_id);
