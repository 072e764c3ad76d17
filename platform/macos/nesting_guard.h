#pragma once

#include <cstdint>
#include <span>

namespace pellam::macos {

// Whether a property list in one of its text forms opens more than so many containers within each other. An
// estimate that never misses a real nesting: brackets in texts count, too. Binary lists are false; their
// reader has a limit of its own. Any encoding in which ASCII keeps its byte values, with or without zero
// bytes between.
[[nodiscard]] bool textNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels);

}  // namespace pellam::macos
