#include "platform/uptime.h"

#include <time.h>

namespace pellam {

// The standard library's steady clock goes on while this system sleeps.
std::uint64_t systemUptimeNanoseconds() { return ::clock_gettime_nsec_np(CLOCK_UPTIME_RAW); }

}  // namespace pellam
