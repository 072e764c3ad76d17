#include "host/offer_installation.h"

#include "feed/offer_kind.h"
#include "host/update_requests.h"
#include "launcher-protocol/installer_folder.h"

namespace pellam {

InstallResult OfferInstallation::install(const FeedEntry& entry, const Attempt& attempt) const {
  const std::string& name = application_.identity.displayName;
  if (offerKind(entry) == OfferKind::separateInstaller) {
    const auto request = OrvoUpdateInstallerRequest::makeFromFeed(entry, name, attempt.installerNameFormat,
                                                                  installerFolderName);
    const std::string opened = coordinator_->installUpdate(request, attempt.window, attempt.cancellation);
    return {InstallResult::Outcome::installerOpened, opened, {}};
  }
  const auto request =
      OrvoAppBundleUpdateRequest::makeFromFeed(entry, {.applicationName = name,
                                                       .installedApplicationURL = application_.path,
                                                       .hostIdentity = application_.hostIdentity(),
                                                       .helperExecutableURL = application_.helperExecutable(),
                                                       .installerSubdirectoryName = installerFolderName,
                                                       .failureReportAttemptIdentifier = attempt.identifier});
  const OrvoAppBundleReplacementRequest replacement = coordinator_->installAppBundleUpdate(
      request, attempt.window, attempt.launchProgress, attempt.cancellation);
  return {InstallResult::Outcome::handedOver, replacement.installedApplicationURL,
          replacement.stagedApplicationURL};
}

int OfferInstallation::removeStaleAttempts() const {
  return coordinator_->removeStaleInstallerAttempts(application_.identity.displayName, installerFolderName,
                                                    application_.path);
}

}  // namespace pellam
