#pragma once
#include <objc/NSObject.h>
#define OS_OBJECT_DECL(n) \
  @protocol OS_           \
  ##n<NSObject> @end      \
  typedef NSObject<OS_##n>* n##_t
#define OS_OBJECT_DECL_SUB(n, s) \
  @protocol OS_                  \
  ##n<OS_##s> @end               \
  typedef NSObject<OS_##n>* n##_t
