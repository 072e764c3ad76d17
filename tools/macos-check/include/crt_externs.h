// For GoogleTest: written for the check from the manual page environ(7).
#pragma once
#ifdef __cplusplus
extern "C" {
#endif
int* _NSGetArgc(void);
char*** _NSGetArgv(void);
char*** _NSGetEnviron(void);
#ifdef __cplusplus
}
#endif
