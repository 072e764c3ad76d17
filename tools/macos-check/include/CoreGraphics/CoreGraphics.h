#pragma once
/* hand-written */
#include <CoreFoundation/CoreFoundation.h>
#define CG_EXTERN extern "C"
CG_EXTERN CFDictionaryRef _Nullable CGSessionCopyCurrentDictionary(void);
