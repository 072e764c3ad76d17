#pragma once

#include <string>
#include <string_view>

namespace pellam::archive {

// The name as it appears in a message: on one line, at most 200 characters, whatever bytes it has.
[[nodiscard]] std::string shownName(std::string_view name);

}  // namespace pellam::archive
