#pragma once

#include <string>

#include "platform/linux/system/file_descriptor.h"

namespace pellam::posix {

// Opens a path beneath an open folder; no link is followed (ELOOP) and nothing else is reached. The path is
// one that isConfinedPath(). In one step where the kernel knows how, else folder by folder. Not open: errno
// says why.
[[nodiscard]] FileDescriptor openBeneath(int folder, const std::string& path, int flags,
                                         unsigned permissions = 0);

// Whether the path, every link followed, reaches nothing outside the folder, as ConfinedFolder::leadsInside()
// has it.
[[nodiscard]] bool leadsBeneath(int folder, const std::string& path);

}  // namespace pellam::posix
