#include "foundation/hidden_name.h"

#include <algorithm>
#include <cstddef>

#include "foundation/uuid.h"

namespace pellam {

namespace {

constexpr std::size_t digits = 16;

constexpr std::string_view infixOf(HiddenName purpose) {
  return purpose == HiddenName::beingWritten ? ".partial-" : ".removed-";
}

bool isContinuationByte(char character) { return (static_cast<unsigned char>(character) & 0xC0U) == 0x80U; }

// Volumes that keep text refuse half a character.
std::string_view cut(std::string_view name) {
  if (name.size() <= maximumHiddenNameBytes) return name;
  std::size_t end = maximumHiddenNameBytes;
  while (end > 0 && isContinuationByte(name[end])) --end;
  return name.substr(0, end);
}

bool isUnique(std::string_view text) {
  return isUUID(text) ||
         (text.size() == digits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos);
}

}  // namespace

std::string hiddenName(std::string_view name, HiddenName purpose, std::string_view unique) {
  return "." + std::string(cut(name)) + std::string(infixOf(purpose)) + std::string(unique);
}

std::optional<ParsedHiddenName> parseHiddenName(std::string_view hidden) {
  if (!hidden.starts_with('.')) return std::nullopt;
  for (const HiddenName purpose : {HiddenName::beingWritten, HiddenName::beingRemoved}) {
    const std::size_t infix = hidden.rfind(infixOf(purpose));
    if (infix == std::string_view::npos || infix < 2) continue;
    if (!isUnique(hidden.substr(infix + infixOf(purpose).size()))) continue;
    return ParsedHiddenName{purpose, std::string(hidden.substr(1, infix - 1))};
  }
  return std::nullopt;
}

}  // namespace pellam
