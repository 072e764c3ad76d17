#include "launcher-protocol/launch_refusal.h"

#include <gtest/gtest.h>

#include "launcher-protocol/diagnostic_text.h"

namespace pellam {
namespace {

using Refusal = OrvoAppBundleInstallerLaunchRefusal;
using Problem = Refusal::FieldProblem;

struct Row {
  Refusal refusal;
  std::int64_t code;
  const char* text;
};

// Codes and texts reach hosts of other releases and support staff: this list only ever grows.
TEST(LaunchRefusal, HasItsNumberAndItsExactText) {
  const Row rows[] = {
      {Refusal::malformedMessage(
           {Problem::missing("stagedApplicationPath"), Problem::invalid("applicationBuild", "x")}),
       0,
       "The launcher message is missing required values or contains invalid values; "
       "fields=stagedApplicationPath(missing),applicationBuild(invalid: x)"},
      {Refusal::malformedMessage({}), 0,
       "The launcher message is missing required values or contains invalid values; fields=<empty>"},
      {Refusal::malformedMessage({Problem::missing(""), Problem::invalid("a\nb", "")}), 0,
       "The launcher message is missing required values or contains invalid values; "
       "fields=<empty>(missing),a\\nb(invalid: <empty>)"},
      {Refusal::invalidLaunchUserContext({Problem::invalid("launchUserName", "a\nb\\n")}), 1,
       "The launch user context is incomplete or contains invalid values; "
       "fields=launchUserName(invalid: a\\nb\\n)"},
      {Refusal::serviceNotEmbeddedInApplication("/a\r\nb"), 2,
       "This launcher service is not embedded in an app bundle; serviceBundlePath=/a\\r\\nb"},
      {Refusal::installedApplicationPathMismatch("", "/b"), 3,
       "The installed app path sent by the host does not match the app that embeds this service; "
       "requestedPath=<empty> containingPath=/b"},
      {Refusal::containingApplicationUnreadable("/b"), 4,
       "The app bundle that embeds this service could not be read; path=/b"},
      {Refusal::containingApplicationBundleIdentifierMissing("/b"), 5,
       "The app that embeds this service has no bundle identifier; path=/b"},
      {Refusal::bundleIdentifierMismatch("x", "y"), 6,
       "The bundle identifier sent by the host does not match the app that embeds this service; "
       "requestedBundleIdentifier=x containingBundleIdentifier=y"},
      {Refusal::invalidContainingApplicationBuild("1.2"), 7,
       "The app that embeds this service has an invalid CFBundleVersion; rawValue=1.2"},
      {Refusal::codeSignatureMetadataUnreadable(-3, " \nno such\nfile\n"), 8,
       "The code signature metadata for the app that embeds this service could not be read; "
       "status=-3 output=no such\\nfile"},
      {Refusal::teamIdentifierUnavailable(" \n"), 9,
       "The code signature metadata for the app that embeds this service has no usable TeamIdentifier; "
       "output=<empty>"},
      {Refusal::teamIdentifierMismatch("A", ""), 10,
       "The Team ID sent by the host does not match the app that embeds this service; "
       "requestedTeamIdentifier=A containingTeamIdentifier=<empty>"},
      {Refusal::failureReportPathNotAllowed("/r", {"/1", "", "/3\n"}), 11,
       "The failure report path sent by the host is not allowed for the verified app; "
       "requestedPath=/r allowedPaths=/1,<empty>,/3\\n"},
      {Refusal::failureReportPathNotAllowed("/r", {}), 11,
       "The failure report path sent by the host is not allowed for the verified app; "
       "requestedPath=/r allowedPaths=<empty>"},
      {Refusal::hostProcessIdentifierUnavailable(0), 12,
       "The trusted host process identifier is unavailable; receivedValue=0"},
      {Refusal::missingHostIdentity(), 13,
       "The launcher message does not contain the host app identity required by this service"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(
        row.refusal.bridged(),
        (BridgedError{"PellamUpdatesAppKitUI.OrvoAppBundleInstallerLaunchRefusal", row.code, row.text}));
    EXPECT_EQ(row.refusal.description(), row.text);
  }
}

TEST(LaunchRefusal, KeepsTheWholeOutputAndShowsFiveHundredCharacters) {
  // A family emoji is one user-perceived character of 18 bytes; a line feed becomes two characters.
  const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
  std::string exactly500;
  for (int count = 0; count < 498; ++count) exactly500 += family;
  EXPECT_EQ(truncatedOutput("  " + exactly500 + "\nx"), exactly500 + "\\n...");
  EXPECT_EQ(truncatedOutput(exactly500 + "xy"), exactly500 + "xy");

  const std::string longOutput(501, 'o');
  const auto refusal = Refusal::teamIdentifierUnavailable(longOutput);
  EXPECT_TRUE(refusal.description().ends_with("output=" + std::string(500, 'o') + "..."));
  // Equality looks at the whole output, not at the shown part.
  EXPECT_NE(refusal, Refusal::teamIdentifierUnavailable(longOutput + "o"));
  EXPECT_EQ(refusal, Refusal::teamIdentifierUnavailable(longOutput));
  EXPECT_NE(Refusal::containingApplicationUnreadable("/b"),
            Refusal::containingApplicationBundleIdentifierMissing("/b"));
}

}  // namespace
}  // namespace pellam
