#pragma once

#include <filesystem>
#include <memory>

#include "host/installed_application.h"
#include "host/installer_coordinator.h"
#include "host/update_check.h"
#include "installer/failure_report.h"
#include "pellam/main_thread.h"
#include "platform/process_information.h"

namespace pellam {

// The components as a program on this system uses them, wired to the system's own bodies. `hostBundle` is the
// application that is kept current: its launcher service and its tools are used, whichever program this is.
struct SystemHost {
  std::shared_ptr<FileSystem> fileSystem;
  std::shared_ptr<BundleLoading> bundles;
  std::shared_ptr<ProcessInformation> process;
  std::shared_ptr<UUIDGenerating> identifiers;
  std::shared_ptr<PellamClock> clock;
  InstalledApplication application;
  std::shared_ptr<PellamKeyValueStoring> settings;
  std::shared_ptr<PellamNetworkClient> network;
  std::shared_ptr<UpdateCheck> check;
  std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator;
  std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports;
};

// Without a settings folder the settings live in the user's preferences. Throws InstalledApplicationError.
[[nodiscard]] SystemHost makeSystemHost(const std::filesystem::path& hostBundle,
                                        const std::optional<std::filesystem::path>& settingsFolder,
                                        std::shared_ptr<MainThread> mainThread);

}  // namespace pellam
