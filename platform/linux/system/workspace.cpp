#include "platform/workspace.h"

#include <array>
#include <string>
#include <vector>

#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/linux/system/detached_process.h"

namespace pellam {

namespace {

class DesktopWorkspace final : public Workspace {
 public:
  DesktopWorkspace()
      : fileSystem_(makeSystemFileSystem()),
        bundles_(makeSystemBundleLoader(fileSystem_)),
        processes_(makeSystemChildProcessRunner({})) {}

  bool open(const std::filesystem::path& file) override {
    const std::optional<Bundle> bundle = bundles_->bundleAt(file);
    if (bundle && !bundle->informationDictionary.empty()) return openApplication(*bundle);
    return fileSystem_->itemExists(file) && openWithDesktop(file.string());
  }

  bool open(const URL& url) override { return openWithDesktop(url.text()); }

 private:
  static bool openApplication(const Bundle& bundle) {
    const std::string name = bundle.informationString("CFBundleExecutable");
    if (name.empty() || name.find('/') != std::string::npos) return false;
    return startDetachedProcess(bundle.path / "Contents/MacOS" / name, {}) == 0;
  }

  // The desktop's openers hand the file over and end; whichever is installed serves.
  bool openWithDesktop(const std::string& target) {
    const std::array<std::vector<std::string>, 2> openers = {
        std::vector<std::string>{"/usr/bin/gio", "open", target},
        std::vector<std::string>{"/usr/bin/xdg-open", target},
    };
    for (const std::vector<std::string>& opener : openers) {
      if (!fileSystem_->isExecutableFile(opener.front())) continue;
      const ChildProcessResult result = processes_->run(opener.front(), {opener.begin() + 1, opener.end()});
      if (!result.launchError && result.terminationStatus == 0) return true;
    }
    return false;
  }

  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<BundleLoading> bundles_;
  std::shared_ptr<ChildProcessRunning> processes_;
};

}  // namespace

std::shared_ptr<Workspace> makeSystemWorkspace() { return std::make_shared<DesktopWorkspace>(); }

}  // namespace pellam
