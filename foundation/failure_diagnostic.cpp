#include "pellam/failure_diagnostic.h"

namespace pellam {

OrvoAppBundleInstallerFailureDiagnostic OrvoAppBundleInstallerFailureDiagnostic::fromError(
    OrvoAppBundleInstallerLaunchPhase phase, const BridgedError& error) {
  return {phase, error.domain, error.code, error.description};
}

std::string OrvoAppBundleInstallerFailureDiagnostic::description() const {
  std::string text = "phase=" + std::string(rawValue(phase));
  if (errorDomain) text += " domain=" + *errorDomain;
  if (errorCode) text += " code=" + std::to_string(*errorCode);
  if (errorDescription && !errorDescription->empty()) text += " description=" + *errorDescription;
  return text;
}

}  // namespace pellam
