// The older header of the version macros.
#pragma once
#include <Availability.h>
#define MAC_OS_X_VERSION_MIN_REQUIRED __MAC_OS_X_VERSION_MIN_REQUIRED
