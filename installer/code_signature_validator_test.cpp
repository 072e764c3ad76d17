#include "installer/code_signature_validator.h"

#include <gtest/gtest.h>

#include "pellam/installer_error.h"
#include "tests/support/replacement_fakes.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;

class ValidatorTest : public testing::Test {
 protected:
  ValidatorTest() {
    tools_->answers["--verify"] = ScriptedTools::ended(0, "");
    tools_->answers["-dv"] = ScriptedTools::ended(0, "Identifier=x\nTeamIdentifier=TEAM\n");
  }

  // "accepted", or the error's case; the lines that were logged are in lines_.
  std::string validate(const fs::path& bundle) {
    lines_.clear();
    tools_->calls.clear();
    OrvoAppBundleCodeSignatureValidator validator(makeSystemFileSystem(), tools_, process_,
                                                  [&](const std::string& line) { lines_.push_back(line); });
    try {
      validator.validateAppBundle(bundle, host_);
      return "accepted";
    } catch (const OrvoUpdateInstallerError& error) {
      return std::string(error.caseName());
    }
  }

  void expectLine(const std::string& text) {
    const std::string prefix = "OrvoAppBundleCodeSignatureValidator: ";
    EXPECT_EQ(lines_, std::vector<std::string>{prefix + text});
  }

  TemporaryFolder folder_;
  std::shared_ptr<ScriptedTools> tools_ = std::make_shared<ScriptedTools>();
  std::shared_ptr<ScriptedProcess> process_ = std::make_shared<ScriptedProcess>();
  OrvoAppBundleUpdateHostIdentity host_{"com.example.editor", "1.9", 19, std::nullopt, false};
  std::vector<std::string> lines_;
};

TEST_F(ValidatorTest, RefusesAnUnreadableInfoPlistWithoutALine) {
  fs::create_directories(folder_ / "None.app/Contents");
  folder_.write("Broken.app/Contents/Info.plist", "<plist><dict><key>a</key>");
  folder_.write("Array.app/Contents/Info.plist", "<plist version=\"1.0\"><array/></plist>");
  for (const char* name : {"Missing.app", "None.app", "Broken.app", "Array.app"}) {
    EXPECT_EQ(validate(folder_ / name), "invalidArchive") << name;
    EXPECT_TRUE(lines_.empty()) << name;
    EXPECT_TRUE(tools_->calls.empty()) << name;
  }
}

TEST_F(ValidatorTest, RefusesAnotherApplication) {
  const fs::path other = writeBundle(folder_, "Other.app", {.identifier = "com.example.Editor"});
  EXPECT_EQ(validate(other), "bundleIdentifierMismatch");
  expectLine(
      "bundle identifier mismatch expectedBundleID=com.example.editor actualBundleID=com.example.Editor"
      " stagedApp=" +
      other.string());
  const fs::path none = writeBundle(folder_, "None.app", {.identifier = ""});
  EXPECT_EQ(validate(none / ""), "bundleIdentifierMismatch");
  expectLine(
      "bundle identifier mismatch expectedBundleID=com.example.editor actualBundleID=<empty>"
      " stagedApp=" +
      none.string());
}

TEST_F(ValidatorTest, ComparesBuildsThenVersions) {
  const struct {
    const char* build;
    const char* version;
    bool allowsSameBuild;
    const char* line;  // null: accepted
  } cases[] = {
      {"20", "1.0", false, nullptr},
      {"+20", "1.0", false, nullptr},
      {"19", "1.9.1", false, nullptr},
      {"19", "1.0", true, nullptr},
      {"18", "3.0", true,
       "candidate build is older than host candidateVersion=3.0 candidateBuild=18 hostVersion=1.9 "
       "hostBuild=19"},
      {"1234a", "3.0", false,
       "candidate build is older than host candidateVersion=3.0 candidateBuild=1234a hostVersion=1.9 "
       "hostBuild=19"},
      {"", "", false,
       "candidate build is older than host candidateVersion=<empty> candidateBuild=<empty> hostVersion=1.9 "
       "hostBuild=19"},
      {"99999999999999999999", "3.0", false,
       "candidate build is older than host candidateVersion=3.0 candidateBuild=99999999999999999999 "
       "hostVersion=1.9 hostBuild=19"},
      {"19", "1.9", false,
       "candidate version is not newer candidateVersion=1.9 candidateBuild=19 hostVersion=1.9 hostBuild=19 "
       "allowsSameBuildReplacement=false"},
      {"019", "1.9b2", false,
       "candidate version is not newer candidateVersion=1.9b2 candidateBuild=19 hostVersion=1.9 hostBuild=19 "
       "allowsSameBuildReplacement=false"},
  };
  int number = 0;
  for (const auto& row : cases) {
    host_.allowsSameBuildReplacement = row.allowsSameBuild;
    const fs::path bundle =
        writeBundle(folder_, std::to_string(++number) + ".app", {.version = row.version, .build = row.build});
    EXPECT_EQ(validate(bundle), row.line == nullptr ? "accepted" : "nonNewerBundleVersion") << number;
    if (row.line != nullptr) expectLine(row.line);
  }
  // The second message shows the number, not the text.
  host_ = {"com.example.editor", "", 0, std::nullopt, false};
  EXPECT_EQ(validate(writeBundle(folder_, "Zero.app", {.version = "", .build = "beta"})),
            "nonNewerBundleVersion");
  expectLine(
      "candidate version is not newer candidateVersion=<empty> candidateBuild=0 hostVersion=<empty> "
      "hostBuild=0 allowsSameBuildReplacement=false");
}

TEST_F(ValidatorTest, ComparesTheMinimumSystemPieceByPiece) {
  using Result = ComparisonResult;
  const struct {
    const char* required;
    OperatingSystemVersion system;
    Result result;
  } cases[] = {
      {"13.5", {13, 5, 0}, Result::same},          {"13.5.1", {13, 5, 0}, Result::descending},
      {"14", {13, 6, 1}, Result::descending},      {"13.5.0.1", {13, 5, 0}, Result::descending},
      {"13.5.0.0", {13, 5, 0}, Result::same},      {"13.5.0.0.-1.9", {13, 5, 0}, Result::ascending},
      {"abc", {13, 5, 0}, Result::ascending},      {"13..1", {13, 5, 0}, Result::ascending},
      {".13.5.", {13, 5, 0}, Result::same},        {"13.x.9", {13, 0, 9}, Result::same},
      {"12.99.99", {13, 0, 0}, Result::ascending}, {"+13.5", {13, 5, 0}, Result::same},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(OrvoAppBundleCodeSignatureValidator::compareSystemVersion(row.required, row.system), row.result)
        << row.required;
  }
  EXPECT_EQ(validate(writeBundle(folder_, "New.app", {.minimumSystem = "13.5.1"})),
            "minimumOSVersionUnsupported");
  expectLine("minimum macOS version unsupported required=13.5.1 current=13.5.0");
  EXPECT_EQ(validate(writeBundle(folder_, "Same.app", {.minimumSystem = "13.5"})), "accepted");
}

TEST_F(ValidatorTest, NeedsTheMainExecutable) {
  const fs::path none = writeBundle(folder_, "None.app", {.executable = ""});
  EXPECT_EQ(validate(none), "missingExecutable");
  expectLine("missing CFBundleExecutable stagedApp=" + none.string());
  const fs::path other = writeBundle(folder_, "Other.app", {.executable = "Gone"});
  EXPECT_EQ(validate(other), "missingExecutable");
  expectLine("missing executable executableName=Gone expectedPath=" +
             (other / "Contents/MacOS/Gone").string());
  fs::create_directory(other / "Contents/MacOS/Gone");
  EXPECT_EQ(validate(other), "missingExecutable");
  EXPECT_TRUE(tools_->calls.empty());
}

TEST_F(ValidatorTest, RunsTheSigningToolOnceOrTwice) {
  const fs::path bundle = writeBundle(folder_, "Editor.app");
  const std::string verify = "/usr/bin/codesign --verify --strict --deep " + bundle.string();
  EXPECT_EQ(validate(bundle), "accepted");
  EXPECT_EQ(tools_->calls, std::vector<std::string>{verify});
  host_.expectedTeamIdentifier = "TEAM";
  EXPECT_EQ(validate(bundle), "accepted");
  EXPECT_EQ(tools_->calls,
            (std::vector<std::string>{verify, "/usr/bin/codesign -dv --verbose=4 " + bundle.string()}));
}

TEST_F(ValidatorTest, RefusesBadSignaturesAndOtherTeams) {
  const fs::path bundle = writeBundle(folder_, "Editor.app");
  const std::string staged = " stagedApp=" + bundle.string();
  std::string family;  // 600 user-perceived characters of several scalars each
  for (int index = 0; index < 600; ++index) family += "e\xCC\x81";
  const struct {
    const char* tool;
    ChildProcessResult answer;
    const char* team;
    const char* error;
    std::string line;
  } cases[] = {
      {"--verify", ScriptedTools::ended(1, " a: invalid\nfile added: b\n\n"), "TEAM",
       "signatureValidationFailed",
       "code signature verification failed status=1 output=a: invalid\\nfile added: b" + staged},
      {"--verify", ScriptedTools::ended(3, " \n\t"), "TEAM", "signatureValidationFailed",
       "code signature verification failed status=3 output=<empty>" + staged},
      {"--verify", ScriptedTools::ended(1, "bad \xFF text"), "TEAM", "signatureValidationFailed",
       "code signature verification failed status=1 output=<empty>" + staged},
      {"--verify", ScriptedTools::notStarted(), "TEAM", "signatureValidationFailed",
       "code signature verification failed status=1 output=<empty>" + staged},
      {"--verify", ScriptedTools::ended(1, family), "TEAM", "signatureValidationFailed",
       "code signature verification failed status=1 output=" + family.substr(0, 1500) + "..." + staged},
      {"--verify", ScriptedTools::ended(1, family.substr(0, 1500)), "TEAM", "signatureValidationFailed",
       "code signature verification failed status=1 output=" + family.substr(0, 1500) + staged},
      {"-dv", ScriptedTools::ended(1, "no"), "TEAM", "signatureValidationFailed",
       "code signature metadata read failed status=1 output=no" + staged},
      {"-dv", ScriptedTools::ended(0, "Identifier=x\n TeamIdentifier=TEAM"), "TEAM",
       "signatureValidationFailed",
       "code signature metadata did not include TeamIdentifier output=Identifier=x\\n TeamIdentifier=TEAM" +
           staged},
      {"-dv", ScriptedTools::ended(0, "TeamIdentifier=TEAM \nTeamIdentifier=TEAM"), "TEAM",
       "teamIdentifierMismatch", "team identifier mismatch expectedTeamID=TEAM actualTeamID=TEAM " + staged},
      {"-dv", ScriptedTools::ended(0, "TeamIdentifier=team"), "TEAM", "teamIdentifierMismatch",
       "team identifier mismatch expectedTeamID=TEAM actualTeamID=team" + staged},
      {"-dv", ScriptedTools::ended(0, "TeamIdentifier="), "TEAM", "teamIdentifierMismatch",
       "team identifier mismatch expectedTeamID=TEAM actualTeamID=<empty>" + staged},
      {"-dv", ScriptedTools::ended(0, "TeamIdentifier=not set"), "", "teamIdentifierMismatch",
       "team identifier mismatch expectedTeamID=<empty> actualTeamID=not set" + staged},
  };
  const auto good = tools_->answers;
  for (const auto& row : cases) {
    tools_->answers = good;
    tools_->answers[row.tool] = row.answer;
    host_.expectedTeamIdentifier = row.team;
    EXPECT_EQ(validate(bundle), row.error);
    expectLine(row.line);
  }
}

}  // namespace
}  // namespace pellam
