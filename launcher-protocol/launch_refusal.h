#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "pellam/bridged_error.h"

namespace pellam {

// Why the launcher service refuses a replacement message before anything is launched. Thrown by value,
// compared by value: equal when the case and everything it carries are equal. The bridged code is the number
// given below; numbers are part of the wire contract and are never reused. Nothing is retried.
class OrvoAppBundleInstallerLaunchRefusal : public PellamError {
 public:
  enum class Case {
    malformedMessage = 0,
    invalidLaunchUserContext = 1,
    serviceNotEmbeddedInApplication = 2,
    installedApplicationPathMismatch = 3,
    containingApplicationUnreadable = 4,
    containingApplicationBundleIdentifierMissing = 5,
    bundleIdentifierMismatch = 6,
    invalidContainingApplicationBuild = 7,
    codeSignatureMetadataUnreadable = 8,
    teamIdentifierUnavailable = 9,
    teamIdentifierMismatch = 10,
    failureReportPathNotAllowed = 11,
    hostProcessIdentifierUnavailable = 12,
    missingHostIdentity = 13,
  };

  // What is wrong with one key of the message.
  struct FieldProblem {
    std::string key;
    std::optional<std::string> invalidRawValue;  // absent: the key is missing

    [[nodiscard]] static FieldProblem missing(std::string key) { return {std::move(key), std::nullopt}; }
    [[nodiscard]] static FieldProblem invalid(std::string key, std::string rawValue) {
      return {std::move(key), std::move(rawValue)};
    }
    friend bool operator==(const FieldProblem&, const FieldProblem&) = default;
  };

  using Refusal = OrvoAppBundleInstallerLaunchRefusal;
  [[nodiscard]] static Refusal malformedMessage(std::vector<FieldProblem> fields);
  [[nodiscard]] static Refusal invalidLaunchUserContext(std::vector<FieldProblem> fields);
  [[nodiscard]] static Refusal serviceNotEmbeddedInApplication(std::string serviceBundlePath);
  [[nodiscard]] static Refusal installedApplicationPathMismatch(std::string requestedPath,
                                                                std::string containingPath);
  [[nodiscard]] static Refusal containingApplicationUnreadable(std::string path);
  [[nodiscard]] static Refusal containingApplicationBundleIdentifierMissing(std::string path);
  [[nodiscard]] static Refusal bundleIdentifierMismatch(std::string requested, std::string containing);
  [[nodiscard]] static Refusal invalidContainingApplicationBuild(std::string rawValue);
  [[nodiscard]] static Refusal codeSignatureMetadataUnreadable(std::int32_t exitStatus, std::string output);
  [[nodiscard]] static Refusal teamIdentifierUnavailable(std::string output);
  [[nodiscard]] static Refusal teamIdentifierMismatch(std::string requested, std::string containing);
  [[nodiscard]] static Refusal failureReportPathNotAllowed(std::string requestedPath,
                                                           std::vector<std::string> allowedPaths);
  [[nodiscard]] static Refusal hostProcessIdentifierUnavailable(std::int32_t receivedValue);
  [[nodiscard]] static Refusal missingHostIdentity();

  [[nodiscard]] Case refusalCase() const { return case_; }
  // The full text: one fixed sentence followed by key=value details. The error description is the same text.
  [[nodiscard]] const std::string& description() const { return description_; }

  [[nodiscard]] BridgedError bridged() const override;
  [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

  friend bool operator==(const Refusal& left, const Refusal& right) {
    return left.case_ == right.case_ && left.values_ == right.values_;
  }

 private:
  using Fields = std::vector<FieldProblem>;
  using Pair = std::pair<std::string, std::string>;
  using Output = std::pair<std::int32_t, std::string>;
  using Paths = std::pair<std::string, std::vector<std::string>>;
  using Values = std::variant<std::monostate, Fields, std::string, Pair, Output, Paths, std::int32_t>;

  OrvoAppBundleInstallerLaunchRefusal(Case refusalCase, Values values);
  [[nodiscard]] std::string details() const;

  Case case_;
  Values values_;
  std::string description_;
};

}  // namespace pellam
