#include "installer/file_safety.h"

#include <exception>

#include "foundation/item_path.h"
#include "pellam/installer_error.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;

}  // namespace

std::optional<std::filesystem::path> OrvoAppBundleFileSafety::realDirectoryAppBundle(
    const FileSystem& fileSystem, const std::filesystem::path& bundle,
    const std::optional<std::filesystem::path>& container) {
  const std::filesystem::path item = withoutTrailingSlash(bundle);
  if (!text::equalsIgnoringCase(item.extension().string(), ".app")) return std::nullopt;
  FileType type = FileType::other;
  try {
    type = fileSystem.attributes(item).type;
  } catch (const std::exception&) {
    throw Error(Error::Case::invalidArchive);
  }
  if (type == FileType::symbolicLink) throw Error(Error::Case::invalidArchive);
  if (type != FileType::directory) return std::nullopt;
  if (container &&
      !isContained(fileSystem.resolvingSymlinks(item), fileSystem.resolvingSymlinks(*container))) {
    throw Error(Error::Case::invalidArchive);
  }
  return bundle;
}

bool OrvoAppBundleFileSafety::isRealDirectoryAppBundle(const FileSystem& fileSystem,
                                                       const std::filesystem::path& bundle) {
  try {
    return realDirectoryAppBundle(fileSystem, bundle, std::nullopt).has_value();
  } catch (const OrvoUpdateInstallerError&) {
    return false;
  }
}

bool OrvoAppBundleFileSafety::isContained(const std::filesystem::path& child,
                                          const std::filesystem::path& parent) {
  if (child.native() == parent.native()) return true;
  std::string prefix = parent.native();
  if (!prefix.ends_with('/')) prefix += '/';
  return child.native().starts_with(prefix);
}

}  // namespace pellam
