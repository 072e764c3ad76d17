#pragma once
/* hand-written */
#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>
typedef bool BOOL; /* arm64 macOS: BOOL is bool */
typedef struct objc_class* Class;
#ifdef __OBJC__
#define OBJC_BOOL_IS_BOOL 1
#define YES __objc_yes
#define NO __objc_no
#ifndef nil
#define nil __null
#endif
#define Nil __null
#endif
typedef struct objc_selector* SEL;
