#include "launcher-protocol/helper_command_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace pellam {
namespace {

using Problem = HelperCommandLineError::Problem;
using Arguments = std::vector<std::string>;

OrvoAppBundleReplacementRequest fullRequest() {
  OrvoAppBundleReplacementRequest request;
  request.stagedApplicationURL = "/tmp/stage d/Ünïcode.app";
  request.installedApplicationURL = "/Applications/Editor.app";
  request.helperExecutableURL = "/Applications/Editor.app/Contents/MacOS/PellamUpdateInstaller";
  request.hostIdentity =
      OrvoAppBundleUpdateHostIdentity{"com.example.Editor", "1.2", 42, "TEAM123456", false};
  request.shouldRequestAuthorizationIfNeeded = true;
  request.launchUserContext = OrvoAppBundleLaunchdUserContext{4294967295U, 20, "ada", "/Users/ada"};
  request.failureReportURL = "/Users/ada/report.plist";
  request.failureReportAttemptIdentifier = "attempt";
  return request;
}

const Arguments fullArguments = {"--staged-app",
                                 "/tmp/stage d/Ünïcode.app",
                                 "--installed-app",
                                 "/Applications/Editor.app",
                                 "--host-pid",
                                 "77",
                                 "--bundle-id",
                                 "com.example.Editor",
                                 "--app-version",
                                 "1.2",
                                 "--app-build",
                                 "42",
                                 "--allows-same-build-replacement",
                                 "0",
                                 "--expected-team-id",
                                 "TEAM123456",
                                 "--authorize-if-needed",
                                 "--launch-user-id",
                                 "4294967295",
                                 "--launch-group-id",
                                 "20",
                                 "--launch-user-name",
                                 "ada",
                                 "--launch-user-home",
                                 "/Users/ada",
                                 "--failure-report-url",
                                 "/Users/ada/report.plist",
                                 "--failure-report-attempt-id",
                                 "attempt"};

TEST(HelperCommandLine, WritesEveryOptionInItsPlace) {
  EXPECT_EQ(fullRequest().helperArguments(77, std::nullopt, std::nullopt), fullArguments);
}

TEST(HelperCommandLine, OmitsWhatTheRequestDoesNotHaveAndLetsArgumentsOverride) {
  OrvoAppBundleReplacementRequest request;
  request.stagedApplicationURL = "/s.app";
  request.installedApplicationURL = "/i.app";
  EXPECT_EQ(request.helperArguments(1, std::nullopt, std::nullopt),
            (Arguments{"--staged-app", "/s.app", "--installed-app", "/i.app", "--host-pid", "1"}));

  request = fullRequest();
  request.hostIdentity->expectedTeamIdentifier.reset();
  request.hostIdentity->allowsSameBuildReplacement = true;
  const Arguments arguments = request.helperArguments(
      1, OrvoAppBundleLaunchdUserContext{5, 6, "bea", "/home/bea"}, std::filesystem::path("/other.plist"));
  EXPECT_EQ(
      (Arguments{arguments.begin() + 12, arguments.end()}),
      (Arguments{"--allows-same-build-replacement", "1", "--authorize-if-needed", "--launch-user-id", "5",
                 "--launch-group-id", "6", "--launch-user-name", "bea", "--launch-user-home", "/home/bea",
                 "--failure-report-url", "/other.plist", "--failure-report-attempt-id", "attempt"}));
}

TEST(HelperCommandLine, ParsesBackToTheSameRequest) {
  OrvoAppBundleReplacementRequest expected = fullRequest();
  expected.helperExecutableURL.reset();
  const HelperCommandLine line = parseHelperCommandLine(fullArguments);
  EXPECT_EQ(line.request, expected);
  EXPECT_EQ(line.hostProcessIdentifier, 77);

  OrvoAppBundleReplacementRequest bare;
  bare.stagedApplicationURL = "/s.app";
  bare.installedApplicationURL = "/i.app";
  EXPECT_EQ(parseHelperCommandLine(bare.helperArguments(1, std::nullopt, std::nullopt)).request, bare);
}

struct Refused {
  const char* name;
  Arguments change;  // option and value to replace or append; a lone option is removed
  Problem problem;
  const char* option;
  const char* text;
};

Arguments changed(const Arguments& change) {
  Arguments arguments = fullArguments;
  const auto found = std::find(arguments.begin(), arguments.end(), change.front());
  if (change.size() == 1 && found != arguments.end()) {
    arguments.erase(found, found + 2);
  } else if (change.size() == 2 && found != arguments.end()) {
    *(found + 1) = change.back();
  } else {
    arguments.insert(arguments.end(), change.begin(), change.end());
  }
  return arguments;
}

TEST(HelperCommandLine, RefusesEverythingElseWithOneClearLine) {
  const std::vector<Refused> cases = {
      {"unknown", {"--force"}, Problem::unknownOption, "--force", "unknown option: --force"},
      {"bare word", {"word\nline"}, Problem::unknownOption, "word\nline", "unknown option: word\\nline"},
      {"abbreviated", {"--staged", "/x"}, Problem::unknownOption, "--staged", "unknown option: --staged"},
      {"equals form",
       {"--staged-app=/x"},
       Problem::unknownOption,
       "--staged-app=/x",
       "unknown option: --staged-app=/x"},
      {"repeated",
       {"--authorize-if-needed", "--authorize-if-needed", "x"},
       Problem::repeatedOption,
       "--authorize-if-needed",
       "option given more than once: --authorize-if-needed"},
      {"no staged",
       {"--staged-app"},
       Problem::missingOption,
       "--staged-app",
       "required option is missing: --staged-app"},
      {"no installed",
       {"--installed-app"},
       Problem::missingOption,
       "--installed-app",
       "required option is missing: --installed-app"},
      {"no host",
       {"--host-pid"},
       Problem::missingOption,
       "--host-pid",
       "required option is missing: --host-pid"},
      {"empty path",
       {"--staged-app", ""},
       Problem::invalidValue,
       "--staged-app",
       "option --staged-app needs an absolute path, not: <empty>"},
      {"relative path",
       {"--installed-app", "Editor.app"},
       Problem::invalidValue,
       "--installed-app",
       "option --installed-app needs an absolute path, not: Editor.app"},
      {"relative report",
       {"--failure-report-url", "file:///r"},
       Problem::invalidValue,
       "--failure-report-url",
       "option --failure-report-url needs an absolute path, not: file:///r"},
      {"host zero",
       {"--host-pid", "0"},
       Problem::invalidValue,
       "--host-pid",
       "option --host-pid needs a decimal process identifier of 1 or more, not: 0"},
      {"host word",
       {"--host-pid", "12x"},
       Problem::invalidValue,
       "--host-pid",
       "option --host-pid needs a decimal process identifier of 1 or more, not: 12x"},
      {"host too large",
       {"--host-pid", "2147483648"},
       Problem::invalidValue,
       "--host-pid",
       "option --host-pid needs a decimal process identifier of 1 or more, not: 2147483648"},
      {"build",
       {"--app-build", "1.2"},
       Problem::invalidValue,
       "--app-build",
       "option --app-build needs a decimal integer, not: 1.2"},
      {"same build",
       {"--allows-same-build-replacement", "true"},
       Problem::invalidValue,
       "--allows-same-build-replacement",
       "option --allows-same-build-replacement needs 0 or 1, not: true"},
      {"user",
       {"--launch-user-id", "4294967296"},
       Problem::invalidValue,
       "--launch-user-id",
       "option --launch-user-id needs a decimal user identifier, not: 4294967296"},
      {"group",
       {"--launch-group-id", "-1"},
       Problem::invalidValue,
       "--launch-group-id",
       "option --launch-group-id needs a decimal group identifier, not: -1"},
      {"identity without identifier",
       {"--bundle-id"},
       Problem::missingOption,
       "--bundle-id",
       "required option is missing: --bundle-id"},
      {"identity without rule",
       {"--allows-same-build-replacement"},
       Problem::missingOption,
       "--allows-same-build-replacement",
       "required option is missing: --allows-same-build-replacement"},
      {"user without home",
       {"--launch-user-home"},
       Problem::missingOption,
       "--launch-user-home",
       "required option is missing: --launch-user-home"},
  };
  for (const Refused& refused : cases) {
    SCOPED_TRACE(refused.name);
    try {
      (void)parseHelperCommandLine(changed(refused.change));
      ADD_FAILURE() << "accepted";
    } catch (const HelperCommandLineError& error) {
      EXPECT_EQ(error.problem(), refused.problem);
      EXPECT_EQ(error.option(), refused.option);
      EXPECT_STREQ(error.what(), refused.text);
    }
  }
}

TEST(HelperCommandLine, RefusesAnOptionWhoseValueIsCutOff) {
  for (std::size_t length = 0; length < fullArguments.size(); ++length) {
    const std::span<const std::string> part(fullArguments.data(), length);
    const bool endsInOption =
        length > 0 && part.back().starts_with("--") && part.back() != "--authorize-if-needed";
    try {
      const HelperCommandLine line = parseHelperCommandLine(part);
      // Whole groups may be absent at the end; what is there must have been taken as written.
      EXPECT_FALSE(endsInOption) << length;
      EXPECT_EQ(line.request.helperArguments(77, std::nullopt, std::nullopt),
                Arguments(part.begin(), part.end()));
    } catch (const HelperCommandLineError& error) {
      if (endsInOption) {
        EXPECT_EQ(error.problem(), Problem::missingValue) << length;
        EXPECT_EQ(error.option(), part.back());
      } else {
        EXPECT_EQ(error.problem(), Problem::missingOption) << length;
      }
    }
  }
}

}  // namespace
}  // namespace pellam
