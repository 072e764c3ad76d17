#include "installer/exit_status.h"

namespace pellam {

int exitStatusFor(OrvoUpdateInstallerError::Case errorCase) {
  using Case = OrvoUpdateInstallerError::Case;
  switch (errorCase) {
    case Case::replacementHelperLaunchFailed:
      return 80;
    case Case::replacementHelperProtocolFailure:
      return 81;
    case Case::replacementHelperLaunchTimedOut:
      return 82;
    case Case::authorizationDenied:
      return 83;
    case Case::authorizationCancelled:
      return 84;
    case Case::missingArchiveURL:
      return 85;
    case Case::downloadFailed:
      return 86;
    case Case::writeFailed:
      return 87;
    case Case::unzipFailed:
      return 88;
    case Case::launchFailed:
      return 89;
    case Case::invalidArchive:
      return 90;
    case Case::noAppBundleFound:
      return 91;
    case Case::multipleAppBundlesFound:
      return 92;
    case Case::bundleIdentifierMismatch:
      return 93;
    case Case::teamIdentifierMismatch:
      return 94;
    case Case::nonNewerBundleVersion:
      return 95;
    case Case::minimumOSVersionUnsupported:
      return 96;
    case Case::missingExecutable:
      return 97;
    case Case::signatureValidationFailed:
      return 98;
    case Case::replacementHelperUnavailable:
      return 99;
    case Case::replacementLaunchFailed:
      return 100;
    case Case::destinationNotWritable:
      return 101;
    case Case::replacementFailed:
      return 102;
    case Case::relaunchFailed:
      return 103;
  }
  return exit_status::unexpectedError;
}

int exitStatusFor(const std::exception& error) {
  const auto* own = dynamic_cast<const OrvoUpdateInstallerError*>(&error);
  return own != nullptr ? exitStatusFor(own->errorCase()) : exit_status::unexpectedError;
}

}  // namespace pellam
