#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "host/installed_application.h"
#include "host/installer_coordinator.h"
#include "host/serviced_main_thread.h"
#include "installer/failure_report.h"
#include "pellam/key_value_storing.h"
#include "pellam/logger.h"
#include "pellam/standard_updater.h"
#include "platform/clock.h"
#include "platform/framework_memory.h"
#include "platform/window_toolkit.h"
#include "platform/workspace.h"
#include "services/network_client.h"
#include "services/sleeping.h"

namespace pellam {

class StandardUpdaterSession;
class UpdateWorker;

// What the updater works with. The coordinator, and everything that waits for the main thread, must have been
// made over `mainThread`.
struct StandardUpdaterCollaborators {
  InstalledApplication application;
  std::shared_ptr<ServicedMainThread> mainThread;
  std::shared_ptr<WindowToolkit> toolkit;
  std::shared_ptr<BundleLoading> bundles;
  std::shared_ptr<Workspace> workspace;
  std::shared_ptr<PellamKeyValueStoring> settings;
  std::shared_ptr<PellamNetworkClient> network;
  std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator;
  std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports;
  std::shared_ptr<UUIDGenerating> identifiers;
  std::shared_ptr<PellamClock> clock;
  CancellableSleep sleep;
  FrameworkMemoryScope frameworkMemoryScope;  // around each job of the updater's own thread
  std::function<std::uint64_t()> random;      // any 64 bits
  std::shared_ptr<PellamLogger> logger;
  // Ends the application, soon or at once. Called on the main thread when the installer helper has taken
  // over: it waits for exactly this. The updater may be destroyed inside.
  std::function<void()> terminate;
};

// What OrvoStandardUpdater does, over collaborators of any kind; pellam/standard_updater.h is its manual.
// Main thread only.
class StandardUpdaterCore {
 public:
  StandardUpdaterCore(OrvoStandardUpdaterConfiguration configuration,
                      StandardUpdaterCollaborators collaborators);
  ~StandardUpdaterCore();
  StandardUpdaterCore(const StandardUpdaterCore&) = delete;
  StandardUpdaterCore& operator=(const StandardUpdaterCore&) = delete;

  void start();
  void checkForUpdates();
  void cancelInstallation();
  [[nodiscard]] bool isInstalling() const;

 private:
  std::shared_ptr<ServicedMainThread> mainThread_;
  std::shared_ptr<UpdateWorker> worker_;
  std::shared_ptr<StandardUpdaterSession> session_;
};

}  // namespace pellam
