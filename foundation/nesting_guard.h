#pragma once

#include <cstdint>
#include <span>

namespace pellam {

// Whether a property list in one of its text forms opens more than so many containers within each other. An
// estimate that errs on the side of too many: what opens in a comment of the old form counts, too. Binary
// lists are false; their reader has a limit of its own. UTF-16, or any encoding that keeps ASCII's bytes.
[[nodiscard]] bool textNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels);

}  // namespace pellam
