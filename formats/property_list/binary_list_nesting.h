#pragma once

#include <cstdint>
#include <span>

namespace pellam {

// Whether a binary property list holds more than so many containers within each other, or itself, or has
// containers that lie over each other in the file, as no writer leaves them. What its reader refuses anyway,
// references that lead nowhere for instance, is not looked into. Memory and time grow with the bytes of the
// list, however often its parts are shared.
[[nodiscard]] bool binaryListNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels);

}  // namespace pellam
