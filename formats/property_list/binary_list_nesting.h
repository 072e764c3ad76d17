#pragma once

#include <cstdint>
#include <span>

namespace pellam {

// Whether a binary property list holds more than so many containers within each other, or itself. What its
// reader refuses anyway, references that lead nowhere for instance, is not looked into. Memory and time grow
// with the list's objects and references, however often its parts are shared.
[[nodiscard]] bool binaryListNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels);

}  // namespace pellam
