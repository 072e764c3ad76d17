// Written for the check from the manual page assert(3). Read again at every inclusion, as NDEBUG may have
// changed.
#ifdef __cplusplus
extern "C" {
#endif
void __assert_rtn(const char*, const char*, int, const char*) __attribute__((noreturn));
#ifdef __cplusplus
}
#endif
#undef assert
#ifdef NDEBUG
#define assert(condition) ((void)0)
#else
#define assert(condition) \
  (__builtin_expect(!(condition), 0) ? __assert_rtn(__func__, __FILE__, __LINE__, #condition) : (void)0)
#endif
#ifndef __cplusplus
#undef static_assert
#define static_assert _Static_assert
#endif
