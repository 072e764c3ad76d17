#include "launcher-service/host_identity_resolver.h"

#include <optional>
#include <string_view>

#include "foundation/decimal.h"
#include "launcher-protocol/launch_refusal.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Refusal = OrvoAppBundleInstallerLaunchRefusal;

std::int64_t buildNumber(const PropertyListDictionary& information) {
  const PropertyListValue* value = information.find("CFBundleVersion");
  if (value == nullptr) throw Refusal::invalidContainingApplicationBuild("<missing>");
  const PropertyListText* text = value->string();
  const std::optional<std::int64_t> build =
      text == nullptr ? std::nullopt : parseDecimal<std::int64_t>(*text);
  if (!build) throw Refusal::invalidContainingApplicationBuild(value->description());
  return *build;
}

}  // namespace

OrvoAppBundleUpdateHostIdentity OrvoAppBundleInstallerLauncherServiceHostIdentityResolver::makeHostIdentity(
    const std::filesystem::path& containingApplication,
    const OrvoAppBundleUpdateHostIdentity& requestedIdentity) {
  const std::optional<Bundle> bundle = bundles_->bundleAt(containingApplication);
  if (!bundle) throw Refusal::containingApplicationUnreadable(containingApplication.string());

  const PropertyListDictionary& information = bundle->informationDictionary;
  const std::optional<std::string> identifier = bundleIdentifierOf(information);
  if (!identifier || identifier->empty()) {
    throw Refusal::containingApplicationBundleIdentifierMissing(containingApplication.string());
  }
  if (*identifier != requestedIdentity.bundleIdentifier) {
    throw Refusal::bundleIdentifierMismatch(requestedIdentity.bundleIdentifier, *identifier);
  }

  const PropertyListText* version = information.findString("CFBundleShortVersionString");
  const std::int64_t build = buildNumber(information);
  std::string team = readTeamIdentifier(containingApplication);
  if (requestedIdentity.expectedTeamIdentifier && *requestedIdentity.expectedTeamIdentifier != team) {
    throw Refusal::teamIdentifierMismatch(*requestedIdentity.expectedTeamIdentifier, team);
  }
  return {*identifier, version == nullptr ? std::string() : *version, build, std::move(team),
          requestedIdentity.allowsSameBuildReplacement};
}

std::string OrvoAppBundleInstallerLauncherServiceHostIdentityResolver::readTeamIdentifier(
    const std::filesystem::path& appBundle) const {
  const ToolResult result = runCodesign({"-dv", "--verbose=4", appBundle.string()});
  if (result.terminationStatus != 0) {
    throw Refusal::codeSignatureMetadataUnreadable(result.terminationStatus, result.output);
  }
  constexpr std::string_view prefix = "TeamIdentifier=";
  for (std::string_view line : text::lines(result.output)) {
    if (!line.starts_with(prefix)) continue;
    line.remove_prefix(prefix.size());
    // Only the first such line counts.
    if (line.empty() || line == "not set") break;
    return std::string(line);
  }
  throw Refusal::teamIdentifierUnavailable(result.output);
}

OrvoAppBundleInstallerLauncherServiceHostIdentityResolver::ToolResult
OrvoAppBundleInstallerLauncherServiceHostIdentityResolver::runCodesign(
    const std::vector<std::string>& arguments) const {
  ChildProcessResult result = processes_->run("/usr/bin/codesign", arguments);
  if (result.launchError) return {1, result.launchError->description};
  if (!text::isValidUTF8(result.output)) result.output.clear();
  return {result.terminationStatus, std::move(result.output)};
}

}  // namespace pellam
