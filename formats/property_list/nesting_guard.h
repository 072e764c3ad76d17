#pragma once

#include <cstdint>
#include <span>

#include "pellam/property_list_value.h"

namespace pellam {

// Whether a property list opens more than so many containers within each other. For the text forms, in UTF-16
// or any encoding that keeps ASCII's bytes, an estimate that errs on the side of too many: what opens in a
// comment of the old form counts, too. A binary list that holds itself is too deep, and so is one whose
// containers lie over each other. Time grows with the bytes.
[[nodiscard]] bool listNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels);

// The same for a list that is still to be written; texts and numbers count as a level of their own.
[[nodiscard]] bool listNestsDeeperThan(const PropertyListValue& value, int levels);

}  // namespace pellam
