#pragma once

#include <filesystem>
#include <optional>

#include "platform/file_system.h"

namespace pellam {

// The folder of one install attempt, ".../SeamlessInstaller/<UUID>", that contains the given folder or is
// it. Looks at the path's text alone: the folder and at most seven above it. Nothing when none of them lies
// directly in a "SeamlessInstaller", or the one that does is not named by a UUID.
[[nodiscard]] std::optional<std::filesystem::path> seamlessInstallerAttemptRoot(
    const std::filesystem::path& containing);

// Removes what a bundle was staged in: the attempt's folder, or else the folder that held the bundle when
// nothing visible is left in it. Ignores errors.
void removeStagingFolder(FileSystem& fileSystem, const std::filesystem::path& stagedBundle);

}  // namespace pellam
