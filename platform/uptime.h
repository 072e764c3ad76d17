#pragma once

#include <cstdint>

namespace pellam {

// Nanoseconds for which the machine has been awake since it was started. Any thread.
[[nodiscard]] std::uint64_t systemUptimeNanoseconds();

}  // namespace pellam
