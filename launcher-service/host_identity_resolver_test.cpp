#include "launcher-service/host_identity_resolver.h"

#include <gtest/gtest.h>

#include "launcher-protocol/launch_refusal.h"
#include "tests/support/service_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using Refusal = OrvoAppBundleInstallerLaunchRefusal;

const std::string signedOutput = "Executable=/E.app/Contents/MacOS/E\nTeamIdentifier=TEAM123456\nSealed=2\n";

struct HostIdentity : testing::Test {
  std::shared_ptr<FakeBundles> bundles = std::make_shared<FakeBundles>();
  std::shared_ptr<ScriptedTools> tool = std::make_shared<ScriptedTools>();
  OrvoAppBundleUpdateHostIdentity requested{"com.example.E", "9.9", 999, std::nullopt, true};
  PropertyListDictionary information{{"CFBundleIdentifier", "com.example.E"},
                                     {"CFBundleShortVersionString", "1.2"},
                                     {"CFBundleVersion", "0042"}};

  HostIdentity() { tool->result.output = signedOutput; }

  OrvoAppBundleUpdateHostIdentity resolve() {
    bundles->bundles["/E.app"] = information;
    OrvoAppBundleInstallerLauncherServiceHostIdentityResolver resolver(bundles, tool);
    return resolver.makeHostIdentity("/E.app", requested);
  }
  std::optional<Refusal> refusal() {
    try {
      (void)resolve();
      return std::nullopt;
    } catch (const Refusal& refused) {
      return refused;
    }
  }
};

TEST_F(HostIdentity, IsTheBundlesOwnExceptForTheSameBuildWish) {
  EXPECT_EQ(resolve(), (OrvoAppBundleUpdateHostIdentity{"com.example.E", "1.2", 42, "TEAM123456", true}));
  EXPECT_EQ(tool->calls, std::vector<std::string>{"/usr/bin/codesign -dv --verbose=4 /E.app"});
  requested.expectedTeamIdentifier = "TEAM123456";
  requested.allowsSameBuildReplacement = false;
  information.set("CFBundleShortVersionString", 12);
  information.set("CFBundleVersion", "-7");
  EXPECT_EQ(resolve(), (OrvoAppBundleUpdateHostIdentity{"com.example.E", "", -7, "TEAM123456", false}));
}

TEST_F(HostIdentity, RefusesABundleThatIsNotReadableOrNotTheOneNamed) {
  OrvoAppBundleInstallerLauncherServiceHostIdentityResolver resolver(bundles, tool);
  EXPECT_THROW(
      {
        try {
          (void)resolver.makeHostIdentity("/E.app", requested);
        } catch (const Refusal& refused) {
          EXPECT_EQ(refused, Refusal::containingApplicationUnreadable("/E.app"));
          throw;
        }
      },
      Refusal);
  for (const PropertyListValue& identifier : {PropertyListValue(""), PropertyListValue(5)}) {
    information.set("CFBundleIdentifier", identifier);
    EXPECT_EQ(refusal(), Refusal::containingApplicationBundleIdentifierMissing("/E.app"));
  }
  information.set("CFBundleIdentifier", "com.example.e");
  EXPECT_EQ(refusal(), Refusal::bundleIdentifierMismatch("com.example.E", "com.example.e"));
  EXPECT_TRUE(tool->calls.empty());
}

TEST_F(HostIdentity, RefusesABuildThatIsNoDecimalText) {
  information.erase("CFBundleVersion");
  EXPECT_EQ(refusal(), Refusal::invalidContainingApplicationBuild("<missing>"));
  const std::pair<PropertyListValue, const char*> rows[] = {
      {"", ""},   {"1.2", "1.2"}, {" 1", " 1"}, {"9223372036854775808", "9223372036854775808"},
      {42, "42"}, {true, "true"}};
  for (const auto& [value, rawValue] : rows) {
    information.set("CFBundleVersion", value);
    EXPECT_EQ(refusal(), Refusal::invalidContainingApplicationBuild(rawValue));
  }
  EXPECT_TRUE(tool->calls.empty());
}

TEST_F(HostIdentity, RefusesASignatureWithoutAUsableTeam) {
  tool->result.terminationStatus = 1;
  tool->result.output = "code object is not signed at all\n";
  EXPECT_EQ(refusal(), Refusal::codeSignatureMetadataUnreadable(1, "code object is not signed at all\n"));

  tool->result.launchError = BridgedError{"NSPOSIXErrorDomain", 2, "No such file or directory"};
  EXPECT_EQ(refusal(), Refusal::codeSignatureMetadataUnreadable(1, "No such file or directory"));
  tool->result = {};

  // The first line counts, whatever follows; output that is no text is no output.
  for (const std::string output : {"", "TeamIdentifier=\n", "TeamIdentifier=not set\n",
                                   "TeamIdentifier=not set\nTeamIdentifier=TEAM123456\n",
                                   " TeamIdentifier=TEAM123456\n", "teamidentifier=TEAM123456\n"}) {
    tool->result.output = output;
    EXPECT_EQ(refusal(), Refusal::teamIdentifierUnavailable(output));
  }
  tool->result.output = "TeamIdentifier=TEAM123456\n\xff\n";
  EXPECT_EQ(refusal(), Refusal::teamIdentifierUnavailable(""));
}

TEST_F(HostIdentity, RefusesAnotherTeamThanTheHostExpects) {
  for (const char* expected : {"TEAM123457", "team123456", ""}) {
    requested.expectedTeamIdentifier = expected;
    EXPECT_EQ(refusal(), Refusal::teamIdentifierMismatch(expected, "TEAM123456"));
  }
}

}  // namespace
}  // namespace pellam
