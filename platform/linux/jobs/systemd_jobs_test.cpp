#include "platform/linux/jobs/systemd_jobs.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/authorization.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/job_control.h"
#include "platform/linux/jobs/application_opener.h"
#include "platform/linux/jobs/job_process.h"
#include "tests/support/temporary_folder.h"

// Runs where systemd is the first process: scripts/test-with-systemd boots a system for it.
namespace pellam {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

constexpr const char* label = "com.example.pellam-test \xc3\xbc/job";

struct SystemdJobControl : testing::Test {
  TemporaryFolder folder;
  std::shared_ptr<JobControl> control =
      makeSystemJobControl(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));

  void SetUp() override {
    if (::access("/run/systemd/system", F_OK) != 0) GTEST_SKIP() << "systemd is not running";
    if (::getuid() != 0) GTEST_SKIP() << "needs root for jobs of the system";
  }
  void TearDown() override {
    (void)control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd);
  }

  JobControlOutcome submit(const std::vector<std::string>& arguments, const std::string& as = label) {
    PropertyListArray list(arguments.begin(), arguments.end());
    return control->submit(JobControlDomain::systemLaunchd, {{"Label", as}, {"ProgramArguments", list}},
                           nullptr);
  }
  [[nodiscard]] bool appears(const std::string& name) const {
    for (int count = 0; count < 500; ++count) {
      if (fs::exists(folder / name)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  [[nodiscard]] pid_t processIn(const std::string& name) const {
    pid_t process = 0;
    std::ifstream(folder / name) >> process;
    return process;
  }
  // A shell that writes its number and then becomes the program.
  std::vector<std::string> shell(const std::string& script) const {
    return {"/bin/sh", "-c",
            "cd " + folder.path().string() + "; echo $$ > pid.new; mv pid.new pid; " + script};
  }
};

TEST_F(SystemdJobControl, RunsAJobAsAUnitAndPassesItsArgumentsUntouched) {
  const std::vector<std::string> special = {"$HOME", "%h", "a b", "\"'\\", "\xc3\xbc", ""};
  std::vector<std::string> arguments = {"/bin/sh", "-c",
                                        "printf '[%s]' \"$@\" > " + (folder / "out.new").string() + "; mv " +
                                            (folder / "out.new").string() + " " + (folder / "out").string(),
                                        "name"};
  arguments.insert(arguments.end(), special.begin(), special.end());
  const JobControlOutcome outcome = submit(arguments);
  ASSERT_TRUE(outcome.succeeded) << outcome.error->description;
  ASSERT_TRUE(appears("out"));
  std::string expected;
  for (const std::string& argument : special) expected += "[" + argument + "]";
  EXPECT_EQ(TemporaryFolder::read(folder / "out"), expected);
}

TEST_F(SystemdJobControl, RefusesASecondJobOfTheLabelUntilTheFirstIsRemoved) {
  ASSERT_TRUE(submit(shell("exec sleep 100")).succeeded);
  ASSERT_TRUE(appears("pid"));
  const JobControlOutcome second = submit(shell("exec sleep 100"));
  ASSERT_FALSE(second.succeeded);
  EXPECT_EQ(second.error->domain, "org.freedesktop.systemd1.UnitExists");
  const pid_t process = processIn("pid");
  ASSERT_NE(stampOf(process), std::nullopt);
  EXPECT_TRUE(
      control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd).succeeded);
  EXPECT_EQ(stampOf(process), std::nullopt);
  EXPECT_FALSE(
      control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd).succeeded);
  EXPECT_TRUE(submit(shell("exit 0")).succeeded);
}

TEST_F(SystemdJobControl, CanRunALabelAgainAfterItEndedBadly) {
  ASSERT_TRUE(submit(shell("exit 3")).succeeded);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const JobControlOutcome again = submit(shell("exit 0"));
  EXPECT_TRUE(again.succeeded) << again.error->description;
}

TEST_F(SystemdJobControl, LeavesTheLabelFreeOnceAJobIsRemoved) {
  for (int round = 0; round < 30; ++round) {
    const JobControlOutcome outcome = submit(shell("exit 0"));
    ASSERT_TRUE(outcome.succeeded) << "round " << round << ": " << outcome.error->description;
    // The job may be running, have ended, or be forgotten already.
    (void)control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd);
  }
}

TEST_F(SystemdJobControl, ReportsAProgramThatDoesNotExist) {
  const JobControlOutcome outcome = submit({"/no/such/program"});
  ASSERT_FALSE(outcome.succeeded);
  EXPECT_EQ(outcome.error->domain, "org.freedesktop.systemd1.Job");
  EXPECT_EQ(outcome.error->description,
            "the program could not be started; result=failed program=/no/such/program");
}

TEST_F(SystemdJobControl, LeavesWhatAJobHasStartedRunning) {
  ASSERT_TRUE(
      submit(shell("setsid sh -c 'echo $$ > child.new; mv child.new child; exec sleep 100' & sleep 100"))
          .succeeded);
  ASSERT_TRUE(appears("child"));
  EXPECT_TRUE(
      control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd).succeeded);
  const pid_t child = processIn("child");
  EXPECT_NE(stampOf(child), std::nullopt);

  // It keeps the job's name, and nobody from the next job, as an application that an update has opened would.
  fs::remove(folder / "pid");
  const JobControlOutcome next = submit(shell("exec sleep 100"));
  EXPECT_TRUE(next.succeeded) << next.error->description;
  EXPECT_FALSE(submit(shell("exit 0")).succeeded) << "of these there is one at a time";
  ASSERT_TRUE(appears("pid"));
  EXPECT_TRUE(
      control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd).succeeded);
  EXPECT_EQ(stampOf(processIn("pid")), std::nullopt);
  EXPECT_NE(stampOf(child), std::nullopt);
  ::kill(child, SIGKILL);
}

TEST_F(SystemdJobControl, OpensAnApplicationInTheManagerOfItsUser) {
  const char* user = std::getenv("PELLAM_TEST_SESSION_USER");
  if (user == nullptr) GTEST_SKIP() << "no user with a service manager is named";
  const auto identity = static_cast<uid_t>(std::stoul(user));
  fs::permissions(folder.path(), fs::perms(0777));
  folder.write(
      "Editor.app/Contents/Info.plist",
      "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>Editor</string></dict></plist>");
  const fs::path program = folder.write("Editor.app/Contents/MacOS/Editor",
                                        "#!/bin/sh\ncat /proc/self/cgroup > " + (folder / "group").string() +
                                            "\nid -u > " + (folder / "user").string() + "\ntouch " +
                                            (folder / "opened").string() + "\nsleep 5\n");
  fs::permissions(program, fs::perms(0755));
  const JobControlOutcome outcome =
      submit({"/bin/launchctl", "asuser", user, "/usr/bin/open", (folder / "Editor.app").string()});
  ASSERT_TRUE(outcome.succeeded) << outcome.error->description;
  ASSERT_TRUE(appears("opened"));
  EXPECT_EQ(TemporaryFolder::read(folder / "user"), std::string(user) + "\n");
  EXPECT_NE(TemporaryFolder::read(folder / "group").find("user@" + std::to_string(identity) + ".service"),
            std::string::npos)
      << TemporaryFolder::read(folder / "group");
}

// What an ordinary user gets: jobs of the user's own manager, and none of the system's without an
// administrator.
TEST_F(SystemdJobControl, GivesAnOrdinaryUserItsOwnManagerAndNotTheSystems) {
  const char* user = std::getenv("PELLAM_TEST_SESSION_USER");
  if (user == nullptr) GTEST_SKIP() << "no user with a service manager is named";
  const auto identity = static_cast<uid_t>(std::stoul(user));
  fs::permissions(folder.path(), fs::perms(0777));
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setresuid(identity, identity, identity) != 0) ::_exit(1);
    ::setenv("XDG_RUNTIME_DIR", ("/run/user/" + std::string(user)).c_str(), 1);
    const auto own =
        makeSystemJobControl(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));
    const auto outcome = [&](JobControlDomain domain, const std::string& program) {
      const JobControlOutcome result = own->submit(
          domain,
          {{"Label", label},
           {"ProgramArguments",
            PropertyListArray{program, "-c", "cp /proc/self/cgroup " + (folder / "group").string()}}},
          nullptr);
      return result.succeeded ? std::string("started")
                              : result.error->domain + " " + std::to_string(result.error->code);
    };
    const fs::path copy = folder / "shell";
    fs::copy_file("/bin/sh", copy);
    std::ofstream(folder / "answers.new") << outcome(JobControlDomain::systemLaunchd, copy.string()) << '\n'
                                          << outcome(JobControlDomain::systemLaunchd, "/bin/sh") << '\n'
                                          << outcome(JobControlDomain::userLaunchd, "/bin/sh") << '\n';
    fs::rename(folder / "answers.new", folder / "answers");
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(appears("group"));
  EXPECT_EQ(TemporaryFolder::read(folder / "answers"),
            "NSPOSIXErrorDomain 1\nNSPOSIXErrorDomain 13\nstarted\n");
  EXPECT_NE(TemporaryFolder::read(folder / "group").find("user@" + std::string(user) + ".service"),
            std::string::npos);
}

// The statuses for an ordinary user, with the real authority and each of its answers.
TEST_F(SystemdJobControl, TellsTheAuthoritysAnswersApart) {
  const char* user = std::getenv("PELLAM_TEST_SESSION_USER");
  if (user == nullptr) GTEST_SKIP() << "no throw-away system to install a policy in";
  const auto identity = static_cast<uid_t>(std::stoul(user));
  const auto statusFor = [&](std::uint32_t flags) {
    const pid_t child = ::fork();
    if (child == 0) {
      if (::setresuid(identity, identity, identity) != 0) ::_exit(1);
      const auto client = makeSystemSecurityAuthorizationClient();
      AuthorizationReference reference = nullptr;
      (void)client->authorizationCreate(0, reference);
      (void)client->authorizationRightSet(reference, "com.example.pellam-update", "authenticate-admin",
                                          "Please");
      const std::int32_t status =
          client->authorizationCopyRights(reference, {"com.example.pellam-update"}, flags, {});
      (void)client->authorizationFree(reference, 0);
      ::_exit(-status - 60'000 > 0 ? -status - 60'000 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status) == 0 ? 0 : -60'000 - WEXITSTATUS(status);
  };
  const auto becomes = [&](std::int32_t wanted) {
    std::int32_t status = 1;
    for (int count = 0; count < 50 && status != wanted; ++count) {
      status = statusFor(3);
      if (status != wanted) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return status;
  };
  const fs::path rule = "/etc/polkit-1/rules.d/00-pellam-test.rules";
  const auto answerWith = [&](const std::string& result) {
    std::ofstream(rule) << "polkit.addRule(function(action, subject) {"
                           " if (action.id == \"org.pellam.update.install\") return polkit.Result."
                        << result << "; });\n";
  };
  EXPECT_EQ(statusFor(3), -60005) << "an action that nobody installed";
  fs::copy_file(PELLAM_POLICY_FILE, "/usr/share/polkit-1/actions/org.pellam.update.policy");
  EXPECT_EQ(becomes(-60007), -60007) << "nobody there to ask";
  EXPECT_EQ(statusFor(2), -60007);
  answerWith("YES");
  EXPECT_EQ(becomes(0), 0);
  answerWith("NO");
  EXPECT_EQ(becomes(-60005), -60005);
}

// What is told to have failed does not run later.
TEST_F(SystemdJobControl, GivesUpAJobThatTheManagerDoesNotStartInTime) {
  // The job's process is frozen as soon as it is there, before it becomes the program.
  const fs::path group = fs::path("/sys/fs/cgroup/system.slice") / SystemdJobs::unitName("frozen");
  fs::create_directory(group);
  std::ofstream(group / "cgroup.freeze") << "1";
  const JobControlOutcome outcome = submit({"/bin/touch", (folder / "ran").string()}, "frozen");
  ASSERT_FALSE(outcome.succeeded);
  EXPECT_EQ(outcome.error->code, ETIMEDOUT) << outcome.error->description;
  std::ofstream(group / "cgroup.freeze") << "0";
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_FALSE(fs::exists(folder / "ran"));
}

}  // namespace
}  // namespace pellam
