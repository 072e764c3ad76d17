#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace pellam {

// What an item is called for as long as it has no name of its own: a full stop, the name that it had or will
// have, what is being done to it, and something that nobody else uses. A process that ends in the middle of
// its work leaves such names; nobody else makes any, so that whoever finds one knows what it was.
enum class HiddenName {
  beingWritten,  // ".partial-": will be renamed when it is complete
  beingRemoved   // ".removed-": has lost its name, and its contents after it
};

// Of a name that is longer only its beginning is kept, never half a character.
inline constexpr std::size_t maximumHiddenNameBytes = 180;

// `unique`: 16 hexadecimal digits or a UUID.
[[nodiscard]] std::string hiddenName(std::string_view name, HiddenName purpose, std::string_view unique);

struct ParsedHiddenName {
  HiddenName purpose = HiddenName::beingWritten;
  std::string name;  // as hiddenName was given it, or its beginning
};

// Nothing for a name that hiddenName does not make.
[[nodiscard]] std::optional<ParsedHiddenName> parseHiddenName(std::string_view hidden);

}  // namespace pellam
