#pragma once
/* hand-written */
#include <sys/types.h>
struct _acl;
typedef struct _acl* acl_t;
typedef enum { ACL_TYPE_EXTENDED = 0x00000100 } acl_type_t;
#ifdef __cplusplus
extern "C" {
#endif
acl_t acl_init(int count);
int acl_free(void* obj_p);
acl_t acl_get_link_np(const char* path, acl_type_t type);
int acl_set_fd_np(int fd, acl_t acl, acl_type_t type);
#ifdef __cplusplus
}
#endif
