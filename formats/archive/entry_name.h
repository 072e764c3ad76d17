#pragma once

#include <string>
#include <string_view>

namespace pellam::archive {

// The name as it appears in a message: on one line, at most 200 characters, whatever bytes it has.
[[nodiscard]] std::string shownName(std::string_view name);

// Equal for two names of one folder exactly when some file system in use takes them for the same: case and
// the composition of accented characters do not count.
[[nodiscard]] std::string collisionKey(std::string_view name);

}  // namespace pellam::archive
