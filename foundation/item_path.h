#pragma once

#include <filesystem>

namespace pellam {

// The path without slashes at its end: what names the item itself, so that its last component and its folder
// are what they look like, and a link at its end is not followed.
[[nodiscard]] inline std::filesystem::path withoutTrailingSlash(std::filesystem::path path) {
  while (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
  return path;
}

}  // namespace pellam
