// See mach_init.h.
#pragma once
#include <mach/mach_init.h>
