#pragma once
#include <stdint.h>
typedef unsigned char Boolean;
typedef int32_t OSStatus;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint8_t UInt8;
typedef uint32_t FourCharCode;
typedef FourCharCode OSType;
enum { noErr = 0 };
