#pragma once

#include <string>
#include <string_view>

// How texts from outside are written where a line of theirs must stay one line. Pure functions; any thread.
namespace pellam {

// For diagnostics: carriage returns become backslash-r and line feeds backslash-n; nothing else changes, so
// that escaping twice is the same as escaping once.
[[nodiscard]] std::string escapedLineBreaks(std::string_view text);

// For people, on a terminal or in a log: the same, and whatever else could steer the terminal or make the
// text read as another is written as its number, "\u{9b}": control characters, the two separators of Unicode,
// marks of direction. An ill-formed sequence becomes U+FFFD. The rest stays as it is; twice is the same as
// once.
[[nodiscard]] std::string visibleText(std::string_view text);

}  // namespace pellam
