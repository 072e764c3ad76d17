#include "installer/private_staging.h"

#include <exception>

#include "foundation/item_path.h"
#include "installer/own_names.h"

namespace pellam {

PrivateStaging::PrivateStaging(FileSystem& fileSystem, UUIDGenerating& identifiers,
                               const std::filesystem::path& stagedURL,
                               const std::filesystem::path& installedURL)
    : fileSystem_(fileSystem) {
  const std::filesystem::path staged = withoutTrailingSlash(stagedURL);
  const std::filesystem::path installed = withoutTrailingSlash(installedURL);
  folder_ = installed.parent_path() / own_names::incoming(installed, identifiers.makeUUID());
  bundle_ = folder_ / staged.filename();
  fileSystem_.createPrivateDirectory(folder_);
  try {
    fileSystem_.copyItem(staged, bundle_);
    // Permissions are not sealed by the signature, and whoever could write where the bundle was staged could
    // set them: what root installs must not be writable for everybody.
    fileSystem_.withdrawSharedWriting(bundle_);
    fileSystem_.enumerate(bundle_, {}, [this](const std::filesystem::path& item) {
      fileSystem_.withdrawSharedWriting(item);
      return EnumerationStep::descend;
    });
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
