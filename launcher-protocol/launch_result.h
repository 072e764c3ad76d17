#pragma once

#include <cstdint>

#include "foundation/failure_diagnostic.h"
#include "foundation/launch_phase.h"
#include "foundation/property_list_value.h"

#include <functional>
#include <optional>
#include <string>

namespace pellam {

// The system's text for a security status ("SecCopyErrorMessageString"), if it has one. A pure function of
// the platform.
[[nodiscard]] std::optional<std::string> securityErrorMessage(std::int32_t status);

// How one installer launch ended. Exactly one reaches the caller of a launch.
struct OrvoAppBundleReplacementLaunchResult {
  enum class Kind {
    launchFailed,
    protocolFailure,
    authorizationDenied,
    authorizationCancelled,
    timedOut,
    launched,
    helperUnavailable,
  };

  Kind kind = Kind::launched;
  OrvoAppBundleInstallerFailureDiagnostic diagnostic;  // launchFailed and protocolFailure only
  std::int32_t status = 0;                             // authorizationDenied and authorizationCancelled only
  OrvoAppBundleInstallerLaunchPhase phase =
      OrvoAppBundleInstallerLaunchPhase::messageResolution;  // timedOut only

  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult launchFailed(
      OrvoAppBundleInstallerFailureDiagnostic diagnostic);
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult protocolFailure(
      OrvoAppBundleInstallerFailureDiagnostic diagnostic);
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult authorizationDenied(std::int32_t status);
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult authorizationCancelled(std::int32_t status);
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult timedOut(OrvoAppBundleInstallerLaunchPhase phase);
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult launched();
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult helperUnavailable();

  [[nodiscard]] PropertyListDictionary xpcDictionary() const;
  // Never fails: an invalid dictionary becomes the protocol failure of an invalid result.
  [[nodiscard]] static OrvoAppBundleReplacementLaunchResult fromXPCDictionary(
      const PropertyListDictionary& dictionary);

  friend bool operator==(const OrvoAppBundleReplacementLaunchResult&,
                         const OrvoAppBundleReplacementLaunchResult&) = default;
};

}  // namespace pellam
