#pragma once

#include <string_view>

#include "platform/window_toolkit.h"

namespace pellam {

// No length that a feed states makes a prompt larger than this, in points.
inline constexpr double maximumStatedPromptLength = 4096;

// Reads the platform's textual form of a size, "{width, height}", as the platform does: the first two decimal
// numbers of the text (sign, fraction and exponent allowed) are width and height, whatever stands around
// them; a missing number is 0. A number that no 64-bit float can hold is 0. Independent of the user's locale.
[[nodiscard]] WindowSize sizeFromString(std::string_view text);

}  // namespace pellam
