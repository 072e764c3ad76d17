#pragma once

#include <atomic>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/archive_unzipping.h"
#include "host/download_client.h"
#include "host/installer_launching.h"
#include "host/progress_token.h"
#include "host/update_requests.h"
#include "installer/update_validation.h"
#include "launcher-protocol/helper_launching.h"
#include "pellam/cancellation.h"
#include "pellam/logger.h"
#include "platform/bundle_loading.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/main_thread.h"
#include "ui/progress_window.h"

namespace pellam {

// A second installation was started on a coordinator that is still at its first. Nothing was done.
class InstallationInProgress : public PellamError {
 public:
  [[nodiscard]] BridgedError bridged() const override { return {"Pellam.InstallerCoordinator", 1, what()}; }
  [[nodiscard]] const char* what() const noexcept override {
    return "Another installation is already running.";
  }
};

// What the coordinator needs of its surroundings besides its collaborators.
struct OrvoUpdateInstallerCoordinatorEnvironment {
  std::shared_ptr<MainThread> mainThread;
  std::shared_ptr<BundleLoading> bundles;
  std::filesystem::path localizationBundle;  // whose "Updates" table has the texts; normally the main bundle
  std::shared_ptr<UUIDGenerating> identifiers;
  std::shared_ptr<PellamClock> clock;
  DiagnosticLog systemLog;
};

// Drives an accepted offer to a started installer: download, staging, unpacking, validation, the wait for
// "Install and Relaunch", and the hand-off to the launcher service. One per host application; it keeps its
// collaborators and no state between calls. Both paths block their thread (never the main one), run one at a
// time, throw OrvoUpdateInstallerError or OperationCancelled, and close the progress window however they end.
// The attempt folder is left in place: after a success the helper needs it, after a failure
// removeStaleInstallerAttempts collects it.
class OrvoUpdateInstallerCoordinator {
 public:
  using Window = std::shared_ptr<OrvoUpdateProgressWindow>;

  OrvoUpdateInstallerCoordinator(std::shared_ptr<FileSystem> fileManager,
                                 std::shared_ptr<OrvoUpdateInstallerNetworkClient> networkClient,
                                 std::shared_ptr<OrvoUpdateArchiveUnzipping> unzipper,
                                 std::shared_ptr<OrvoUpdateInstallerLaunching> launcher,
                                 std::shared_ptr<OrvoAppBundleUpdateValidating> appBundleValidator,
                                 std::shared_ptr<OrvoAppBundleUpdateHelperLaunching> replacementLauncher,
                                 std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider,
                                 OrvoUpdateInstallerCoordinatorEnvironment environment);

  // Replaces the application bundle. Returns the request that was handed over once the helper was launched.
  // Without a window nobody is asked for a confirmation. The progress handler may be called from any thread.
  // Cancelling has an effect until the hand-off has begun.
  OrvoAppBundleReplacementRequest installAppBundleUpdate(const OrvoAppBundleUpdateRequest& request,
                                                         const Window& progressWindow,
                                                         const LaunchProgressHandler& launchProgressHandler,
                                                         const CancellationToken& cancellation);

  // Opens an installer from the archive. Returns the path of the file that was opened.
  std::string installUpdate(const OrvoUpdateInstallerRequest& request, const Window& progressWindow,
                            const CancellationToken& cancellation);

  // Deletes attempt folders that are at least ten minutes old and do not hold the running application.
  // Returns how many were removed. Never throws.
  int removeStaleInstallerAttempts(const std::string& applicationName,
                                   const std::string& installerSubdirectoryName,
                                   const std::filesystem::path& runningApplication);

  // The status line of a download: "%@ of %@" or "%@ downloaded".
  [[nodiscard]] std::string downloadProgressStatusText(
      const OrvoUpdateInstallerDownloadProgress& progress) const;

 private:
  struct ArchivePlacement {
    std::filesystem::path archiveURL;
    std::filesystem::path destinationFolderURL;
  };

  struct StatusFormats {
    std::string sizeKnown;
    std::string sizeUnknown;
  };

  template <typename Request>
  ArchivePlacement downloadAndPlace(const Request& request, bool usesUniqueFolder, const Window& window,
                                    const CancellationToken& cancellation);
  NetworkData downloadArchive(const URL& primaryURL, const std::optional<URL>& fallbackURL,
                              const Window& window, const CancellationToken& cancellation);
  NetworkData fetchSuccessfully(const URL& url, const Window& window, const CancellationToken& cancellation);
  NetworkData fetchArchive(const URL& url, const Window& window, const CancellationToken& cancellation);
  DownloadProgressHandler downloadProgressHandler(
      const Window& window, const std::shared_ptr<OrvoUpdateProgressToken>& token) const;
  [[nodiscard]] StatusFormats statusFormats() const;
  [[nodiscard]] static std::string statusText(const StatusFormats& formats,
                                              const OrvoUpdateInstallerDownloadProgress& progress);
  [[nodiscard]] std::filesystem::path preferredInstallerFolderURL(
      const std::string& applicationName, const std::string& installerSubdirectoryName) const;
  [[nodiscard]] std::filesystem::path temporaryInstallerFolderURL(
      const std::string& applicationName, const std::string& installerSubdirectoryName) const;
  std::vector<std::filesystem::path> archiveDestinationFolderURLs(
      const std::string& applicationName, const std::string& installerSubdirectoryName,
      bool usesUniqueFolder) const;
  ArchivePlacement writeArchiveToFirstUsableDestination(std::span<const std::uint8_t> data,
                                                        const std::string& archiveFileName,
                                                        const std::vector<std::filesystem::path>& folders);
  void removeIfEmpty(const std::filesystem::path& folder);
  void unzipAndRemoveArchive(const ArchivePlacement& placement, const Window& window,
                             const CancellationToken& cancellation);
  [[nodiscard]] std::filesystem::path findSingleAppBundle(const std::filesystem::path& folder) const;
  void validateReplacementHelperAvailable(const OrvoAppBundleUpdateRequest& request) const;
  void prepareFailureReportURLForFreshHandoff(const std::optional<std::filesystem::path>& report);
  void waitForReadyToInstallConfirmation(const Window& window, const CancellationToken& cancellation);
  static void throwIfCancellation(const std::exception_ptr& error);
  int removeStaleInstallerAttempts(const std::vector<std::filesystem::path>& roots,
                                   const std::filesystem::path& runningApplication);
  [[nodiscard]] bool isStaleAttempt(const std::filesystem::path& entry, Date cutoff,
                                    const std::filesystem::path& running) const;

  void show(const Window& window, OrvoUpdateProgressWindowState state) const;
  [[nodiscard]] std::string localized(const std::string& text) const;

  std::shared_ptr<FileSystem> fileManager_;
  std::shared_ptr<OrvoUpdateInstallerNetworkClient> networkClient_;
  std::shared_ptr<OrvoUpdateArchiveUnzipping> unzipper_;
  std::shared_ptr<OrvoUpdateInstallerLaunching> launcher_;
  std::shared_ptr<OrvoAppBundleUpdateValidating> appBundleValidator_;
  std::shared_ptr<OrvoAppBundleUpdateHelperLaunching> replacementLauncher_;
  std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider_;
  OrvoUpdateInstallerCoordinatorEnvironment environment_;
  std::atomic<bool> isInstalling_ = false;
};

}  // namespace pellam
