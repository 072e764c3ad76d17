#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "pellam/bridged_error.h"
#include "pellam/failure_diagnostic.h"
#include "pellam/launch_phase.h"

namespace [[gnu::visibility("default")]] pellam {

// Every failure that ends an install attempt, whichever of the three processes met it. Thrown by value and
// compared by value: equal when the case and the payload are equal. The bridged code is the position of the
// case in this list, counted from 0, in the domain "PellamCore.OrvoUpdateInstallerError"; the order is part
// of the contract. Cancellation by the caller is OperationCancelled, never a case of this type.
//
// For example:
//
//     try {
//       throw OrvoUpdateInstallerError::authorizationDenied(-60005);
//     } catch (const OrvoUpdateInstallerError& error) {
//       assert(error.errorCase() == OrvoUpdateInstallerError::Case::authorizationDenied);
//       assert(*error.status() == -60005);
//       assert(error.bridged().code == 3);
//     }
class OrvoUpdateInstallerError : public PellamError {
 public:
  enum class Case {
    replacementHelperLaunchFailed,
    replacementHelperProtocolFailure,
    replacementHelperLaunchTimedOut,
    authorizationDenied,
    authorizationCancelled,
    missingArchiveURL,
    downloadFailed,
    writeFailed,
    unzipFailed,
    launchFailed,
    invalidArchive,
    noAppBundleFound,
    multipleAppBundlesFound,
    bundleIdentifierMismatch,
    teamIdentifierMismatch,
    nonNewerBundleVersion,
    minimumOSVersionUnsupported,
    missingExecutable,
    signatureValidationFailed,
    replacementHelperUnavailable,
    replacementLaunchFailed,
    destinationNotWritable,
    replacementFailed,
    relaunchFailed,
  };

  // The cases that carry nothing. Passing one of the first five is a programming error (std::logic_error).
  OrvoUpdateInstallerError(Case plainCase);  // NOLINT(google-explicit-constructor)

  [[nodiscard]] static OrvoUpdateInstallerError replacementHelperLaunchFailed(
      OrvoAppBundleInstallerFailureDiagnostic diagnostic);
  [[nodiscard]] static OrvoUpdateInstallerError replacementHelperProtocolFailure(
      OrvoAppBundleInstallerFailureDiagnostic diagnostic);
  [[nodiscard]] static OrvoUpdateInstallerError replacementHelperLaunchTimedOut(
      OrvoAppBundleInstallerLaunchPhase phase);
  [[nodiscard]] static OrvoUpdateInstallerError authorizationDenied(std::int32_t status);
  [[nodiscard]] static OrvoUpdateInstallerError authorizationCancelled(std::int32_t status);

  [[nodiscard]] Case errorCase() const { return case_; }
  // The payload of the case, or null when the case carries another one.
  [[nodiscard]] const OrvoAppBundleInstallerFailureDiagnostic* diagnostic() const;
  [[nodiscard]] const OrvoAppBundleInstallerLaunchPhase* phase() const;
  [[nodiscard]] const std::int32_t* status() const;

  // The name of the case as it is spelled above.
  [[nodiscard]] std::string_view caseName() const;
  // The case name and its payload on one line, for logs and for messages on standard error.
  [[nodiscard]] std::string summary() const;

  [[nodiscard]] BridgedError bridged() const override;
  [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

  friend bool operator==(const OrvoUpdateInstallerError& left, const OrvoUpdateInstallerError& right) {
    return left.case_ == right.case_ && left.payload_ == right.payload_;
  }

 private:
  using Payload = std::variant<std::monostate, OrvoAppBundleInstallerFailureDiagnostic,
                               OrvoAppBundleInstallerLaunchPhase, std::int32_t>;
  OrvoUpdateInstallerError(Case errorCase, Payload payload);

  Case case_;
  Payload payload_;
  std::string what_;
};

}  // namespace pellam
