#include <utility>

#include "host/install_attempt_record.h"
#include "host/standard_updater_session.h"
#include "host/update_failure_notice.h"
#include "localization/localized_text.h"
#include "pellam/bridged_error.h"
#include "pellam/installer_error_text.h"

namespace pellam {

void StandardUpdaterSession::install(const FeedEntry& entry) {
  if (installation_) return;
  installation_.emplace(
      Installation{std::make_shared<PresentedProgressWindow>(
                       collaborators_.toolkit, collaborators_.bundles,
                       localized(*collaborators_.bundles, collaborators_.bundles->mainBundlePath(),
                                 localized_texts::downloadingUpdate)),
                   CancellationSource()});
  // A check that is still on its way has nothing more to say, and the worker is needed.
  checkCancellation_.cancel();
  const std::optional<URL> manualUpdateURL = manualUpdateAddress(entry, configuration_.manualUpdateURL);
  const std::string attemptIdentifier = collaborators_.identifiers->makeUUID();
  InstallAttemptRecord{attemptIdentifier, manualUpdateURL}.store(*collaborators_.settings);

  worker_->perform([installations = installations_, entry, attempt = attempt(attemptIdentifier),
                    manualUpdateURL, post = poster()] {
    const InstallOutcome outcome = outcomeOf(installations, entry, attempt);
    post([outcome, manualUpdateURL](StandardUpdaterSession& session) {
      session.finishInstallation(outcome, manualUpdateURL);
    });
  });
}

OfferInstallation::Attempt StandardUpdaterSession::attempt(const std::string& attemptIdentifier) const {
  OfferInstallation::Attempt attempt{attemptIdentifier, configuration_.defaultInstallerNameFormat};
  attempt.window = installation_->window;
  attempt.launchProgress = [logger =
                                collaborators_.logger](const OrvoAppBundleInstallerLaunchProgress& progress) {
    if (!logger) return;
    logger->debug(
        [progress] { return "launch: " + PropertyListValue(progress.xpcDictionary()).description(); },
        "update");
  };
  attempt.cancellation = installation_->cancellation.token();
  return attempt;
}

// On the worker.
StandardUpdaterSession::InstallOutcome StandardUpdaterSession::outcomeOf(
    const OfferInstallation& installation, const FeedEntry& entry,
    const OfferInstallation::Attempt& attempt) {
  InstallOutcome outcome;
  try {
    const InstallResult result = installation.install(entry, attempt);
    const bool isHandedOver = result.outcome == InstallResult::Outcome::handedOver;
    outcome.kind = isHandedOver ? InstallOutcome::Kind::launched : InstallOutcome::Kind::installerOpened;
    outcome.detail = result.path.string();
  } catch (const OperationCancelled&) {
    outcome.kind = InstallOutcome::Kind::cancelled;
  } catch (const OrvoUpdateInstallerError& error) {
    outcome.error = error;
    outcome.detail = std::string(error.caseName()) + ": " + installerErrorText(error);
  } catch (const std::exception& error) {
    outcome.detail = error.what();
  }
  return outcome;
}

void StandardUpdaterSession::finishInstallation(const InstallOutcome& outcome,
                                                const std::optional<URL>& manualUpdateURL) {
  closeProgressWindow();
  installation_.reset();
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

void StandardUpdaterSession::tellNothingWasOffered(CheckCompletion completion) {
  alert([this, completion] {
    OrvoUpdateManualCheckCompletionInput input;
    input.shouldShowNoUpdatesFoundDialog = true;
    input.updateCheckPerformedOK = completion == CheckCompletion::performed;
    input.applicationName = collaborators_.application.identity.displayName;
    input.shouldOfferBetaToggle = configuration_.offersBetaToggle;
    input.betaToggleEnabled = settings_->checkForBetaReleases();
    input.localizationBundle = localizationBundle_;
    const auto result = alertPresenter_.presentManualCheckCompletionAlert(input);
    if (result.selectedBetaToggleState) settings_->setCheckForBetaReleases(*result.selectedBetaToggleState);
  });
}

void StandardUpdaterSession::tellCheckFailed(const FetchOutcome& outcome) {
  if (!outcome.isOffline) {
    tellNothingWasOffered(CheckCompletion::failed);
    return;
  }
  alert([this] { alertPresenter_.presentUnableToCheckForUpdatesAlert(true, localizationBundle_); });
}

void StandardUpdaterSession::alert(std::function<void()> present) {
  if (life_ == Life::ended) return;
  // The alert's loop does other main-thread work, which may destroy the updater.
  const auto self = shared_from_this();
  alerts_.present([this, present = std::move(present)] {
    if (life_ != Life::ended) present();
  });
}

}  // namespace pellam
