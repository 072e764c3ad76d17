// Written for the check from the manual pages of the socket calls.
#pragma once
#include <sys/types.h>
#define __NEED_socklen_t
#include <bits/alltypes.h>
typedef unsigned char sa_family_t;
#define AF_UNIX 1
#define AF_INET 2
#define AF_INET6 30
#define SOCK_STREAM 1
#define SOCK_DGRAM 2
#define SOL_SOCKET 0xffff
#define SO_REUSEADDR 0x0004
#define SO_NOSIGPIPE 0x1022
#define SOMAXCONN 128
#define SHUT_RD 0
#define SHUT_WR 1
#define SHUT_RDWR 2
struct sockaddr {
  unsigned char sa_len;
  sa_family_t sa_family;
  char sa_data[14];
};
#ifdef __cplusplus
extern "C" {
#endif
int accept(int, struct sockaddr*, socklen_t*);
int bind(int, const struct sockaddr*, socklen_t);
int connect(int, const struct sockaddr*, socklen_t);
int getsockname(int, struct sockaddr*, socklen_t*);
int listen(int, int);
ssize_t recv(int, void*, size_t, int);
ssize_t send(int, const void*, size_t, int);
int setsockopt(int, int, int, const void*, socklen_t);
int shutdown(int, int);
int socket(int, int, int);
#ifdef __cplusplus
}
#endif
