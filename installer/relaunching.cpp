#include "installer/relaunching.h"

namespace pellam {

bool OrvoAppBundleWorkspaceRelauncher::relaunchApplication(const std::filesystem::path& application) {
  return workspace_->open(application);
}

}  // namespace pellam
