#pragma once

#include <optional>
#include <string_view>

namespace pellam {

// The whole text as a decimal real: an optional "-", digits with at most one point among them, an optional
// exponent; or "inf", "infinity" and "nan" in any case. Empty text, any other character, and a value that no
// double comes near give nothing. No locale counts. Any thread.
[[nodiscard]] std::optional<double> parseReal(std::string_view text);

}  // namespace pellam
