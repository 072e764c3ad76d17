// The C library's, with the call of arc4random(3).
#pragma once
#include_next <stdlib.h>
#ifdef __cplusplus
extern "C" {
#endif
void arc4random_buf(void*, size_t);
#ifdef __cplusplus
}
#endif
