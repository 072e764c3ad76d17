#pragma once

#include <optional>
#include <string_view>

namespace [[gnu::visibility("default")]] pellam {

// The stage of an installer launch that a failure or a time-out belongs to. The raw values cross the launcher
// connection and appear in diagnostics: they are never changed or reused.
//
// For example:
//
//     using Phase = OrvoAppBundleInstallerLaunchPhase;
//     assert(launchPhaseFromRawValue(rawValue(Phase::jobSubmission)) == Phase::jobSubmission);
//     assert(!launchPhaseFromRawValue("JobSubmission"));
enum class OrvoAppBundleInstallerLaunchPhase {
  messageResolution,
  preAuthorization,
  authorization,
  postAuthorization,
  jobSubmission,
  xpcConnection,
  xpcReply,
};

[[nodiscard]] std::string_view rawValue(OrvoAppBundleInstallerLaunchPhase phase);

// Exact and case-sensitive; any other text is no phase.
[[nodiscard]] std::optional<OrvoAppBundleInstallerLaunchPhase> launchPhaseFromRawValue(std::string_view text);

}  // namespace pellam
