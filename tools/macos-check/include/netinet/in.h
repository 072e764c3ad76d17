// Written for the check from the manual pages inet(4) and byteorder(3).
#pragma once
#include <stdint.h>
#include <sys/socket.h>
typedef uint16_t in_port_t;
typedef uint32_t in_addr_t;
struct in_addr {
  in_addr_t s_addr;
};
struct sockaddr_in {
  uint8_t sin_len;
  sa_family_t sin_family;
  in_port_t sin_port;
  struct in_addr sin_addr;
  char sin_zero[8];
};
#define INADDR_ANY ((in_addr_t)0x00000000)
#define INADDR_LOOPBACK ((in_addr_t)0x7f000001)
#define htons(value) __builtin_bswap16(value)
#define ntohs(value) __builtin_bswap16(value)
#define htonl(value) __builtin_bswap32(value)
#define ntohl(value) __builtin_bswap32(value)
