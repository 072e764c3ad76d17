#include "platform/workspace.h"

#include <array>
#include <chrono>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/item_path.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/linux/system/detached_process.h"

namespace pellam {

namespace {

// Openers end within milliseconds. One that does not has become the application itself.
constexpr std::chrono::seconds openerPatience{2};

class DesktopWorkspace final : public Workspace {
 public:
  DesktopWorkspace(std::shared_ptr<FileSystem> fileSystem, std::shared_ptr<BundleLoading> bundles)
      : fileSystem_(std::move(fileSystem)), bundles_(std::move(bundles)) {}

  bool open(const std::filesystem::path& file) override {
    // What is started has a working folder of its own.
    std::error_code error;
    const std::filesystem::path target = std::filesystem::absolute(file, error);
    if (error) return false;
    const std::optional<Bundle> bundle = bundles_->bundleAt(target);
    if (bundle && !bundle->informationDictionary.empty()) return openApplication(*bundle);
    return fileSystem_->itemExists(target) && openWithDesktop(target.string());
  }

  bool open(const URL& url) override { return openWithDesktop(url.text()); }

 private:
  static bool openApplication(const Bundle& bundle) {
    const std::string name = bundle.informationString("CFBundleExecutable");
    if (!isPlainFileName(name)) return false;
    return startDetachedProcess({.executable = bundle.path / "Contents/MacOS" / name}).startError == 0;
  }

  // The desktop's openers hand the target over and end; whichever is installed serves. Only their own end is
  // waited for: what they start keeps the streams that it was given.
  bool openWithDesktop(const std::string& target) {
    const std::array<std::vector<std::string>, 2> openers = {
        std::vector<std::string>{"/usr/bin/gio", "open", target},
        std::vector<std::string>{"/usr/bin/xdg-open", target},
    };
    for (const std::vector<std::string>& opener : openers) {
      if (!fileSystem_->isExecutableFile(opener.front())) continue;
      const DetachedProcessOutcome outcome = runDetachedProcess(
          {.executable = opener.front(), .arguments = {opener.begin() + 1, opener.end()}}, openerPatience);
      if (outcome.startError == 0 && outcome.terminationStatus.value_or(0) == 0) return true;
    }
    return false;
  }

  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<BundleLoading> bundles_;
};

}  // namespace

std::shared_ptr<Workspace> makeSystemWorkspace(std::shared_ptr<FileSystem> fileSystem,
                                               std::shared_ptr<BundleLoading> bundles) {
  return std::make_shared<DesktopWorkspace>(std::move(fileSystem), std::move(bundles));
}

}  // namespace pellam
