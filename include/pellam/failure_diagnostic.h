#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "pellam/bridged_error.h"
#include "pellam/launch_phase.h"

namespace [[gnu::visibility("default")]] pellam {

// Where an installer launch failed and with which error. A value, compared member by member.
//
// For example:
//
//     const auto diagnostic = OrvoAppBundleInstallerFailureDiagnostic::fromError(
//         OrvoAppBundleInstallerLaunchPhase::jobSubmission, {"NSPOSIXErrorDomain", 13, "Permission denied"});
//     assert(diagnostic.description() ==
//            "phase=jobSubmission domain=NSPOSIXErrorDomain code=13 description=Permission denied");
struct OrvoAppBundleInstallerFailureDiagnostic {
  OrvoAppBundleInstallerLaunchPhase phase = OrvoAppBundleInstallerLaunchPhase::messageResolution;
  std::optional<std::string> errorDomain;
  std::optional<std::int64_t> errorCode;
  std::optional<std::string> errorDescription;

  // The diagnostic of an error that has all three values.
  [[nodiscard]] static OrvoAppBundleInstallerFailureDiagnostic fromError(
      OrvoAppBundleInstallerLaunchPhase phase, const BridgedError& error);

  // "phase=… domain=… code=… description=…", each part only when present; an empty description is left out.
  [[nodiscard]] std::string description() const;

  friend bool operator==(const OrvoAppBundleInstallerFailureDiagnostic&,
                         const OrvoAppBundleInstallerFailureDiagnostic&) = default;
};

}  // namespace pellam
