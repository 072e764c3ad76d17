#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/diagnostic_log.h"
#include "host/archive_download.h"
#include "host/archive_unzipping.h"
#include "host/attempt_folders.h"
#include "host/download_client.h"
#include "host/installer_launching.h"
#include "host/progress_display.h"
#include "host/update_requests.h"
#include "installer/update_validation.h"
#include "launcher-protocol/helper_launching.h"
#include "pellam/cancellation.h"
#include "pellam/host_errors.h"
#include "pellam/main_thread.h"
#include "pellam/progress_window.h"
#include "platform/bundle_loading.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"

namespace pellam {

// What the coordinator needs of its surroundings besides its collaborators.
struct OrvoUpdateInstallerCoordinatorEnvironment {
  std::shared_ptr<MainThread> mainThread;
  std::shared_ptr<BundleLoading> bundles;
  std::filesystem::path localizationBundle;  // whose "Updates" table has the texts; normally the main bundle
  std::shared_ptr<UUIDGenerating> identifiers;
  std::shared_ptr<PellamClock> clock;
  DiagnosticLog systemLog;
  std::uint32_t effectiveUserID;  // with whose rights the file manager works
};

// Drives an accepted offer to a started installer: download, staging, unpacking, validation, the wait for
// "Install and Relaunch", and the hand-off to the launcher service. One per host application; it keeps its
// collaborators and no state between calls. Both paths block their thread (never the main one), run one at a
// time, throw OrvoUpdateInstallerError or OperationCancelled, and close the progress window however they end.
// The attempt folder is left in place: after a success the helper needs it, after a failure
// removeStaleInstallerAttempts collects it.
class OrvoUpdateInstallerCoordinator {
 public:
  using Window = ProgressDisplay::Window;

  struct Collaborators {
    std::shared_ptr<FileSystem> fileManager;
    std::shared_ptr<OrvoUpdateInstallerNetworkClient> networkClient;
    std::shared_ptr<OrvoUpdateArchiveUnzipping> unzipper;
    std::shared_ptr<OrvoUpdateInstallerLaunching> launcher;
    std::shared_ptr<OrvoAppBundleUpdateValidating> appBundleValidator;
    std::shared_ptr<OrvoAppBundleUpdateHelperLaunching> replacementLauncher;
    std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider;
    OrvoUpdateInstallerCoordinatorEnvironment environment;
  };

  explicit OrvoUpdateInstallerCoordinator(Collaborators collaborators);

  // Replaces the application bundle. Returns the request that was handed over once the helper was launched.
  // Without a window nobody is asked for a confirmation. The progress handler may be called from any thread.
  // Cancelling has an effect until the hand-off has begun.
  OrvoAppBundleReplacementRequest installAppBundleUpdate(const OrvoAppBundleUpdateRequest& request,
                                                         const Window& progressWindow,
                                                         const LaunchProgressHandler& launchProgressHandler,
                                                         const CancellationToken& cancellation);

  // Opens an installer from the archive, which is unpacked into the folder that all such archives share:
  // items of earlier ones with the same names give way, and stay when anything fails before the opening. An
  // archive without the named file is launchFailed, whatever an earlier one left there. Returns the path of
  // the file that was opened.
  std::string installUpdate(const OrvoUpdateInstallerRequest& request, const Window& progressWindow,
                            const CancellationToken& cancellation);

  // Deletes attempt folders that are at least ten minutes old and do not hold the running application, and
  // whatever replacements of it have left (installer/leftover_collector.h). Returns how many attempt folders
  // were removed. Never throws.
  int removeStaleInstallerAttempts(const std::string& applicationName,
                                   const std::string& installerSubdirectoryName,
                                   const std::filesystem::path& runningApplication);

  // The status line of a download: "%@ of %@" or "%@ downloaded".
  [[nodiscard]] std::string downloadProgressStatusText(
      const OrvoUpdateInstallerDownloadProgress& progress) const;

 private:
  template <typename Request>
  [[nodiscard]] ArchivePlacement downloadAndPlace(const Request& request, AttemptFolders::Sharing sharing,
                                                  const Window& window,
                                                  const CancellationToken& cancellation);
  void unpackIntoSharedFolder(const OrvoUpdateInstallerRequest& request, const ArchivePlacement& placement,
                              const Window& window, const CancellationToken& cancellation);
  void unzipAndRemoveArchive(const std::filesystem::path& archive, const std::filesystem::path& folder,
                             const Window& window, const CancellationToken& cancellation);
  void validateReplacementHelperAvailable(const OrvoAppBundleUpdateRequest& request) const;
  void prepareFailureReportURLForFreshHandoff(const std::optional<std::filesystem::path>& report);

  Collaborators parts_;
  ProgressDisplay display_;
  ArchiveDownload download_;
  AttemptFolders folders_;
  std::atomic<bool> isInstalling_ = false;
};

}  // namespace pellam
