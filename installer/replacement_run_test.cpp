#include "installer/replacement_run.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "installer/exit_status.h"
#include "installer/failure_report.h"
#include "pellam/installer_error.h"
#include "tests/support/replacement_fakes.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;

struct RecordingUser final : EffectiveUserSwitching {
  void performAs(std::uint32_t user, std::uint32_t group, const std::function<void()>& work) override {
    users.emplace_back(user, group);
    work();
  }
  std::vector<std::pair<std::uint32_t, std::uint32_t>> users;
};

class RunTest : public testing::Test {
 protected:
  RunTest() {
    line_.hostProcessIdentifier = 4711;
    line_.request.stagedApplicationURL = writeBundle(folder_, "Staging/Editor.app", {.build = "20"});
    line_.request.installedApplicationURL = writeBundle(folder_, "Apps/Editor.app", {.build = "19"});
    line_.request.hostIdentity = {"com.example.editor", "1.9", 19, std::nullopt, false};
    line_.request.launchUserContext = {501, 20, "user", "/home/user"};
    line_.request.failureReportURL = folder_ / "Home/Reports/PellamUpdateInstallerFailure.plist";
    line_.request.failureReportAttemptIdentifier = "A";
    tools_->answers["--verify"] = ScriptedTools::ended(0, "");
    relauncher_->onRelaunch = [&] {
      reportWasThereAtRelaunch_.push_back(fs::exists(*line_.request.failureReportURL));
    };
  }

  ReplacementRun::Outcome run() {
    ReplacementRun run({makeSystemFileSystem(), tools_, process_, user_, makeSystemUUIDGenerator(),
                        std::make_shared<PellamSystemClock>(), relauncher_,
                        std::make_shared<ScriptedPrivilege>(), [](const std::string&) {}});
    return run.run(line_);
  }
  std::string report(const std::string& name = "PellamUpdateInstallerFailure.plist") const {
    const auto bytes = makeSystemFileSystem()->readFile(folder_ / ("Home/Reports/" + name));
    return OrvoAppBundleUpdateFailureReport::decode(bytes.span()).errorDescription;
  }
  std::string installed() const {
    return TemporaryFolder::read(folder_ / "Apps/Editor.app/Contents/MacOS/Editor");
  }

  TemporaryFolder folder_;
  HelperCommandLine line_;
  std::shared_ptr<ScriptedTools> tools_ = std::make_shared<ScriptedTools>();
  std::shared_ptr<ScriptedProcess> process_ = std::make_shared<ScriptedProcess>();
  std::shared_ptr<RecordingUser> user_ = std::make_shared<RecordingUser>();
  std::shared_ptr<RecordingRelauncher> relauncher_ = std::make_shared<RecordingRelauncher>();
  std::vector<bool> reportWasThereAtRelaunch_;
};

TEST_F(RunTest, ReplacesAfterTheHostHasEnded) {
  const auto outcome = run();
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(outcome.failure, std::nullopt);
  ASSERT_EQ(process_->waitedFor.size(), 1U);
  EXPECT_EQ(process_->waitedFor[0].first, 4711);
  EXPECT_EQ(process_->waitedFor[0].second, std::chrono::seconds(120));
  EXPECT_EQ(installed(), "binary 20");
  EXPECT_FALSE(fs::exists(folder_ / "Home"));
}

TEST_F(RunTest, AHostThatStillRunsIsLeftAlone) {
  process_->hostEnds = false;
  const auto outcome = run();
  EXPECT_EQ(outcome.exitStatus, 75);
  EXPECT_EQ(outcome.failure, "the application is still running: pid=4711 waitedSeconds=120");
  EXPECT_EQ(report(), *outcome.failure);
  EXPECT_TRUE(relauncher_->relaunched.empty());
  EXPECT_TRUE(tools_->calls.empty());
  EXPECT_EQ(installed(), "binary 19");
  EXPECT_TRUE(fs::exists(line_.request.stagedApplicationURL));
}

TEST_F(RunTest, AWaitThatCannotBeginDoesNotClaimToHaveWaited) {
  process_->cannotWait = true;
  const auto outcome = run();
  EXPECT_EQ(outcome.exitStatus, 75);
  EXPECT_EQ(outcome.failure,
            "unable to wait for the application to end: pid=4711 error=scripted: Too many open files");
  EXPECT_EQ(report(), *outcome.failure);
  EXPECT_EQ(installed(), "binary 19");
}

TEST_F(RunTest, TheReportIsCompleteBeforeTheApplicationIsRelaunched) {
  tools_->answers["--verify"] = ScriptedTools::ended(1, "bad\nsignature");
  const auto outcome = run();
  EXPECT_EQ(outcome.exitStatus, 98);
  const std::string text =
      "signatureValidationFailed: OrvoAppBundleCodeSignatureValidator: code signature verification failed "
      "status=1 "
      "output=bad\\nsignature stagedApp=" +
      line_.request.stagedApplicationURL.string();
  EXPECT_EQ(outcome.failure, text);
  EXPECT_EQ(report(), text);
  EXPECT_EQ(report("PellamUpdateInstallerFailure-A.plist"), text);
  EXPECT_EQ(reportWasThereAtRelaunch_, std::vector<bool>{true});
  EXPECT_EQ(user_->users, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{501, 20}}));
  EXPECT_EQ(installed(), "binary 19");
}

TEST_F(RunTest, AnAttemptIdentifierThatMakesNoFileNameDoesNotCostTheReport) {
  line_.request.failureReportAttemptIdentifier = std::string(120, '/');  // 360 characters of file name
  line_.request.hostIdentity->bundleIdentifier = "other";
  EXPECT_EQ(run().exitStatus, 93);
  EXPECT_NE(report().find("bundleIdentifierMismatch: "), std::string::npos);
}

TEST_F(RunTest, PutsAnInterruptedReplacementRightFirst) {
  const std::string backup = "Apps/Editor.app.orvo-update-backup-0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
  fs::rename(folder_ / "Apps/Editor.app", folder_ / backup);
  EXPECT_EQ(run().exitStatus, 0);
  EXPECT_EQ(installed(), "binary 20");
  EXPECT_FALSE(fs::exists(folder_ / backup));
}

TEST_F(RunTest, AsRootInstallsAPrivateCopyThatNobodyElseCanReach) {
  process_->effectiveUser = 0;
  tools_->onRun = [&] {
    const fs::path copy = tools_->calls.back().substr(tools_->calls.back().find("/tmp"));
    EXPECT_EQ(fs::status(copy.parent_path()).permissions(), fs::perms(0700));
    EXPECT_EQ(copy.parent_path().parent_path(), folder_ / "Apps");
    // What the user changes now is too late.
    folder_.write("Staging/Editor.app/Contents/MacOS/Editor", "exchanged");
  };
  EXPECT_EQ(run().exitStatus, 0);
  EXPECT_EQ(tools_->calls.size(), 1U);
  EXPECT_EQ(installed(), "binary 20");
  EXPECT_FALSE(fs::exists(folder_ / "Staging"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "Apps"), fs::directory_iterator()), 1);
}

TEST_F(RunTest, AsRootInstallsNothingThatOthersCanWrite) {
  process_->effectiveUser = 0;
  const fs::path tool = line_.request.stagedApplicationURL / "Contents/MacOS/tool";
  fs::create_directories(tool.parent_path());
  std::ofstream(tool) << "tool";
  fs::permissions(tool, fs::perms(06777));
  fs::permissions(tool.parent_path(), fs::perms(0777));
  fs::create_symlink("/etc/passwd", tool.parent_path() / "link");
  const auto linkTarget = fs::status("/etc/passwd").permissions();
  EXPECT_EQ(run().exitStatus, 0);
  const fs::path installed = line_.request.installedApplicationURL / "Contents/MacOS";
  EXPECT_EQ(fs::status(installed / "tool").permissions(), fs::perms(0755));
  EXPECT_EQ(fs::status(installed).permissions(), fs::perms(0755));
  EXPECT_EQ(fs::status("/etc/passwd").permissions(), linkTarget);
}

TEST_F(RunTest, AsRootNamesTheBundleThatTheUserKnows) {
  process_->effectiveUser = 0;
  tools_->answers["--verify"] = ScriptedTools::ended(1, "bad");
  EXPECT_EQ(run().exitStatus, 98);
  const std::string end = " stagedApp=" + line_.request.stagedApplicationURL.string();
  EXPECT_EQ(report().substr(report().size() - std::min(report().size(), end.size())), end);
}

TEST_F(RunTest, AsRootWithoutAPrivateCopyInstallsNothing) {
  process_->effectiveUser = 0;
  fs::remove_all(line_.request.stagedApplicationURL);
  const auto outcome = run();
  EXPECT_EQ(outcome.exitStatus, 102);
  EXPECT_NE(report().find("replacementFailed: unable to take the staged bundle over: "), std::string::npos);
  EXPECT_EQ(reportWasThereAtRelaunch_, std::vector<bool>{true});
  EXPECT_EQ(installed(), "binary 19");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "Apps"), fs::directory_iterator()), 1);
}

TEST(PrivilegedReport, BelongsToTheLaunchUserAndFollowsNoLinkOutOfTheHome) {
  if (::geteuid() != 0) GTEST_SKIP() << "becoming another user needs root";
  constexpr uid_t nobody = 65534;
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  fs::create_directories(folder / "home");
  fs::create_directories(folder / "secret");
  fs::permissions(folder / "secret", fs::perms(0700));
  ASSERT_EQ(::chown((folder / "home").c_str(), nobody, nobody), 0);
  const auto user = makeSystemEffectiveUserSwitching();
  const auto files = makeSystemFileSystem();
  const auto writeTo = [&](const fs::path& report) {
    user->performAs(nobody, nobody, [&] {
      OrvoAppBundleUpdateFailureReportStore(files, std::make_shared<PellamSystemClock>())
          .writeFailureReportAt("why", report, distantPast, std::nullopt);
    });
  };
  writeTo(folder / "home/Library/b/report.plist");
  for (const char* name : {"home/Library", "home/Library/b", "home/Library/b/report.plist"}) {
    EXPECT_EQ(files->attributes(folder / name).ownerID, nobody) << name;
  }
  fs::create_directory_symlink(folder / "secret", folder / "home/planted");
  EXPECT_THROW(writeTo(folder / "home/planted/report.plist"), std::system_error);
  EXPECT_TRUE(fs::is_empty(folder / "secret"));
  EXPECT_EQ(::geteuid(), 0U);
  EXPECT_EQ(::getegid(), 0U);
}

TEST(ExitStatus, IsAGoldenListThatNeverChanges) {
  using Case = OrvoUpdateInstallerError::Case;
  for (int position = 0; position < 24; ++position) {
    EXPECT_EQ(exitStatusFor(static_cast<Case>(position)), 80 + position);
  }
  EXPECT_EQ(exitStatusFor(OrvoUpdateInstallerError::authorizationDenied(-1)), 83);
  EXPECT_EQ(exitStatusFor(OrvoUpdateInstallerError(Case::relaunchFailed)), 103);
  EXPECT_EQ(exitStatusFor(std::runtime_error("x")), 70);
  EXPECT_EQ(exit_status::malformedCommandLine, 64);
  EXPECT_EQ(exit_status::hostStillRunning, 75);
}

}  // namespace
}  // namespace pellam
