#include "platform/linux/services/systemd_jobs.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/job_control.h"
#include "platform/linux/services/application_opener.h"
#include "platform/linux/services/job_process.h"
#include "tests/support/temporary_folder.h"

// Runs where systemd is the first process: scripts/test-with-systemd boots a system for it.
namespace pellam {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

constexpr const char* label = "com.example.pellam-test \xc3\xbc/job";

struct SystemdJobControl : testing::Test {
  TemporaryFolder folder;
  std::shared_ptr<JobControl> control = makeSystemJobControl();

  void SetUp() override {
    if (::access("/run/systemd/system", F_OK) != 0) GTEST_SKIP() << "systemd is not running";
    if (::getuid() != 0) GTEST_SKIP() << "needs root for jobs of the system";
  }
  void TearDown() override { (void)control->remove(JobControlDomain::systemLaunchd, label, nullptr, true); }

  JobControlOutcome submit(const std::vector<std::string>& arguments) {
    PropertyListArray list(arguments.begin(), arguments.end());
    return control->submit(JobControlDomain::systemLaunchd, {{"Label", label}, {"ProgramArguments", list}},
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
  EXPECT_TRUE(control->remove(JobControlDomain::systemLaunchd, label, nullptr, true).succeeded);
  EXPECT_EQ(stampOf(process), std::nullopt);
  EXPECT_FALSE(control->remove(JobControlDomain::systemLaunchd, label, nullptr, true).succeeded);
  EXPECT_TRUE(submit(shell("exit 0")).succeeded);
}

TEST_F(SystemdJobControl, CanRunALabelAgainAfterItEndedBadly) {
  ASSERT_TRUE(submit(shell("exit 3")).succeeded);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const JobControlOutcome again = submit(shell("exit 0"));
  EXPECT_TRUE(again.succeeded) << again.error->description;
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
  EXPECT_TRUE(control->remove(JobControlDomain::systemLaunchd, label, nullptr, true).succeeded);
  const pid_t child = processIn("child");
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
    const auto own = makeSystemJobControl();
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
    std::ofstream(folder / "answers.new")
        << outcome(JobControlDomain::systemLaunchd, copy.string()) << '\n'
        << outcome(JobControlDomain::systemLaunchd, "/bin/sh").substr(0, 16) << '\n'
        << outcome(JobControlDomain::userLaunchd, "/bin/sh") << '\n';
    fs::rename(folder / "answers.new", folder / "answers");
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(appears("group"));
  EXPECT_EQ(TemporaryFolder::read(folder / "answers"), "NSPOSIXErrorDomain 1\norg.freedesktop.\nstarted\n");
  EXPECT_NE(TemporaryFolder::read(folder / "group").find("user@" + std::string(user) + ".service"),
            std::string::npos);
}

}  // namespace
}  // namespace pellam
