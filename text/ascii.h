#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace pellam::text {

// ASCII's letters alone; whatever else the text holds stays as it is. For names and words of protocols and
// formats; what users read is compared by equalsIgnoringCase(). Pure; any thread.

[[nodiscard]] constexpr char lowercasedASCII(char unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
}

[[nodiscard]] inline std::string lowercasedASCII(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char unit) { return lowercasedASCII(unit); });
  return result;
}

[[nodiscard]] constexpr bool equalsIgnoringASCIICase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowercasedASCII(a) == lowercasedASCII(b); });
}

}  // namespace pellam::text
