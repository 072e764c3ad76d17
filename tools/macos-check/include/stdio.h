// The C library's, with the streams as the system names them and the renaming call of rename(2).
#pragma once
#include_next <stdio.h>
#undef stdin
#undef stdout
#undef stderr
#define RENAME_SWAP 0x2
#define RENAME_EXCL 0x4
#ifdef __cplusplus
extern "C" {
#endif
extern FILE* __stdinp;
extern FILE* __stdoutp;
extern FILE* __stderrp;
int renameat(int, const char*, int, const char*);
int renamex_np(const char*, const char*, unsigned int);
int renameatx_np(int, const char*, int, const char*, unsigned int);
#ifdef __cplusplus
}
#endif
#define stdin __stdinp
#define stdout __stdoutp
#define stderr __stderrp
