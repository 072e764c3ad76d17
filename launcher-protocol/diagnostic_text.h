#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/safe_text.h"

// How values are written into one-line diagnostics. Pure functions, callable from any thread.
namespace pellam {

// With its line breaks escaped; the empty text is written "<empty>".
[[nodiscard]] std::string escapedValue(std::string_view text);

// Escaped values joined with "," and no space; an empty list is "<empty>".
[[nodiscard]] std::string escapedList(const std::vector<std::string>& values);

// A tool's output: trimmed, escaped, and cut to 500 user-perceived characters followed by "...".
[[nodiscard]] std::string truncatedOutput(std::string_view output);

}  // namespace pellam
