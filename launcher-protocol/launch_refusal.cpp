#include "launcher-protocol/launch_refusal.h"

#include <array>
#include <string_view>

#include "launcher-protocol/diagnostic_text.h"

namespace pellam {

namespace {

using Refusal = OrvoAppBundleInstallerLaunchRefusal;

// A refusal's fixed sentence and the names of its (at most two) details, in the order of the cases.
struct Template {
  std::string_view sentence;
  std::string_view firstKey;
  std::string_view secondKey;
};

constexpr std::array<Template, 14> templates = {{
    {"The launcher message is missing required values or contains invalid values; ", "fields=", ""},
    {"The launch user context is incomplete or contains invalid values; ", "fields=", ""},
    {"This launcher service is not embedded in an app bundle; ", "serviceBundlePath=", ""},
    {"The installed app path sent by the host does not match the app that embeds this service; ",
     "requestedPath=", " containingPath="},
    {"The app bundle that embeds this service could not be read; ", "path=", ""},
    {"The app that embeds this service has no bundle identifier; ", "path=", ""},
    {"The bundle identifier sent by the host does not match the app that embeds this service; ",
     "requestedBundleIdentifier=", " containingBundleIdentifier="},
    {"The app that embeds this service has an invalid CFBundleVersion; ", "rawValue=", ""},
    {"The code signature metadata for the app that embeds this service could not be read; ",
     "status=", " output="},
    {"The code signature metadata for the app that embeds this service has no usable TeamIdentifier; ",
     "output=", ""},
    {"The Team ID sent by the host does not match the app that embeds this service; ",
     "requestedTeamIdentifier=", " containingTeamIdentifier="},
    {"The failure report path sent by the host is not allowed for the verified app; ",
     "requestedPath=", " allowedPaths="},
    {"The trusted host process identifier is unavailable; ", "receivedValue=", ""},
    {"The launcher message does not contain the host app identity required by this service", "", ""},
}};

std::string fieldList(const std::vector<Refusal::FieldProblem>& fields) {
  std::string joined;
  for (const Refusal::FieldProblem& field : fields) {
    if (!joined.empty()) joined += ',';
    joined += escapedValue(field.key);
    joined += field.invalidRawValue ? "(invalid: " + escapedValue(*field.invalidRawValue) + ")" : "(missing)";
  }
  return escapedValue(joined);
}

}  // namespace

Refusal::OrvoAppBundleInstallerLaunchRefusal(Case refusalCase, Values values)
    : case_(refusalCase), values_(std::move(values)), description_(details()) {}

Refusal Refusal::malformedMessage(std::vector<FieldProblem> fields) {
  return {Case::malformedMessage, Values(std::move(fields))};
}

Refusal Refusal::invalidLaunchUserContext(std::vector<FieldProblem> fields) {
  return {Case::invalidLaunchUserContext, Values(std::move(fields))};
}

Refusal Refusal::serviceNotEmbeddedInApplication(std::string serviceBundlePath) {
  return {Case::serviceNotEmbeddedInApplication, Values(std::move(serviceBundlePath))};
}

Refusal Refusal::installedApplicationPathMismatch(std::string requestedPath, std::string containingPath) {
  return {Case::installedApplicationPathMismatch,
          Values(Pair(std::move(requestedPath), std::move(containingPath)))};
}

Refusal Refusal::containingApplicationUnreadable(std::string path) {
  return {Case::containingApplicationUnreadable, Values(std::move(path))};
}

Refusal Refusal::containingApplicationBundleIdentifierMissing(std::string path) {
  return {Case::containingApplicationBundleIdentifierMissing, Values(std::move(path))};
}

Refusal Refusal::bundleIdentifierMismatch(std::string requested, std::string containing) {
  return {Case::bundleIdentifierMismatch, Values(Pair(std::move(requested), std::move(containing)))};
}

Refusal Refusal::invalidContainingApplicationBuild(std::string rawValue) {
  return {Case::invalidContainingApplicationBuild, Values(std::move(rawValue))};
}

Refusal Refusal::codeSignatureMetadataUnreadable(std::int32_t exitStatus, std::string output) {
  return {Case::codeSignatureMetadataUnreadable, Values(Output(exitStatus, std::move(output)))};
}

Refusal Refusal::teamIdentifierUnavailable(std::string output) {
  return {Case::teamIdentifierUnavailable, Values(std::move(output))};
}

Refusal Refusal::teamIdentifierMismatch(std::string requested, std::string containing) {
  return {Case::teamIdentifierMismatch, Values(Pair(std::move(requested), std::move(containing)))};
}

Refusal Refusal::failureReportPathNotAllowed(std::string requestedPath,
                                             std::vector<std::string> allowedPaths) {
  return {Case::failureReportPathNotAllowed,
          Values(Paths(std::move(requestedPath), std::move(allowedPaths)))};
}

Refusal Refusal::hostProcessIdentifierUnavailable(std::int32_t receivedValue) {
  return {Case::hostProcessIdentifierUnavailable, Values(receivedValue)};
}

Refusal Refusal::missingHostIdentity() { return {Case::missingHostIdentity, Values(std::monostate())}; }

std::string Refusal::details() const {
  const Template& parts = templates.at(static_cast<std::size_t>(case_));
  std::string first;
  std::string second;
  if (const auto* fields = std::get_if<Fields>(&values_)) {
    first = fieldList(*fields);
  } else if (const auto* text = std::get_if<std::string>(&values_)) {
    first = case_ == Case::teamIdentifierUnavailable ? truncatedOutput(*text) : escapedValue(*text);
  } else if (const auto* pair = std::get_if<Pair>(&values_)) {
    first = escapedValue(pair->first);
    second = escapedValue(pair->second);
  } else if (const auto* output = std::get_if<Output>(&values_)) {
    first = std::to_string(output->first);
    second = truncatedOutput(output->second);
  } else if (const auto* paths = std::get_if<Paths>(&values_)) {
    first = escapedValue(paths->first);
    second = escapedList(paths->second);
  } else if (const auto* number = std::get_if<std::int32_t>(&values_)) {
    first = std::to_string(*number);
  }
  std::string text(parts.sentence);
  text.append(parts.firstKey).append(first).append(parts.secondKey).append(second);
  return text;
}

BridgedError Refusal::bridged() const {
  return {"PellamUpdatesAppKitUI.OrvoAppBundleInstallerLaunchRefusal", static_cast<std::int64_t>(case_),
          description_};
}

}  // namespace pellam
