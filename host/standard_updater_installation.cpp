#include <utility>

#include "feed/feed_keys.h"
#include "foundation/bridged_error.h"
#include "host/install_attempt_record.h"
#include "host/installer_error_text.h"
#include "host/standard_updater_session.h"
#include "host/update_failure_notice.h"
#include "host/update_requests.h"
#include "ui/localized_text.h"

namespace pellam {

void StandardUpdaterSession::install(const FeedEntry& entry) {
  if (isInstalling_) return;
  progressWindow_ = std::make_shared<PresentedProgressWindow>(
      collaborators_.toolkit, collaborators_.bundles,
      localized(*collaborators_.bundles, collaborators_.bundles->mainBundlePath(),
                localized_texts::downloadingUpdate));
  isInstalling_ = true;
  // A check that is still on its way has nothing more to say, and the worker is needed.
  checkCancellation_.cancel();
  installCancellation_ = CancellationSource();
  const std::optional<URL> manualUpdateURL = manualUpdateAddress(entry, configuration_.manualUpdateURL);
  const std::string attemptIdentifier = collaborators_.identifiers->makeUUID();
  InstallAttemptRecord{attemptIdentifier, manualUpdateURL}.store(*collaborators_.settings);

  worker_->perform([run = installation(entry, attemptIdentifier), manualUpdateURL, post = poster()] {
    InstallOutcome outcome;
    try {
      outcome = run();
    } catch (const OperationCancelled&) {
      outcome.kind = InstallOutcome::Kind::cancelled;
    } catch (const OrvoUpdateInstallerError& error) {
      outcome.error = error;
      outcome.detail = std::string(error.caseName()) + ": " + installerErrorText(error);
    } catch (const std::exception& error) {
      outcome.detail = error.what();
    }
    post([outcome, manualUpdateURL](StandardUpdaterSession& session) {
      session.finishInstallation(outcome, manualUpdateURL);
    });
  });
}

// What the worker does: the application bundle where the entry has one, as the prompt decides it, else the
// separate installer.
std::function<StandardUpdaterSession::InstallOutcome()> StandardUpdaterSession::installation(
    const FeedEntry& entry, const std::string& attemptIdentifier) {
  const InstalledApplication& application = collaborators_.application;
  const std::string& name = application.identity.displayName;
  const auto coordinator = collaborators_.coordinator;
  const std::shared_ptr<OrvoUpdateProgressWindow> window = progressWindow_;
  const CancellationToken token = installCancellation_.token();
  if (!OrvoUpdatePromptPresenter::hasNonEmptyStringValue(OrvoUpdateFeedKeys::appBundleInstallerURL, entry)) {
    return [coordinator, window, token,
            request = OrvoUpdateInstallerRequest::makeFromFeed(
                entry, name, configuration_.defaultInstallerNameFormat, installerSubdirectoryName)] {
      return InstallOutcome{InstallOutcome::Kind::installerOpened, std::nullopt,
                            coordinator->installUpdate(request, window, token)};
    };
  }
  const auto logger = collaborators_.logger;
  return [coordinator, window, token, logger,
          request = OrvoAppBundleUpdateRequest::makeFromFeed(
              entry, name, application.path, application.hostIdentity(), application.helperExecutable(),
              installerSubdirectoryName, attemptIdentifier)] {
    const auto replacement = coordinator->installAppBundleUpdate(
        request, window,
        [logger](const OrvoAppBundleInstallerLaunchProgress& progress) {
          if (logger)
            logger->debug(
                [progress] { return "launch: " + PropertyListValue(progress.xpcDictionary()).description(); },
                "update");
        },
        token);
    return InstallOutcome{InstallOutcome::Kind::launched, std::nullopt,
                          replacement.installedApplicationURL.string()};
  };
}

void StandardUpdaterSession::finishInstallation(const InstallOutcome& outcome,
                                                const std::optional<URL>& manualUpdateURL) {
  isInstalling_ = false;
  closeProgressWindow();
  switch (outcome.kind) {
    case InstallOutcome::Kind::launched: {
      log("the installer replaces " + outcome.detail);
      // The application may have a reason to stay; then checks go on.
      setAlarm();
      const auto terminate = collaborators_.terminate;
      if (terminate) terminate();
      return;
    }
    case InstallOutcome::Kind::installerOpened:
      log("opened the installer " + outcome.detail);
      break;
    case InstallOutcome::Kind::cancelled:
      log("the installation was cancelled");
      break;
    case InstallOutcome::Kind::failed:
      log("the installation failed: " + outcome.detail, PellamLogLevel::error);
      break;
  }
  InstallAttemptRecord::remove(*collaborators_.settings);
  setAlarm();
  if (outcome.kind == InstallOutcome::Kind::failed) tellInstallationFailed(outcome, manualUpdateURL);
}

void StandardUpdaterSession::tellInstallationFailed(const InstallOutcome& outcome,
                                                    const std::optional<URL>& manualUpdateURL) {
  const UpdateFailureNotice notice =
      outcome.error ? updateFailureNotice(*outcome.error) : UpdateFailureNotice::installationFailed;
  switch (notice) {
    case UpdateFailureNotice::authorizationCancelled:
      alert([this] { alertPresenter_.presentUpdateCancelledAlert(localizationBundle_); });
      return;
    case UpdateFailureNotice::downloadFailed:
      alert([this, manualUpdateURL] {
        if (manualUpdateURL) {
          alertPresenter_.presentManualUpdateAlert(localizationBundle_, std::nullopt, *manualUpdateURL,
                                                   OrvoUpdateManualUpdateFailurePhase::download);
          return;
        }
        alertPresenter_.presentDownloadFailedAlert(
            localizationBundle_,
            localized(*collaborators_.bundles, localizationBundle_, localized_texts::tryAgainLater));
      });
      return;
    case UpdateFailureNotice::installationFailed:
      tellHelperFailed(manualUpdateURL);
      return;
  }
}

void StandardUpdaterSession::tellHelperFailed(const std::optional<URL>& manualUpdateURL) {
  alert([this, manualUpdateURL] {
    if (manualUpdateURL) {
      alertPresenter_.presentManualUpdateAlert(localizationBundle_, std::nullopt, *manualUpdateURL,
                                               OrvoUpdateManualUpdateFailurePhase::installation);
    } else {
      alertPresenter_.presentInstallationFailedAlert(localizationBundle_, std::nullopt);
    }
  });
}

void StandardUpdaterSession::tellNothingWasOffered(bool updateCheckPerformedOK) {
  alert([this, updateCheckPerformedOK] {
    OrvoUpdateManualCheckCompletionInput input;
    input.shouldShowNoUpdatesFoundDialog = true;
    input.updateCheckPerformedOK = updateCheckPerformedOK;
    input.applicationName = collaborators_.application.identity.displayName;
    input.shouldOfferBetaToggle = configuration_.offersBetaToggle;
    input.betaToggleEnabled = settings_->checkForBetaReleases();
    input.localizationBundle = localizationBundle_;
    const auto result = alertPresenter_.presentManualCheckCompletionAlert(input);
    if (result.selectedBetaToggleState) settings_->setCheckForBetaReleases(*result.selectedBetaToggleState);
  });
}

void StandardUpdaterSession::tellCheckFailed(bool isOffline) {
  if (!isOffline) {
    tellNothingWasOffered(false);
    return;
  }
  alert([this] { alertPresenter_.presentUnableToCheckForUpdatesAlert(true, localizationBundle_); });
}

void StandardUpdaterSession::whenNoAlertIsOpen(std::function<void()> work) {
  if (isAlertOpen_) {
    waitingForAlert_.push_back(std::move(work));
  } else {
    work();
  }
}

void StandardUpdaterSession::alert(std::function<void()> present) {
  if (isEnded_) return;
  if (isAlertOpen_) {
    waitingForAlert_.push_back([this, present = std::move(present)] { alert(present); });
    return;
  }
  // The alert's loop does other main-thread work, which may destroy the updater.
  const auto self = shared_from_this();
  {
    struct OpenAlert {
      explicit OpenAlert(bool& isOpenAlert) : isOpen(isOpenAlert) { isOpen = true; }
      OpenAlert(const OpenAlert&) = delete;
      OpenAlert& operator=(const OpenAlert&) = delete;
      ~OpenAlert() { isOpen = false; }
      bool& isOpen;
    };
    const OpenAlert open(isAlertOpen_);
    present();
  }
  while (!isAlertOpen_ && !waitingForAlert_.empty()) {
    const std::function<void()> next = std::move(waitingForAlert_.front());
    waitingForAlert_.pop_front();
    next();
  }
}

}  // namespace pellam
