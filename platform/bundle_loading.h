#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "foundation/bundle.h"

namespace pellam {

// Opens bundles. Reads the disk at each call; any thread.
class BundleLoading {
 public:
  virtual ~BundleLoading() = default;
  // Nothing when the path is no folder, links followed.
  [[nodiscard]] virtual std::optional<Bundle> bundleAt(const std::filesystem::path& path) const = 0;
  // The bundle that holds the running executable (…/X.app or …/X.xpc when it lies in Contents/MacOS of one),
  // else the executable's folder.
  [[nodiscard]] virtual std::filesystem::path mainBundlePath() const = 0;

  // The text for a key in a strings table ("Updates"; empty: the default table, "Localizable") of the bundle,
  // in the first of the user's languages that the bundle has; the fallback when there is none.
  [[nodiscard]] virtual std::string localizedString(const std::filesystem::path& bundle,
                                                    const std::string& key, const std::string& table,
                                                    const std::string& fallback) const = 0;
};

class FileSystem;
[[nodiscard]] std::shared_ptr<BundleLoading> makeSystemBundleLoader(std::shared_ptr<FileSystem> fileSystem);

}  // namespace pellam
