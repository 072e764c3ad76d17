#include "launcher-protocol/helper_command_line.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "foundation/decimal.h"
#include "launcher-protocol/diagnostic_text.h"
#include "launcher-protocol/helper_options.h"
#include "launcher-protocol/replacement_message.h"

namespace pellam {

namespace {

using Problem = HelperCommandLineError::Problem;

constexpr std::array<std::string_view, 14> valueOptions = {
    option::stagedApplication,
    option::installedApplication,
    option::hostProcess,
    option::bundleIdentifier,
    option::applicationVersion,
    option::applicationBuild,
    option::expectedTeamIdentifier,
    option::allowsSameBuildReplacement,
    option::launchUserIdentifier,
    option::launchGroupIdentifier,
    option::launchUserName,
    option::launchUserHome,
    option::failureReport,
    option::failureReportAttempt,
};

// The options and their values as written, before anything is interpreted.
class Options {
 public:
  explicit Options(std::span<const std::string> arguments) {
    for (std::size_t index = 0; index < arguments.size(); ++index) {
      const std::string& name = arguments[index];
      const bool isFlag = name == option::authorizeIfNeeded;
      if (!isFlag && std::find(valueOptions.begin(), valueOptions.end(), name) == valueOptions.end()) {
        const std::string shown = truncatedOutput(name);
        throw HelperCommandLineError(Problem::unknownOption, name, "unknown option: " + shown);
      }
      if (values_.contains(name)) {
        throw HelperCommandLineError(Problem::repeatedOption, name, "option given more than once: " + name);
      }
      if (!isFlag && index + 1 == arguments.size()) {
        throw HelperCommandLineError(Problem::missingValue, name, "option without a value: " + name);
      }
      values_.emplace(name, isFlag ? std::string() : arguments[++index]);
    }
  }

  [[nodiscard]] bool has(const char* name) const { return values_.contains(name); }

  [[nodiscard]] std::optional<std::string> text(const char* name) const {
    const auto found = values_.find(name);
    if (found == values_.end()) return std::nullopt;
    return found->second;
  }

  [[nodiscard]] std::string requiredText(const char* name) const {
    std::optional<std::string> value = text(name);
    if (!value) {
      throw HelperCommandLineError(Problem::missingOption, name,
                                   std::string("required option is missing: ") + name);
    }
    return *std::move(value);
  }

  [[nodiscard]] std::filesystem::path requiredPath(const char* name) const {
    const std::string value = requiredText(name);
    if (!value.starts_with('/')) invalid(name, value, "an absolute path");
    return locationFromPathText(value);
  }

  template <typename Integer>
  [[nodiscard]] Integer requiredNumber(const char* name, const char* wanted) const {
    const std::string value = requiredText(name);
    const std::optional<Integer> number = parseDecimal<Integer>(value);
    if (!number) invalid(name, value, wanted);
    return *number;
  }

  [[noreturn]] static void invalid(const char* name, const std::string& value, const char* wanted) {
    throw HelperCommandLineError(
        Problem::invalidValue, name,
        std::string("option ") + name + " needs " + wanted + ", not: " + truncatedOutput(value));
  }

 private:
  std::map<std::string, std::string, std::less<>> values_;
};

std::optional<OrvoAppBundleUpdateHostIdentity> parseHostIdentity(const Options& options) {
  constexpr std::array names = {option::bundleIdentifier, option::applicationVersion,
                                option::applicationBuild, option::allowsSameBuildReplacement,
                                option::expectedTeamIdentifier};
  if (std::none_of(names.begin(), names.end(), [&](const char* name) { return options.has(name); })) {
    return std::nullopt;
  }
  OrvoAppBundleUpdateHostIdentity identity;
  identity.bundleIdentifier = options.requiredText(option::bundleIdentifier);
  identity.applicationVersion = options.requiredText(option::applicationVersion);
  identity.applicationBuild =
      options.requiredNumber<std::int64_t>(option::applicationBuild, "a decimal integer");
  const std::string allows = options.requiredText(option::allowsSameBuildReplacement);
  if (allows != "0" && allows != "1") {
    Options::invalid(option::allowsSameBuildReplacement, allows, "0 or 1");
  }
  identity.allowsSameBuildReplacement = allows == "1";
  identity.expectedTeamIdentifier = options.text(option::expectedTeamIdentifier);
  return identity;
}

std::optional<OrvoAppBundleLaunchdUserContext> parseLaunchUser(const Options& options) {
  constexpr std::array names = {option::launchUserIdentifier, option::launchGroupIdentifier,
                                option::launchUserName, option::launchUserHome};
  if (std::none_of(names.begin(), names.end(), [&](const char* name) { return options.has(name); })) {
    return std::nullopt;
  }
  OrvoAppBundleLaunchdUserContext user;
  user.userIdentifier =
      options.requiredNumber<std::uint32_t>(option::launchUserIdentifier, "a decimal user identifier");
  user.groupIdentifier =
      options.requiredNumber<std::uint32_t>(option::launchGroupIdentifier, "a decimal group identifier");
  user.userName = options.requiredText(option::launchUserName);
  user.homeDirectory = options.requiredText(option::launchUserHome);
  return user;
}

}  // namespace

HelperCommandLine parseHelperCommandLine(std::span<const std::string> arguments) {
  const Options options(arguments);
  HelperCommandLine line;
  OrvoAppBundleReplacementRequest& request = line.request;
  request.stagedApplicationURL = options.requiredPath(option::stagedApplication);
  request.installedApplicationURL = options.requiredPath(option::installedApplication);
  constexpr const char* wantedProcess = "a decimal process identifier of 1 or more";
  line.hostProcessIdentifier = options.requiredNumber<std::int32_t>(option::hostProcess, wantedProcess);
  if (line.hostProcessIdentifier < 1) {
    Options::invalid(option::hostProcess, options.requiredText(option::hostProcess), wantedProcess);
  }
  request.hostIdentity = parseHostIdentity(options);
  request.shouldRequestAuthorizationIfNeeded = options.has(option::authorizeIfNeeded);
  request.launchUserContext = parseLaunchUser(options);
  if (options.has(option::failureReport)) {
    request.failureReportURL = options.requiredPath(option::failureReport);
  }
  request.failureReportAttemptIdentifier = options.text(option::failureReportAttempt);
  return line;
}

}  // namespace pellam
