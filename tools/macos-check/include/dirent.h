// Written for the check from the manual pages directory(3) and dir(5); 64-bit inodes.
#pragma once
#include <stdint.h>
struct dirent {
  uint64_t d_ino;
  uint64_t d_seekoff;
  uint16_t d_reclen;
  uint16_t d_namlen;
  uint8_t d_type;
  char d_name[1024];
};
typedef struct _dirdesc DIR;
#ifdef __cplusplus
extern "C" {
#endif
int closedir(DIR*);
DIR* fdopendir(int);
DIR* opendir(const char*);
struct dirent* readdir(DIR*);
#ifdef __cplusplus
}
#endif
