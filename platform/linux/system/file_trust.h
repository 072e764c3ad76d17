#pragma once

#include <filesystem>
#include <optional>

namespace pellam {

// The first item, among the file behind the path and the folders above it, that somebody other than root and
// this process's user could change, or exchange for another one: who owns it, or may write to it as a member
// of a group that is neither root's nor the user's own, or as anybody. In a folder where everybody may only
// remove what is their own, nothing is exchanged. Nothing when there is none, and for a path that cannot be
// looked at.
[[nodiscard]] std::optional<std::filesystem::path> itemThatOthersCanChange(const std::filesystem::path& file);

}  // namespace pellam
