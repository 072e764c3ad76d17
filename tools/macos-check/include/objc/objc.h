#pragma once
/* hand-written */
#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>
/* bool on arm64, a signed char on x86_64 */
#if __OBJC_BOOL_IS_BOOL
typedef bool BOOL;
#else
typedef signed char BOOL;
#endif
typedef struct objc_class* Class;
#ifdef __OBJC__
#define OBJC_BOOL_IS_BOOL __OBJC_BOOL_IS_BOOL
#define YES __objc_yes
#define NO __objc_no
#ifndef nil
#define nil nullptr
#endif
#define Nil nullptr
#endif
typedef struct objc_selector* SEL;
