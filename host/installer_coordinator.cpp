#include "host/installer_coordinator.h"

#include <system_error>
#include <utility>

#include "foundation/confined_path.h"
#include "foundation/item_path.h"
#include "host/ready_to_install_question.h"
#include "host/shared_folder_exchange.h"
#include "installer/failure_report.h"
#include "installer/file_safety.h"
#include "installer/leftover_collector.h"
#include "pellam/installer_error.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;

// Closes the window on the main thread when a path ends, whichever way.
class WindowClosing {
 public:
  WindowClosing(std::shared_ptr<MainThread> mainThread, std::shared_ptr<OrvoUpdateProgressWindow> window)
      : mainThread_(std::move(mainThread)), window_(std::move(window)) {}
  WindowClosing(const WindowClosing&) = delete;
  WindowClosing& operator=(const WindowClosing&) = delete;
  ~WindowClosing() {
    if (window_) mainThread_->performAndWait([this] { window_->close(); });
  }

 private:
  std::shared_ptr<MainThread> mainThread_;
  std::shared_ptr<OrvoUpdateProgressWindow> window_;
};

// Lets one installation in at a time.
class InstallationTurn {
 public:
  explicit InstallationTurn(std::atomic<bool>& isInstalling) : isInstalling_(isInstalling) {
    if (isInstalling_.exchange(true)) throw InstallationInProgress();
  }
  InstallationTurn(const InstallationTurn&) = delete;
  InstallationTurn& operator=(const InstallationTurn&) = delete;
  ~InstallationTurn() { isInstalling_ = false; }

 private:
  std::atomic<bool>& isInstalling_;
};

void throwUnlessLaunched(const OrvoAppBundleReplacementLaunchResult& result) {
  using Kind = OrvoAppBundleReplacementLaunchResult::Kind;
  switch (result.kind) {
    case Kind::launched:
      return;
    case Kind::launchFailed:
      throw Error::replacementHelperLaunchFailed(result.diagnostic);
    case Kind::protocolFailure:
      throw Error::replacementHelperProtocolFailure(result.diagnostic);
    case Kind::authorizationDenied:
      throw Error::authorizationDenied(result.status);
    case Kind::authorizationCancelled:
      throw Error::authorizationCancelled(result.status);
    case Kind::timedOut:
      throw Error::replacementHelperLaunchTimedOut(result.phase);
    case Kind::helperUnavailable:
      throw Error(Error::Case::replacementHelperUnavailable);
  }
}

}  // namespace

OrvoUpdateInstallerCoordinator::OrvoUpdateInstallerCoordinator(Collaborators collaborators)
    : parts_(std::move(collaborators)),
      display_(parts_.environment.mainThread, parts_.environment.bundles,
               parts_.environment.localizationBundle),
      download_(parts_.networkClient, display_, parts_.environment.systemLog),
      folders_({.fileManager = parts_.fileManager,
                .identifiers = parts_.environment.identifiers,
                .clock = parts_.environment.clock,
                .systemLog = parts_.environment.systemLog,
                .effectiveUserID = parts_.environment.effectiveUserID}) {}

// The archive's memory is given back before anything else is done.
template <typename Request>
ArchivePlacement OrvoUpdateInstallerCoordinator::downloadAndPlace(const Request& request,
                                                                  AttemptFolders::Sharing sharing,
                                                                  const Window& window,
                                                                  const CancellationToken& cancellation) {
  const NetworkData archive =
      download_.fetch(*request.archiveURL, request.fallbackArchiveURL, window, cancellation);
  cancellation.throwIfCancelled();
  return folders_.place(archive.body.span(), request.archiveFileName, request.applicationName,
                        request.installerSubdirectoryName, sharing);
}

OrvoAppBundleReplacementRequest OrvoUpdateInstallerCoordinator::installAppBundleUpdate(
    const OrvoAppBundleUpdateRequest& request, const Window& progressWindow,
    const LaunchProgressHandler& launchProgressHandler, const CancellationToken& cancellation) {
  const WindowClosing closing(parts_.environment.mainThread, progressWindow);
  const InstallationTurn turn(isInstalling_);
  if (!request.archiveURL) throw Error(Error::Case::missingArchiveURL);
  validateReplacementHelperAvailable(request);

  const ArchivePlacement placement =
      downloadAndPlace(request, AttemptFolders::Sharing::ownFolder, progressWindow, cancellation);
  unzipAndRemoveArchive(placement.archiveURL, placement.destinationFolderURL, progressWindow, cancellation);

  display_.show(progressWindow, localized_texts::verifyingUpdate);
  const std::filesystem::path staged = folders_.findSingleAppBundle(placement.destinationFolderURL);
  if (!OrvoAppBundleFileSafety::realDirectoryAppBundle(*parts_.fileManager, staged,
                                                       placement.destinationFolderURL)) {
    throw Error(Error::Case::invalidArchive);
  }
  try {
    parts_.appBundleValidator->validateAppBundle(staged, request.hostIdentity);
  } catch (const OrvoUpdateInstallerError&) {
    cancellation.throwIfCancelled();  // an interrupt may have ended the signing tool
    throw;
  }
  cancellation.throwIfCancelled();

  OrvoAppBundleReplacementRequest replacement;
  replacement.stagedApplicationURL = staged;
  replacement.installedApplicationURL = request.installedApplicationURL;
  replacement.helperExecutableURL = request.helperExecutableURL;
  replacement.hostIdentity = request.hostIdentity;
  replacement.shouldRequestAuthorizationIfNeeded = true;
  replacement.launchUserContext = parts_.launchUserContextProvider();
  replacement.failureReportURL =
      OrvoAppBundleUpdateFailureReportStore(parts_.fileManager, parts_.environment.clock)
          .reportURL(request.hostIdentity.bundleIdentifier);
  replacement.failureReportAttemptIdentifier = request.failureReportAttemptIdentifier;

  ReadyToInstallQuestion(display_).ask(progressWindow, cancellation);
  cancellation.throwIfCancelled();
  display_.show(progressWindow, localized_texts::preparingToInstall);
  prepareFailureReportURLForFreshHandoff(replacement.failureReportURL);
  throwUnlessLaunched(parts_.replacementLauncher->launchReplacement(replacement, launchProgressHandler));
  return replacement;
}

std::string OrvoUpdateInstallerCoordinator::installUpdate(const OrvoUpdateInstallerRequest& request,
                                                          const Window& progressWindow,
                                                          const CancellationToken& cancellation) {
  const WindowClosing closing(parts_.environment.mainThread, progressWindow);
  const InstallationTurn turn(isInstalling_);
  if (!request.archiveURL) throw Error(Error::Case::missingArchiveURL);

  const ArchivePlacement placement =
      downloadAndPlace(request, AttemptFolders::Sharing::sharedFolder, progressWindow, cancellation);
  unpackIntoSharedFolder(request, placement, progressWindow, cancellation);

  display_.show(progressWindow, localized_texts::openingInstaller);
  const std::filesystem::path installer = placement.destinationFolderURL / request.installerFileName;
  if (!parts_.launcher->openInstaller(installer)) throw Error(Error::Case::launchFailed);
  return installer.string();
}

void OrvoUpdateInstallerCoordinator::unpackIntoSharedFolder(const OrvoUpdateInstallerRequest& request,
                                                            const ArchivePlacement& placement,
                                                            const Window& window,
                                                            const CancellationToken& cancellation) {
  const SharedFolderExchange::Collaborators collaborators{parts_.fileManager, parts_.environment.identifiers,
                                                          parts_.environment.clock};
  try {
    SharedFolderExchange exchange(collaborators, placement.destinationFolderURL);
    unzipAndRemoveArchive(placement.archiveURL, exchange.newContent(), window, cancellation);
    if (!isConfinedPath(withoutTrailingSlash(request.installerFileName).string()) ||
        !parts_.fileManager->itemExists(exchange.newContent() / request.installerFileName)) {
      throw Error(Error::Case::launchFailed);
    }
    exchange.bringIn();
  } catch (const std::system_error&) {
    throw Error(Error::Case::unzipFailed);
  }
}

void OrvoUpdateInstallerCoordinator::validateReplacementHelperAvailable(
    const OrvoAppBundleUpdateRequest& request) const {
  if (!request.helperExecutableURL || !parts_.fileManager->isExecutableFile(*request.helperExecutableURL)) {
    throw Error(Error::Case::replacementHelperUnavailable);
  }
}

void OrvoUpdateInstallerCoordinator::unzipAndRemoveArchive(const std::filesystem::path& archive,
                                                           const std::filesystem::path& folder,
                                                           const Window& window,
                                                           const CancellationToken& cancellation) {
  display_.show(window, localized_texts::extractingUpdate);
  const bool isUnpacked = parts_.unzipper->unzip(archive.string(), folder.string());
  cancellation.throwIfCancelled();
  if (!isUnpacked) throw Error(Error::Case::unzipFailed);
  try {
    parts_.fileManager->removeItem(archive);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): an archive left behind does no harm
  }
}

void OrvoUpdateInstallerCoordinator::prepareFailureReportURLForFreshHandoff(
    const std::optional<std::filesystem::path>& report) {
  if (!report) return;
  // Whatever made the removal fail, what counts is that no old report can be taken for one of this attempt.
  try {
    parts_.fileManager->removeItem(*report);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
  }
  if (parts_.fileManager->itemExists(*report)) throw Error(Error::Case::replacementLaunchFailed);
  parts_.fileManager->createDirectory(report->parent_path());
}

int OrvoUpdateInstallerCoordinator::removeStaleInstallerAttempts(
    const std::string& applicationName, const std::string& installerSubdirectoryName,
    const std::filesystem::path& runningApplication) {
  (void)LeftoverCollector({.fileSystem = parts_.fileManager,
                           .clock = parts_.environment.clock,
                           .log = parts_.environment.systemLog})
      .collectAtStart(runningApplication, parts_.environment.effectiveUserID);
  return folders_.removeStale(applicationName, installerSubdirectoryName, runningApplication);
}

std::string OrvoUpdateInstallerCoordinator::downloadProgressStatusText(
    const OrvoUpdateInstallerDownloadProgress& progress) const {
  return download_.downloadProgressStatusText(progress);
}

}  // namespace pellam
