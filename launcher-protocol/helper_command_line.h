#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "launcher-protocol/replacement_request.h"
#include "pellam/bridged_error.h"

namespace pellam {

// What the installer helper is asked to do.
struct HelperCommandLine {
  OrvoAppBundleReplacementRequest request;  // without a helper executable
  std::int32_t hostProcessIdentifier = 0;   // 1 or more

  friend bool operator==(const HelperCommandLine&, const HelperCommandLine&) = default;
};

// A command line that the helper does not accept. what() is one line that names the offending option. Domain
// "Pellam.HelperCommandLine", code = the problem's number.
class HelperCommandLineError : public PellamError {
 public:
  enum class Problem {
    unknownOption = 0,
    missingValue = 1,
    invalidValue = 2,
    repeatedOption = 3,
    missingOption = 4,
  };

  HelperCommandLineError(Problem problem, std::string option, std::string text)
      : problem_(problem), option_(std::move(option)), text_(std::move(text)) {}

  [[nodiscard]] Problem problem() const { return problem_; }
  [[nodiscard]] const std::string& option() const { return option_; }
  [[nodiscard]] BridgedError bridged() const override {
    return {"Pellam.HelperCommandLine", static_cast<std::int64_t>(problem_), text_};
  }
  [[nodiscard]] const char* what() const noexcept override { return text_.c_str(); }

 private:
  Problem problem_;
  std::string option_;
  std::string text_;
};

// The inverse of OrvoAppBundleReplacementRequest::helperArguments: takes the arguments without the program's
// path, in any order, each option at most once. Paths must be absolute; the options of the host identity, and
// those of the launch user, come all together or not at all. Throws HelperCommandLineError for the first
// problem; nothing outside the arguments is looked at.
[[nodiscard]] HelperCommandLine parseHelperCommandLine(std::span<const std::string> arguments);

}  // namespace pellam
