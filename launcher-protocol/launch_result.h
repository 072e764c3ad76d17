#pragma once

#include <cstdint>

#include "pellam/failure_diagnostic.h"
#include "pellam/launch_phase.h"
#include "pellam/property_list_value.h"

#include <functional>
#include <optional>
#include <string>

namespace pellam {

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
