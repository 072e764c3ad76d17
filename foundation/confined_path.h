#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace pellam {

// Paths beneath a folder that nothing may leave: what they may be made of, and where links among them lead.
// Pure functions.

// Plain file names divided by single slashes: relative, and nothing in it leads upwards.
[[nodiscard]] bool isConfinedPath(std::string_view path);

enum class LinkEnd {
  inside,
  outside,  // through an absolute target, or above the folder
  circle,   // more links one after the other than a system follows
  nowhere   // a link with an empty target
};

// Says what stands at a path beneath the folder, none of whose names is a link: the target of a link, nothing
// for everything else. `isLast` tells that no more names follow, so that it need not be a folder. What it
// throws passes through.
using LinkLookup = std::function<std::optional<std::string>(const std::string& path, bool isLast)>;

// Where a path leads when every link in it is followed as the system follows them, the one at its end
// included.
[[nodiscard]] LinkEnd followLinks(const std::string& path, const LinkLookup& lookup);

}  // namespace pellam
