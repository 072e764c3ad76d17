#pragma once

#include <filesystem>
#include <memory>

#include "platform/workspace.h"

namespace pellam {

// Starts the application after a replacement, or after a failed one.
class OrvoAppBundleReplacementRelaunching {
 public:
  virtual ~OrvoAppBundleReplacementRelaunching() = default;
  // True when the start was accepted; does not wait for the application. Never throws.
  [[nodiscard]] virtual bool relaunchApplication(const std::filesystem::path& application) = 0;
};

// Asks the workspace to open the application as this process's user.
class OrvoAppBundleWorkspaceRelauncher final : public OrvoAppBundleReplacementRelaunching {
 public:
  explicit OrvoAppBundleWorkspaceRelauncher(std::shared_ptr<Workspace> workspace)
      : workspace_(std::move(workspace)) {}
  [[nodiscard]] bool relaunchApplication(const std::filesystem::path& application) override;

 private:
  std::shared_ptr<Workspace> workspace_;
};

}  // namespace pellam
