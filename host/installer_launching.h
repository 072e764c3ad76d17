#pragma once

#include <filesystem>
#include <memory>

#include "platform/workspace.h"

namespace pellam {

// Opens an installer file as if the user had double-clicked it.
class OrvoUpdateInstallerLaunching {
 public:
  virtual ~OrvoUpdateInstallerLaunching() = default;
  // False when nothing would open the file. Never throws.
  [[nodiscard]] virtual bool openInstaller(const std::filesystem::path& installer) = 0;
};

// Asks the workspace. Stateless.
class OrvoUpdateWorkspaceInstallerLauncher final : public OrvoUpdateInstallerLaunching {
 public:
  explicit OrvoUpdateWorkspaceInstallerLauncher(std::shared_ptr<Workspace> workspace)
      : workspace_(std::move(workspace)) {}
  [[nodiscard]] bool openInstaller(const std::filesystem::path& installer) override {
    return workspace_->open(installer);
  }

 private:
  std::shared_ptr<Workspace> workspace_;
};

}  // namespace pellam
