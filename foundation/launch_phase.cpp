#include "pellam/launch_phase.h"

#include <array>
#include <cstddef>

namespace pellam {

namespace {
constexpr std::array<std::string_view, 7> rawValues = {
    "messageResolution", "preAuthorization", "authorization", "postAuthorization",
    "jobSubmission",     "xpcConnection",    "xpcReply",
};
}  // namespace

std::string_view rawValue(OrvoAppBundleInstallerLaunchPhase phase) {
  return rawValues.at(static_cast<std::size_t>(phase));
}

std::optional<OrvoAppBundleInstallerLaunchPhase> launchPhaseFromRawValue(std::string_view text) {
  for (std::size_t index = 0; index < rawValues.size(); ++index) {
    if (rawValues[index] == text) return static_cast<OrvoAppBundleInstallerLaunchPhase>(index);
  }
  return std::nullopt;
}

}  // namespace pellam
