#include "launcher-protocol/diagnostic_text.h"

#include "text/unicode_text.h"

namespace pellam {

std::string escapedValue(std::string_view text) { return text.empty() ? "<empty>" : escapedLineBreaks(text); }

std::string escapedList(const std::vector<std::string>& values) {
  std::string joined;
  for (std::size_t index = 0; index < values.size(); ++index) {
    if (index > 0) joined += ',';
    joined += escapedValue(values[index]);
  }
  return escapedValue(joined);
}

std::string truncatedOutput(std::string_view output) {
  constexpr std::size_t limit = 500;
  return escapedValue(text::truncatedToCharacters(escapedLineBreaks(text::trimmed(output)), limit));
}

}  // namespace pellam
