#pragma once

#include <string_view>

namespace pellam {

// True for the canonical 36-character form (8-4-4-4-12 hexadecimal digits), in either letter case.
[[nodiscard]] constexpr bool isUUID(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char c = text[index];
    const bool isHyphenPlace = index == 8 || index == 13 || index == 18 || index == 23;
    const bool isHex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (isHyphenPlace ? c != '-' : !isHex) return false;
  }
  return true;
}

}  // namespace pellam
