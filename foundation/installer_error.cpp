#include "pellam/installer_error.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace pellam {

namespace {

constexpr std::array<std::string_view, 24> caseNames = {
    "replacementHelperLaunchFailed",
    "replacementHelperProtocolFailure",
    "replacementHelperLaunchTimedOut",
    "authorizationDenied",
    "authorizationCancelled",
    "missingArchiveURL",
    "downloadFailed",
    "writeFailed",
    "unzipFailed",
    "launchFailed",
    "invalidArchive",
    "noAppBundleFound",
    "multipleAppBundlesFound",
    "bundleIdentifierMismatch",
    "teamIdentifierMismatch",
    "nonNewerBundleVersion",
    "minimumOSVersionUnsupported",
    "missingExecutable",
    "signatureValidationFailed",
    "replacementHelperUnavailable",
    "replacementLaunchFailed",
    "destinationNotWritable",
    "replacementFailed",
    "relaunchFailed",
};

constexpr std::string_view domain = "PellamCore.OrvoUpdateInstallerError";

}  // namespace

OrvoUpdateInstallerError::OrvoUpdateInstallerError(Case plainCase)
    : OrvoUpdateInstallerError(plainCase, std::monostate()) {
  if (plainCase <= Case::authorizationCancelled)
    throw std::logic_error("this installer error carries a value");
}

OrvoUpdateInstallerError::OrvoUpdateInstallerError(Case errorCase, Payload payload)
    : case_(errorCase), payload_(std::move(payload)), what_(bridged().description) {}

OrvoUpdateInstallerError OrvoUpdateInstallerError::replacementHelperLaunchFailed(
    OrvoAppBundleInstallerFailureDiagnostic diagnostic) {
  return {Case::replacementHelperLaunchFailed, Payload(std::move(diagnostic))};
}

OrvoUpdateInstallerError OrvoUpdateInstallerError::replacementHelperProtocolFailure(
    OrvoAppBundleInstallerFailureDiagnostic diagnostic) {
  return {Case::replacementHelperProtocolFailure, Payload(std::move(diagnostic))};
}

OrvoUpdateInstallerError OrvoUpdateInstallerError::replacementHelperLaunchTimedOut(
    OrvoAppBundleInstallerLaunchPhase phase) {
  return {Case::replacementHelperLaunchTimedOut, Payload(phase)};
}

OrvoUpdateInstallerError OrvoUpdateInstallerError::authorizationDenied(std::int32_t status) {
  return {Case::authorizationDenied, Payload(status)};
}

OrvoUpdateInstallerError OrvoUpdateInstallerError::authorizationCancelled(std::int32_t status) {
  return {Case::authorizationCancelled, Payload(status)};
}

const OrvoAppBundleInstallerFailureDiagnostic* OrvoUpdateInstallerError::diagnostic() const {
  return std::get_if<OrvoAppBundleInstallerFailureDiagnostic>(&payload_);
}

const OrvoAppBundleInstallerLaunchPhase* OrvoUpdateInstallerError::phase() const {
  return std::get_if<OrvoAppBundleInstallerLaunchPhase>(&payload_);
}

const std::int32_t* OrvoUpdateInstallerError::status() const { return std::get_if<std::int32_t>(&payload_); }

std::string_view OrvoUpdateInstallerError::caseName() const {
  return caseNames.at(static_cast<std::size_t>(case_));
}

std::string OrvoUpdateInstallerError::summary() const {
  std::string text(caseName());
  if (diagnostic() != nullptr) text += " " + diagnostic()->description();
  if (phase() != nullptr) text += " phase=" + std::string(rawValue(*phase()));
  if (status() != nullptr) text += " status=" + std::to_string(*status());
  return text;
}

BridgedError OrvoUpdateInstallerError::bridged() const {
  const auto code = static_cast<std::int64_t>(case_);
  return {std::string(domain), code,
          "The operation couldn\u2019t be completed. (" + std::string(domain) + " error " +
              std::to_string(code) + ".)"};
}

}  // namespace pellam
