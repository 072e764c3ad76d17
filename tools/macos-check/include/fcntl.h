// Written for the check from the manual pages open(2), fcntl(2) and the *at(2) calls.
#pragma once
#include <sys/types.h>
#define O_RDONLY 0x0
#define O_WRONLY 0x1
#define O_RDWR 0x2
#define O_NONBLOCK 0x4
#define O_APPEND 0x8
#define O_NOFOLLOW 0x100
#define O_CREAT 0x200
#define O_TRUNC 0x400
#define O_EXCL 0x800
#define O_NOCTTY 0x20000
#define O_DIRECTORY 0x100000
#define O_SYMLINK 0x200000
#define O_CLOEXEC 0x1000000
#define AT_FDCWD (-2)
#define AT_EACCESS 0x10
#define AT_SYMLINK_NOFOLLOW 0x20
#define AT_REMOVEDIR 0x80
#define FD_CLOEXEC 1
#define F_GETFD 1
#define F_SETFD 2
#define F_GETFL 3
#define F_SETFL 4
#define F_PREALLOCATE 42
#define F_FULLFSYNC 51
#define F_DUPFD_CLOEXEC 67
#define F_ALLOCATECONTIG 0x2
#define F_ALLOCATEALL 0x4
#define F_PEOFPOSMODE 3
#define F_VOLPOSMODE 4
typedef struct fstore {
  unsigned int fst_flags;
  int fst_posmode;
  off_t fst_offset;
  off_t fst_length;
  off_t fst_bytesalloc;
} fstore_t;
#ifdef __cplusplus
extern "C" {
#endif
int fcntl(int, int, ...);
int open(const char*, int, ...);
int openat(int, const char*, int, ...);
#ifdef __cplusplus
}
#endif
