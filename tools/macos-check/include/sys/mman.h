// Written for the check from the manual page mmap(2).
#pragma once
#include <sys/types.h>
#define PROT_READ 0x01
#define PROT_WRITE 0x02
#define MAP_SHARED 0x0001
#define MAP_PRIVATE 0x0002
#define MAP_FAILED ((void*)-1)
#ifdef __cplusplus
extern "C" {
#endif
void* mmap(void*, size_t, int, int, int, off_t);
int munmap(void*, size_t);
#ifdef __cplusplus
}
#endif
