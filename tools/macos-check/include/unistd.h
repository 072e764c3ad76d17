// Written for the check from the manual pages of the calls; calls of other systems are not among them.
#pragma once
#include <stdint.h>
#include <sys/types.h>
#define __NEED_intptr_t
#define __NEED_size_t
#define __NEED_ssize_t
#define __NEED_uid_t
#define __NEED_gid_t
#define __NEED_off_t
#define __NEED_pid_t
#define __NEED_useconds_t
#include <bits/alltypes.h>
#define STDIN_FILENO 0
#define STDOUT_FILENO 1
#define STDERR_FILENO 2
#define F_OK 0
#define X_OK 1
#define W_OK 2
#define R_OK 4
#ifndef SEEK_SET
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#endif
#define _SC_PAGESIZE 29
#define _SC_NPROCESSORS_ONLN 58
#define _PC_NAME_MAX 4
#define _PC_PATH_MAX 5
#ifdef __cplusplus
extern "C" {
#endif
int access(const char*, int);
int chdir(const char*);
int chown(const char*, uid_t, gid_t);
int close(int);
int dup(int);
int dup2(int, int);
int execv(const char*, char* const[]);
void _exit(int) __attribute__((noreturn));
int faccessat(int, const char*, int, int);
int fchdir(int);
int fchown(int, uid_t, gid_t);
int fchownat(int, const char*, uid_t, gid_t, int);
pid_t fork(void);
int fsync(int);
int ftruncate(int, off_t);
char* getcwd(char*, size_t);
gid_t getegid(void);
uid_t geteuid(void);
gid_t getgid(void);
int getgroups(int, gid_t[]);
pid_t getpid(void);
pid_t getppid(void);
uid_t getuid(void);
int isatty(int);
int lchown(const char*, uid_t, gid_t);
int link(const char*, const char*);
off_t lseek(int, off_t, int);
long pathconf(const char*, int);
int pause(void);
int pipe(int[2]);
ssize_t pread(int, void*, size_t, off_t);
ssize_t read(int, void*, size_t);
ssize_t readlink(const char*, char*, size_t);
ssize_t readlinkat(int, const char*, char*, size_t);
int rmdir(const char*);
int setegid(gid_t);
int seteuid(uid_t);
int setgroups(int, const gid_t*);
unsigned sleep(unsigned);
int symlink(const char*, const char*);
int symlinkat(const char*, int, const char*);
void sync(void);
#define SYNC_VOLUME_FULLSYNC 0x01
#define SYNC_VOLUME_WAIT 0x02
int sync_volume_np(const char*, int); /* 10.8; from memory of <unistd.h> */
long sysconf(int);
int unlink(const char*);
int unlinkat(int, const char*, int);
int usleep(useconds_t);
ssize_t write(int, const void*, size_t);
#ifdef __cplusplus
}
#endif
