#include "host/installer_coordinator.h"

#include <future>
#include <utility>

#include "host/ready_install_confirmation.h"
#include "installer/failure_report.h"
#include "installer/file_safety.h"
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

// A file of the archive may be opened, nothing outside it.
bool staysInside(const std::string& relativeName) {
  const std::filesystem::path path(relativeName);
  if (path.empty() || path.is_absolute()) return false;
  for (const std::filesystem::path& component : path) {
    if (component == "..") return false;
  }
  return true;
}

}  // namespace

OrvoUpdateInstallerCoordinator::OrvoUpdateInstallerCoordinator(
    std::shared_ptr<FileSystem> fileManager, std::shared_ptr<OrvoUpdateInstallerNetworkClient> networkClient,
    std::shared_ptr<OrvoUpdateArchiveUnzipping> unzipper,
    std::shared_ptr<OrvoUpdateInstallerLaunching> launcher,
    std::shared_ptr<OrvoAppBundleUpdateValidating> appBundleValidator,
    std::shared_ptr<OrvoAppBundleUpdateHelperLaunching> replacementLauncher,
    std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider,
    OrvoUpdateInstallerCoordinatorEnvironment environment)
    : fileManager_(std::move(fileManager)),
      networkClient_(std::move(networkClient)),
      unzipper_(std::move(unzipper)),
      launcher_(std::move(launcher)),
      appBundleValidator_(std::move(appBundleValidator)),
      replacementLauncher_(std::move(replacementLauncher)),
      launchUserContextProvider_(std::move(launchUserContextProvider)),
      environment_(std::move(environment)) {}

// The archive's memory is given back before anything else is done.
template <typename Request>
OrvoUpdateInstallerCoordinator::ArchivePlacement OrvoUpdateInstallerCoordinator::downloadAndPlace(
    const Request& request, bool usesUniqueFolder, const Window& window,
    const CancellationToken& cancellation) {
  const NetworkData archive =
      downloadArchive(*request.archiveURL, request.fallbackArchiveURL, window, cancellation);
  cancellation.throwIfCancelled();
  return writeArchiveToFirstUsableDestination(
      archive.body.span(), request.archiveFileName,
      archiveDestinationFolderURLs(request.applicationName, request.installerSubdirectoryName,
                                   usesUniqueFolder));
}

OrvoAppBundleReplacementRequest OrvoUpdateInstallerCoordinator::installAppBundleUpdate(
    const OrvoAppBundleUpdateRequest& request, const Window& progressWindow,
    const LaunchProgressHandler& launchProgressHandler, const CancellationToken& cancellation) {
  const InstallationTurn turn(isInstalling_);
  const WindowClosing closing(environment_.mainThread, progressWindow);
  if (!request.archiveURL) throw Error(Error::Case::missingArchiveURL);
  validateReplacementHelperAvailable(request);

  const ArchivePlacement placement = downloadAndPlace(request, true, progressWindow, cancellation);
  unzipAndRemoveArchive(placement, progressWindow, cancellation);

  show(progressWindow, {"Verifying update…", std::nullopt, std::nullopt});
  const std::filesystem::path staged = findSingleAppBundle(placement.destinationFolderURL);
  if (!OrvoAppBundleFileSafety::realDirectoryAppBundle(*fileManager_, staged,
                                                       placement.destinationFolderURL)) {
    throw Error(Error::Case::invalidArchive);
  }
  try {
    appBundleValidator_->validateAppBundle(staged, request.hostIdentity);
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
  replacement.launchUserContext = launchUserContextProvider_();
  replacement.failureReportURL = OrvoAppBundleUpdateFailureReportStore(fileManager_, environment_.clock)
                                     .reportURL(request.hostIdentity.bundleIdentifier);
  replacement.failureReportAttemptIdentifier = request.failureReportAttemptIdentifier;

  waitForReadyToInstallConfirmation(progressWindow, cancellation);
  cancellation.throwIfCancelled();
  show(progressWindow, {"Preparing to install…", std::nullopt, std::nullopt});
  prepareFailureReportURLForFreshHandoff(replacement.failureReportURL);
  throwUnlessLaunched(replacementLauncher_->launchReplacement(replacement, launchProgressHandler));
  return replacement;
}

std::string OrvoUpdateInstallerCoordinator::installUpdate(const OrvoUpdateInstallerRequest& request,
                                                          const Window& progressWindow,
                                                          const CancellationToken& cancellation) {
  const InstallationTurn turn(isInstalling_);
  const WindowClosing closing(environment_.mainThread, progressWindow);
  if (!request.archiveURL) throw Error(Error::Case::missingArchiveURL);

  const ArchivePlacement placement = downloadAndPlace(request, false, progressWindow, cancellation);
  unzipAndRemoveArchive(placement, progressWindow, cancellation);

  show(progressWindow, {"Opening installer…", std::nullopt, std::nullopt});
  const std::filesystem::path installer = placement.destinationFolderURL / request.installerFileName;
  if (!staysInside(request.installerFileName) || !launcher_->openInstaller(installer)) {
    throw Error(Error::Case::launchFailed);
  }
  return installer.string();
}

void OrvoUpdateInstallerCoordinator::validateReplacementHelperAvailable(
    const OrvoAppBundleUpdateRequest& request) const {
  if (!request.helperExecutableURL || !fileManager_->isExecutableFile(*request.helperExecutableURL)) {
    throw Error(Error::Case::replacementHelperUnavailable);
  }
}

void OrvoUpdateInstallerCoordinator::unzipAndRemoveArchive(const ArchivePlacement& placement,
                                                           const Window& window,
                                                           const CancellationToken& cancellation) {
  show(window, {"Extracting update…", std::nullopt, std::nullopt});
  const bool isUnpacked =
      unzipper_->unzip(placement.archiveURL.string(), placement.destinationFolderURL.string());
  cancellation.throwIfCancelled();
  if (!isUnpacked) throw Error(Error::Case::unzipFailed);
  try {
    fileManager_->removeItem(placement.archiveURL);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): an archive left behind does no harm
  }
}

void OrvoUpdateInstallerCoordinator::prepareFailureReportURLForFreshHandoff(
    const std::optional<std::filesystem::path>& report) {
  if (!report) return;
  // Whatever made the removal fail, what counts is that no old report can be taken for one of this attempt.
  try {
    fileManager_->removeItem(*report);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
  }
  if (fileManager_->itemExists(*report)) throw Error(Error::Case::replacementLaunchFailed);
  fileManager_->createDirectory(report->parent_path());
}

void OrvoUpdateInstallerCoordinator::waitForReadyToInstallConfirmation(
    const Window& window, const CancellationToken& cancellation) {
  if (!window) return;
  const auto confirmation = std::make_shared<OrvoUpdateReadyInstallConfirmation>();
  const CancellationRegistration registration = cancellation.onCancel(
      [confirmation] { confirmation->resolve(std::make_exception_ptr(OperationCancelled())); });

  const auto promise = std::make_shared<std::promise<void>>();
  confirmation->setContinuation([promise](const std::exception_ptr& result) {
    if (result) {
      promise->set_exception(result);
    } else {
      promise->set_value();
    }
  });
  const std::string title = localized("Ready to Install");
  const std::string buttonTitle = localized("Install and Relaunch");
  environment_.mainThread->perform([confirmation, window, title, buttonTitle] {
    if (confirmation->isResolved()) return;
    window->showReadyToInstallAndRelaunch(title, buttonTitle,
                                          [confirmation] { confirmation->resolve(nullptr); });
    window->requestUserAttention();
  });
  promise->get_future().get();
}

void OrvoUpdateInstallerCoordinator::show(const Window& window, OrvoUpdateProgressWindowState state) const {
  if (!window) return;
  state.title = localized(state.title);
  if (state.statusText) state.statusText = localized(*state.statusText);
  environment_.mainThread->performAndWait([&] { window->update(state); });
}

std::string OrvoUpdateInstallerCoordinator::localized(const std::string& text) const {
  return environment_.bundles->localizedString(environment_.localizationBundle, text, "Updates", text);
}

}  // namespace pellam
