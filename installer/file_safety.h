#pragma once

#include <filesystem>
#include <optional>

#include "platform/file_system.h"

namespace pellam {

// Guards against paths that are not what they seem: is this a real application folder, not a symbolic link,
// and does it lie where it is said to lie? Reads attributes only; any thread.
class OrvoAppBundleFileSafety {
 public:
  // The path itself (unresolved) when it names a real folder with the extension "app" in any letter case.
  // Nothing for another extension or for an item that is no folder. Throws OrvoUpdateInstallerError
  // invalidArchive when the item cannot be examined, is a symbolic link, or, links resolved in both paths,
  // does not lie inside the container.
  [[nodiscard]] static std::optional<std::filesystem::path> realDirectoryAppBundle(
      const FileSystem& fileSystem, const std::filesystem::path& bundle,
      const std::optional<std::filesystem::path>& container);

  // True exactly when the above, without a container, answers with a path. Never throws.
  [[nodiscard]] static bool isRealDirectoryAppBundle(const FileSystem& fileSystem,
                                                     const std::filesystem::path& bundle);

  // Compares the paths as text: equal, or the child begins with the parent and a slash.
  [[nodiscard]] static bool isContained(const std::filesystem::path& child,
                                        const std::filesystem::path& parent);
};

}  // namespace pellam
