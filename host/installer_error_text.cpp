#include "pellam/installer_error_text.h"

namespace pellam {

namespace {

std::string sentence(OrvoUpdateInstallerError::Case errorCase) {
  using Case = OrvoUpdateInstallerError::Case;
  switch (errorCase) {
    case Case::replacementHelperLaunchFailed:
      return "the installer could not be started";
    case Case::replacementHelperProtocolFailure:
      return "the launcher service refused or did not understand the request";
    case Case::replacementHelperLaunchTimedOut:
      return "the launcher service took too long";
    case Case::authorizationDenied:
      return "an administrator's authorization is needed and was not given";
    case Case::authorizationCancelled:
      return "the authorization was cancelled";
    case Case::missingArchiveURL:
      return "the feed names no archive for this update";
    case Case::downloadFailed:
      return "the update could not be downloaded";
    case Case::writeFailed:
      return "the downloaded archive could not be written anywhere";
    case Case::unzipFailed:
      return "the archive could not be unpacked";
    case Case::launchFailed:
      return "the installer could not be opened";
    case Case::invalidArchive:
      return "the archive does not hold a readable application";
    case Case::noAppBundleFound:
      return "the archive holds no application";
    case Case::multipleAppBundlesFound:
      return "the archive holds more than one application";
    case Case::bundleIdentifierMismatch:
      return "the downloaded application is another one";
    case Case::teamIdentifierMismatch:
      return "the downloaded application is signed by another team";
    case Case::nonNewerBundleVersion:
      return "the downloaded application is not newer than the installed one";
    case Case::minimumOSVersionUnsupported:
      return "the downloaded application needs a newer operating system";
    case Case::missingExecutable:
      return "the downloaded application has no executable";
    case Case::signatureValidationFailed:
      return "the downloaded application's signature is not valid";
    case Case::replacementHelperUnavailable:
      return "the application does not carry an installer that could be started";
    case Case::replacementLaunchFailed:
      return "an old failure report could not be removed";
    case Case::destinationNotWritable:
      return "the installed application cannot be replaced";
    case Case::replacementFailed:
      return "the application could not be replaced";
    case Case::relaunchFailed:
      return "the new application could not be started";
  }
  return {};
}

}  // namespace

std::string installerErrorText(const OrvoUpdateInstallerError& error) {
  std::string text = sentence(error.errorCase());
  const std::string summary = error.summary();
  const std::string payload = summary.substr(error.caseName().size());
  if (!payload.empty()) text += ";" + payload;
  return text;
}

}  // namespace pellam
