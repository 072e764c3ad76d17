#include "ui/update_alert_presenter.h"

#include "foundation/text_format.h"
#include "localization/localized_text.h"

namespace pellam {

namespace {

namespace texts = localized_texts;

// Runs the alert with the toolkit held, whatever becomes of its owner meanwhile: the copy is the purpose.
AlertAnswer run(std::shared_ptr<WindowToolkit> toolkit,  // NOLINT(performance-unnecessary-value-param)
                const AlertDescription& alert) {
  return toolkit->runModal(alert);
}

}  // namespace

void OrvoUpdateAlertPresenter::presentUnableToCheckForUpdatesAlert(bool offline,
                                                                   const Path& localizationBundle) {
  AlertDescription alert;
  alert.messageText =
      localized(*bundles_, localizationBundle, offline ? texts::unableToCheckOffline : texts::unableToCheck);
  alert.informativeText = localized(*bundles_, localizationBundle, texts::tryAgainLater);
  run(toolkit_, alert);
}

void OrvoUpdateAlertPresenter::presentDownloadFailedAlert(const Path& localizationBundle,
                                                          const Text& informativeText) {
  AlertDescription alert;
  alert.messageText = localized(*bundles_, localizationBundle, texts::downloadFailed);
  alert.informativeText = informativeText.value_or("");
  run(toolkit_, alert);
}

AlertDescription OrvoUpdateAlertPresenter::makeInstallationFailedAlert(const Path& localizationBundle,
                                                                       const Text& informativeText) const {
  AlertDescription alert;
  alert.messageText = localized(*bundles_, localizationBundle, texts::updateFailed);
  alert.informativeText = informativeText
                              ? *informativeText
                              : localized(*bundles_, localizationBundle, texts::manualInstallation);
  alert.buttonTitles = {localized(*bundles_, localizationBundle, texts::alertOK)};
  return alert;
}

void OrvoUpdateAlertPresenter::presentInstallationFailedAlert(const Path& localizationBundle,
                                                              const Text& informativeText) {
  run(toolkit_, makeInstallationFailedAlert(localizationBundle, informativeText));
}

AlertDescription OrvoUpdateAlertPresenter::makeManualUpdateAlert(
    const Path& localizationBundle, const Text& informativeText,
    OrvoUpdateManualUpdateFailurePhase failurePhase) const {
  const bool isDownload = failurePhase == OrvoUpdateManualUpdateFailurePhase::download;
  const auto text = [&](const LocalizedText& key) { return localized(*bundles_, localizationBundle, key); };
  AlertDescription alert;
  alert.messageText = text(isDownload ? texts::downloadFailed : texts::updateFailed);
  alert.informativeText = informativeText
                              ? *informativeText
                              : text(isDownload ? texts::manualDownload : texts::manualInstallation);
  alert.buttonTitles = {text(texts::updateManually), text(texts::cancel)};
  return alert;
}

void OrvoUpdateAlertPresenter::presentManualUpdateAlert(const Path& localizationBundle,
                                                        const Text& informativeText,
                                                        const URL& manualUpdateURL,
                                                        OrvoUpdateManualUpdateFailurePhase failurePhase) {
  const OpenURL openURL = openURL_;
  const URL url = manualUpdateURL;  // NOLINT(performance-unnecessary-copy-initialization): as above
  const AlertAnswer answer =
      run(toolkit_, makeManualUpdateAlert(localizationBundle, informativeText, failurePhase));
  if (answer.buttonIndex == 0 && openURL) openURL(url);
}

AlertDescription OrvoUpdateAlertPresenter::makeUpdateCancelledAlert(const Path& localizationBundle) const {
  AlertDescription alert;
  alert.messageText = localized(*bundles_, localizationBundle, texts::updateCanceled);
  alert.informativeText = localized(*bundles_, localizationBundle, texts::updateNotInstalled);
  alert.buttonTitles = {localized(*bundles_, localizationBundle, texts::alertOK)};
  return alert;
}

void OrvoUpdateAlertPresenter::presentUpdateCancelledAlert(const Path& localizationBundle) {
  run(toolkit_, makeUpdateCancelledAlert(localizationBundle));
}

std::optional<AlertDescription> OrvoUpdateAlertPresenter::makeManualCheckCompletionAlert(
    const OrvoUpdateManualCheckCompletionInput& input) const {
  if (!input.shouldShowNoUpdatesFoundDialog) return std::nullopt;
  const auto text = [&](const LocalizedText& key) {
    return localized(*bundles_, input.localizationBundle, key);
  };
  AlertDescription alert;
  if (!input.updateCheckPerformedOK) {
    alert.messageText = text(texts::unableToCheck);
    alert.informativeText = text(texts::tryAgainLater);
    return alert;
  }
  alert.style = AlertStyle::informational;
  alert.messageText = text(texts::noUpdatesAvailable);
  alert.informativeText = formatText(text(texts::runningCurrentVersion), {input.applicationName});
  if (input.shouldOfferBetaToggle) {
    alert.suppressionCheckbox = AlertCheckbox{text(texts::checkForBetaReleases), input.betaToggleEnabled};
  }
  return alert;
}

OrvoUpdateManualCheckCompletionResult OrvoUpdateAlertPresenter::presentManualCheckCompletionAlert(
    const OrvoUpdateManualCheckCompletionInput& input) {
  const std::optional<AlertDescription> alert = makeManualCheckCompletionAlert(input);
  if (!alert) return {};
  const bool showsCheckbox = alert->suppressionCheckbox.has_value();
  const AlertAnswer answer = run(toolkit_, *alert);
  return {true, true, showsCheckbox ? answer.suppressionIsOn : std::nullopt};
}

}  // namespace pellam
