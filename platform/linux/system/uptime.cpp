#include "platform/uptime.h"

#include <chrono>

namespace pellam {

std::uint64_t systemUptimeNanoseconds() {
  const auto uptime = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(uptime).count());
}

}  // namespace pellam
