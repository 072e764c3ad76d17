#include "installer/staging_folder.h"

#include <exception>

#include "foundation/item_path.h"
#include "foundation/uuid.h"
#include "launcher-protocol/installer_folder.h"

namespace pellam {

namespace {

constexpr int maximumCandidates = 8;

}  // namespace

std::optional<std::filesystem::path> seamlessInstallerAttemptRoot(const std::filesystem::path& containing) {
  std::filesystem::path candidate = withoutTrailingSlash(containing.lexically_normal());
  for (int examined = 0; examined < maximumCandidates; ++examined) {
    const std::filesystem::path parent = candidate.parent_path();
    if (parent == candidate) return std::nullopt;
    if (parent.filename() == installerFolderName) {
      if (!isUUID(candidate.filename().string())) return std::nullopt;
      return candidate;
    }
    if (candidate.filename() == installerFolderName) return std::nullopt;
    candidate = parent;
  }
  return std::nullopt;
}

void removeStagingFolder(FileSystem& fileSystem, const std::filesystem::path& stagedBundle) {
  const std::filesystem::path stagingFolder = withoutTrailingSlash(stagedBundle).parent_path();
  try {
    if (const auto attemptRoot = seamlessInstallerAttemptRoot(stagingFolder)) {
      fileSystem.removeItem(*attemptRoot);
    } else if (fileSystem.contentsOfDirectory(stagingFolder, HiddenItems::skipped).empty()) {
      fileSystem.removeItem(stagingFolder);
    }
  } catch (const std::exception&) {
    // The host removes stale attempts later.
  }
}

}  // namespace pellam
