#include "installer/private_staging.h"

#include <exception>

#include "installer/bundle_paths.h"
#include "installer/replacement_executor.h"

namespace pellam {

PrivateStaging::PrivateStaging(FileSystem& fileSystem, UUIDGenerating& identifiers,
                               const std::filesystem::path& stagedURL,
                               const std::filesystem::path& installedURL)
    : fileSystem_(fileSystem) {
  const std::filesystem::path staged = withoutTrailingSlash(stagedURL);
  const std::filesystem::path installed = withoutTrailingSlash(installedURL);
  folder_ = installed.parent_path() /
            ("." + installed.filename().string() + OrvoAppBundleReplacementExecutor::incomingNameInfix +
             identifiers.makeUUID());
  bundle_ = folder_ / staged.filename();
  fileSystem_.createPrivateDirectory(folder_);
  try {
    fileSystem_.copyItem(staged, bundle_);
  } catch (const std::exception&) {
    removeFolder();
    throw;
  }
}

PrivateStaging::~PrivateStaging() { removeFolder(); }

void PrivateStaging::removeFolder() {
  try {
    fileSystem_.removeItem(folder_);
  } catch (const std::exception&) {
    // Gone already after a success; else the next run removes it.
  }
}

}  // namespace pellam
