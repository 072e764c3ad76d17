// Written for the check from the manual page getrlimit(2).
#pragma once
#include <stdint.h>
#define RLIMIT_FSIZE 1
typedef uint64_t rlim_t;
struct rlimit {
  rlim_t rlim_cur;
  rlim_t rlim_max;
};
#ifdef __cplusplus
extern "C" {
#endif
int getrlimit(int, struct rlimit*);
int setrlimit(int, const struct rlimit*);
#ifdef __cplusplus
}
#endif
