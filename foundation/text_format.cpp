#include "foundation/text_format.h"

#include <algorithm>

#include "foundation/decimal.h"

namespace pellam {

std::string formatText(std::string_view format, std::initializer_list<std::string_view> arguments) {
  std::string text;
  std::size_t next = 0;
  const auto append = [&](std::size_t index) {
    if (index < arguments.size()) text += arguments.begin()[index];
  };
  while (!format.empty()) {
    const auto percent = format.find('%');
    text += format.substr(0, percent);
    if (percent == std::string_view::npos) break;
    format.remove_prefix(percent);
    if (format.starts_with("%@")) {
      append(next++);
      format.remove_prefix(2);
    } else if (format.starts_with("%%")) {
      text += '%';
      format.remove_prefix(2);
    } else {
      const auto end = std::min(format.find_first_not_of("0123456789", 1), format.size());
      const auto position = parseDecimal<std::size_t>(format.substr(1, end - 1));
      if (position && *position >= 1 && format.substr(end).starts_with("$@")) {
        append(*position - 1);
        format.remove_prefix(end + 2);
      } else {
        text += '%';
        format.remove_prefix(1);
      }
    }
  }
  return text;
}

}  // namespace pellam
