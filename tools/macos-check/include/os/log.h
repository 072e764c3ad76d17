#pragma once
/* hand-written: unified logging */
#include <objc/objc.h>
#include <os/object.h>
#include <stdbool.h>
#include <stdint.h>
@protocol OS_os_log <NSObject>
@end
typedef NSObject<OS_os_log>* os_log_t;
typedef uint8_t os_log_type_t;
enum : uint8_t {
  OS_LOG_TYPE_DEFAULT = 0x00,
  OS_LOG_TYPE_INFO = 0x01,
  OS_LOG_TYPE_DEBUG = 0x02,
  OS_LOG_TYPE_ERROR = 0x10,
  OS_LOG_TYPE_FAULT = 0x11
};
extern "C" {
os_log_t _Nonnull os_log_create(const char* _Nonnull subsystem, const char* _Nonnull category)
    __attribute__((ns_returns_retained));
bool os_log_type_enabled(os_log_t _Nonnull oslog, os_log_type_t type);
void _os_log_impl(void* _Nonnull dso, os_log_t _Nonnull log, os_log_type_t type, const char* _Nonnull format,
                  uint8_t* _Nonnull buf, uint32_t size);
}
extern "C" struct mach_header __dso_handle;
#define os_log_with_type(log, type, fmt, ...)                                                            \
  __extension__({                                                                                        \
    os_log_t _l = (log);                                                                                 \
    os_log_type_t _t = (type);                                                                           \
    if (os_log_type_enabled(_l, _t)) {                                                                   \
      __attribute__((section("__TEXT,__oslogstring,cstring_literals"))) static const char _f[] = fmt;    \
      uint8_t __attribute__((aligned(16))) _b[__builtin_os_log_format_buffer_size(fmt, ##__VA_ARGS__)];  \
      _os_log_impl(&__dso_handle, _l, _t, _f, (uint8_t*)__builtin_os_log_format(_b, fmt, ##__VA_ARGS__), \
                   (uint32_t)sizeof(_b));                                                                \
    }                                                                                                    \
  })
#define os_log(log, fmt, ...) os_log_with_type(log, OS_LOG_TYPE_DEFAULT, fmt, ##__VA_ARGS__)
#define os_log_error(log, fmt, ...) os_log_with_type(log, OS_LOG_TYPE_ERROR, fmt, ##__VA_ARGS__)
#define os_log_info(log, fmt, ...) os_log_with_type(log, OS_LOG_TYPE_INFO, fmt, ##__VA_ARGS__)
