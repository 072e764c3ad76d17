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
#include "pellam/url.h"
#include "platform/clock.h"
#include "platform/framework_memory.h"
#include "platform/window_toolkit.h"
#include "platform/workspace.h"
#include "services/network_client.h"
#include "services/sleeping.h"

namespace pellam {

class StandardUpdaterSession;
class UpdateWorker;

// What an application decides about its updates. Only the feed has no default.
struct OrvoStandardUpdaterConfiguration {
  URL feedURL;
  std::string applicationLogoImageName{};      // shown in the prompt; unknown: no picture
  std::filesystem::path localizationBundle{};  // whose strings tables have the texts; empty: the application
  double promptWidth = 600;                    // the smallest content size, in points
  double promptHeight = 500;
  bool allowsInstalling = true;          // false: offers are only shown
  bool offersBetaToggle = true;          // "Check for beta releases" after a check that found nothing
  std::optional<URL> manualUpdateURL{};  // where users can download by hand
  std::string defaultInstallerNameFormat = "%@ Installer.pkg";
  std::set<std::string, std::less<>> acceptedSKUs{};
  std::optional<std::string> preferredLanguageCode{};
  std::string currentOSVersion{};  // "14.5"
  std::int64_t staggerDays = 7;    // staged roll-outs spread over that many days; 1 or less: none
};

// What the updater works with. The coordinator, and everything that waits for the main thread, must have been
// made over `mainThread`.
struct OrvoStandardUpdaterCollaborators {
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

// The whole host side of updates: checks by itself and on demand, shows the offer, installs it, and tells the
// user what went wrong. One for each application. Main thread only; checks and installations run on a thread
// of its own, and windows are touched on the main thread alone.
//
// One check and one installation at a time. A check that the user asks for takes over an automatic one that
// is on its way; it replaces an open prompt by what it finds; during an installation it brings the progress
// window to the front. Automatic checks never interrupt: they are silent unless there is an offer.
//
// What is remembered, in the settings: what was offered and when, so that an automatic check offers again
// when the reminder interval ("PellamUpdateReminderHours", 24) has passed, whether the user wanted to be
// reminded or dismissed the prompt; when the next check is due; the stagger group, drawn once; the beta
// setting; and the attempt that the helper works on.
//
// Destroying it cancels what runs, closes its windows, and returns when its thread has ended. That takes as
// long as what cannot be cancelled: unpacking, verifying, and the hand-off to the launcher service, with the
// administrator's answer where one is asked for. It may happen at any moment, inside an open alert and inside
// `terminate`, too.
class OrvoStandardUpdater {
 public:
  OrvoStandardUpdater(OrvoStandardUpdaterConfiguration configuration,
                      OrvoStandardUpdaterCollaborators collaborators);
  ~OrvoStandardUpdater();
  OrvoStandardUpdater(const OrvoStandardUpdater&) = delete;
  OrvoStandardUpdater& operator=(const OrvoStandardUpdater&) = delete;

  // Begins automatic checks. Before the first check, also of checkForUpdates(), the report of an installation
  // that failed is shown, once, and what earlier attempts left behind is removed.
  void start();

  // Checks because the user asked; every outcome is shown.
  void checkForUpdates();

  // Stops an installation that has not reached the helper; nothing is shown.
  void cancelInstallation();
  [[nodiscard]] bool isInstalling() const;

 private:
  std::shared_ptr<ServicedMainThread> mainThread_;
  std::shared_ptr<UpdateWorker> worker_;
  std::shared_ptr<StandardUpdaterSession> session_;
};

}  // namespace pellam
