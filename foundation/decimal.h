#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace pellam {

// The whole text as a decimal integer with an optional leading "+" or "-". Empty text, any other character
// (white space included) and a value outside the type give nothing. This is the one reading of builds,
// intervals and command-line numbers.
template <std::integral Integer>
[[nodiscard]] std::optional<Integer> parseDecimal(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  bool isNegativeZeroCandidate = false;
  if constexpr (std::unsigned_integral<Integer>) {
    // "-0" is a decimal number that an unsigned type can hold.
    if (text.starts_with('-')) {
      text.remove_prefix(1);
      isNegativeZeroCandidate = true;
    }
  }
  Integer value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (isNegativeZeroCandidate && value != 0) return std::nullopt;
  return value;
}

}  // namespace pellam
