#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace pellam {

// Fills a localised format: "%@" takes the arguments in turn, "%1$@" a numbered one, "%%" is a percent sign.
// A place without an argument is filled with nothing; anything else is copied as it is. Translators reorder
// the arguments, so positions count, not the order of appearance.
[[nodiscard]] std::string formatText(std::string_view format,
                                     std::initializer_list<std::string_view> arguments);

}  // namespace pellam
