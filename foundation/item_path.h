#pragma once

#include <filesystem>
#include <string_view>

namespace pellam {

// The path without slashes at its end: what names the item itself, so that its last component and its folder
// are what they look like, and a link at its end is not followed.
[[nodiscard]] inline std::filesystem::path withoutTrailingSlash(std::filesystem::path path) {
  while (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
  return path;
}

// True for a name that stays in its folder: no separator, no zero byte, neither "." nor "..". Names that come
// from a feed, a message or an Info.plist are used only when they are.
[[nodiscard]] constexpr bool isPlainFileName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

}  // namespace pellam
