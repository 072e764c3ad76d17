#include "platform/linux/jobs/embedded_jobs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <set>
#include <thread>

#include "platform/authorization.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/job_control.h"
#include "platform/linux/jobs/application_opener.h"
#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/jobs_agent_messages.h"
#include "platform/linux/jobs/privileged_program.h"
#include "platform/linux/system/file_descriptor.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

// The errno that the work failed with, 0 when it did not.
int failure(const std::function<void()>& work) {
  try {
    work();
    return 0;
  } catch (const PlatformError& error) {
    return static_cast<int>(error.bridged().code);
  }
}

bool becomesTrue(const std::function<bool()>& condition) {
  for (int count = 0; count < 500; ++count) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

struct Jobs : testing::Test {
  TemporaryFolder folder;
  EmbeddedJobs jobs{folder / "jobs"};

  JobDescription shell(const std::string& script, const std::string& label = "label") const {
    return {label, {"/bin/sh", "-c", script}, 0};
  }
  pid_t recorded(const std::string& label = "label") const {
    pid_t process = 0;
    std::ifstream(folder / ("jobs/" + label + ".job")) >> process;
    return process;
  }
};

TEST_F(Jobs, RunInASessionOfTheirOwnWithNothingOfTheSubmittersLeft) {
  const int inherited = ::open("/dev/null", O_RDONLY);  // without close-on-exec
  ::setenv("PELLAM_TEST_SECRET", "1", 1);
  jobs.submit(shell("ls -l /proc/$$/fd > " + (folder / "fds").string() + "; ps -o sid=,ppid= -p $$ > " +
                    (folder / "session").string() + "; env > " + (folder / "env").string() + "; pwd > " +
                    (folder / "cwd").string() + "; touch " + (folder / "done").string()));
  ASSERT_TRUE(becomesTrue([&] { return fs::exists(folder / "done"); }));
  ::close(inherited);
  const std::string descriptors = TemporaryFolder::read(folder / "fds");
  for (const std::string stream : {"0 -> /dev/null", "2 -> /dev/null"}) {
    EXPECT_NE(descriptors.find(stream), std::string::npos) << descriptors;
  }
  EXPECT_EQ(descriptors.find(" " + std::to_string(inherited) + " -> "), std::string::npos) << descriptors;
  const std::string session = TemporaryFolder::read(folder / "session");
  EXPECT_EQ(session.find(std::to_string(::getpid())), std::string::npos);
  EXPECT_EQ(TemporaryFolder::read(folder / "env").find("PELLAM_TEST_SECRET"), std::string::npos);
  EXPECT_EQ(TemporaryFolder::read(folder / "cwd"), "/\n");
}

TEST_F(Jobs, RefuseASecondOneOfTheLabelAndMakeRoomWhenItIsRemoved) {
  jobs.submit(shell("exec sleep 100"));
  const pid_t first = recorded();
  EXPECT_EQ(failure([&] { jobs.submit(shell("exec sleep 100")); }), EEXIST);
  EXPECT_EQ(failure([&] { jobs.submit(shell("exec sleep 100", "other")); }), 0);
  jobs.remove("label", JobRemoval::waitsForTheEnd);
  EXPECT_EQ(stampOf(first), std::nullopt);
  EXPECT_NE(stampOf(recorded("other")), std::nullopt) << "another label's job is left alone";
  jobs.remove("other", JobRemoval::waitsForTheEnd);
  EXPECT_EQ(failure([&] { jobs.remove("label", JobRemoval::waitsForTheEnd); }), ENOENT);
  jobs.submit(shell("exit 0"));
  EXPECT_TRUE(becomesTrue([&] { return !stampOf(recorded()); }));
  jobs.submit(shell("exit 0"));  // the first one has ended by itself
}

TEST_F(Jobs, ForceAJobThatDoesNotEndWhenAsked) {
  jobs.submit(shell("trap '' TERM; touch " + (folder / "ready").string() + "; while :; do sleep 1; done"));
  ASSERT_TRUE(becomesTrue([&] { return fs::exists(folder / "ready"); }));
  const pid_t process = recorded();
  jobs.remove("label", JobRemoval::waitsForTheEnd);
  EXPECT_EQ(stampOf(process), std::nullopt);
}

TEST_F(Jobs, NeverEndAProcessThatOnlyHasTheNumber) {
  fs::create_directories(folder / "jobs");
  fs::permissions(folder / "jobs", fs::perms::owner_all);
  // A stranger with the recorded number: this process itself, started at another time than the record says.
  std::ofstream(folder / "jobs/label.job") << ::getpid() << " 1\n";
  jobs.remove("label", JobRemoval::waitsForTheEnd);
  EXPECT_FALSE(fs::exists(folder / "jobs/label.job"));
  for (const char* record : {"", "garbage", "-1 5", "0 0"}) {
    std::ofstream(folder / "jobs/label.job") << record;
    EXPECT_EQ(failure([&] { jobs.remove("label", JobRemoval::waitsForTheEnd); }), ENOENT) << record;
  }
}

TEST_F(Jobs, ReportWhyAProgramDoesNotStart) {
  EXPECT_EQ(failure([&] { jobs.submit({"label", {"/no/such/program"}, 0}); }), ENOENT);
  EXPECT_EQ(failure([&] { jobs.submit({"label", {"/etc/passwd"}, 0}); }), EACCES);
  EXPECT_FALSE(fs::exists(folder / "jobs/label.job"));
}

TEST_F(Jobs, KeepEveryLabelInsideTheirFolder) {
  for (const std::string label : {"../../escape", "/etc/x", "..", ".hidden", "a\nb", "sp ace", "\xff"}) {
    jobs.submit(shell("exit 0", label));
  }
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder / "jobs")) names.insert(entry.path().filename());
  EXPECT_EQ(names.size(), 14U);
  EXPECT_TRUE(names.contains("%2e.%2f..%2fescape.job")) << *names.begin();
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
  EXPECT_EQ(failure([&] { jobs.submit(shell("exit 0", "")); }), EINVAL);
  EXPECT_EQ(failure([&] { jobs.submit(shell("exit 0", std::string(201, 'x'))); }), ENAMETOOLONG);
}

TEST_F(Jobs, TrustNoFolderThatOthersCanChange) {
  fs::create_directories(folder / "jobs");
  fs::permissions(folder / "jobs", fs::perms(0770));
  EXPECT_EQ(failure([&] { jobs.submit(shell("exit 0")); }), EPERM);
  fs::remove(folder / "jobs");
  fs::create_directory_symlink(folder.path(), folder / "jobs");
  EXPECT_EQ(failure([&] { jobs.submit(shell("exit 0")); }), EPERM);
}

TEST_F(Jobs, AreTakenOneAtATimeForALabel) {
  std::atomic<int> accepted = 0;
  std::vector<std::thread> submitters;
  for (int count = 0; count < 8; ++count) {
    submitters.emplace_back([&] {
      const int error = failure([&] { jobs.submit(shell("exec sleep 100")); });
      EXPECT_TRUE(error == 0 || error == EEXIST) << error;
      if (error == 0) ++accepted;
    });
  }
  for (std::thread& submitter : submitters) submitter.join();
  EXPECT_EQ(accepted, 1);
  jobs.remove("label", JobRemoval::waitsForTheEnd);
}

TEST(JobDescription, RefusesADictionaryThatDescribesNoJob) {
  const PropertyListDictionary good{{"Label", "l"}, {"ProgramArguments", PropertyListArray{"/bin/true"}}};
  EXPECT_EQ(JobDescription::fromDictionary(good).arguments, std::vector<std::string>{"/bin/true"});
  const std::pair<const char*, PropertyListValue> changes[] = {
      {"Label", ""},
      {"Label", 5},
      {"ProgramArguments", "/bin/true"},
      {"ProgramArguments", PropertyListArray{}},
      {"ProgramArguments", PropertyListArray{"bin/true"}},
      {"ProgramArguments", PropertyListArray{"/bin/true", 5}},
      {"ProgramArguments", PropertyListArray{"/bin/true", std::string("a\0b", 3)}},
  };
  for (const auto& [key, value] : changes) {
    PropertyListDictionary bad = good;
    bad.set(key, value);
    EXPECT_EQ(failure([&] { (void)JobDescription::fromDictionary(bad); }), EINVAL) << key;
  }
}

TEST(OpenRequest, IsReadFromTheTwoExactForms) {
  const auto open = OpenRequest::fromArguments({"/usr/bin/open", "/E.app"});
  ASSERT_TRUE(open);
  EXPECT_EQ(open->user, std::nullopt);
  const auto asUser =
      OpenRequest::fromArguments({"/bin/launchctl", "asuser", "501", "/usr/bin/open", "/E.app"});
  ASSERT_TRUE(asUser);
  EXPECT_EQ(asUser->user, 501U);
  for (const std::vector<std::string>& other : {std::vector<std::string>{"/usr/bin/open"},
                                                {"/usr/bin/open", "-a", "/E.app"},
                                                {"/bin/launchctl", "asuser", "x", "/usr/bin/open", "/E.app"},
                                                {"/bin/launchctl", "asuser", "501", "/bin/sh", "/E.app"}}) {
    EXPECT_FALSE(OpenRequest::fromArguments(other));
  }
}

// An application whose program says who it is, and stays.
struct Application : Jobs {
  fs::path application = folder / "Editor.app";
  fs::path trace = folder / "trace";
  Application() {
    fs::permissions(folder.path(), fs::perms(0777));
    folder.write(
        "Editor.app/Contents/Info.plist",
        "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>Editor</string></dict></plist>");
    const fs::path program = folder.write(
        "Editor.app/Contents/MacOS/Editor",
        "#!/bin/sh\n{ id -u; id -g; id -G; echo $HOME; echo $USER; echo $$; } > " + trace.string() +
            ".new\nmv " + trace.string() + ".new " + trace.string() + "\nexec sleep 20\n");
    fs::permissions(program, fs::perms(0755));
  }
  std::vector<std::string> whoItIs() {
    std::vector<std::string> lines;
    if (!becomesTrue([&] { return fs::exists(trace); })) return lines;
    std::ifstream stream(trace);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    ::kill(std::stoi(lines.back()), SIGKILL);
    return lines;
  }
};

TEST_F(Application, IsOpenedAsThisUserAndBelongsToNoJob) {
  const auto control =
      makeSystemJobControl(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));
  const PropertyListDictionary job{
      {"Label", "com.example.pellam-test-relaunch"},
      {"ProgramArguments", PropertyListArray{"/usr/bin/open", application.string()}}};
  const JobControlOutcome outcome = control->submit(JobControlDomain::userLaunchd, job, nullptr);
  ASSERT_TRUE(outcome.succeeded) << outcome.error->description;
  ASSERT_TRUE(becomesTrue([&] { return fs::exists(trace); }));
  (void)control->remove(JobControlDomain::userLaunchd, "com.example.pellam-test-relaunch", nullptr,
                        JobRemoval::waitsForTheEnd);
  std::ifstream stream(trace);
  std::string process;
  for (std::string line; std::getline(stream, line);) process = line;
  EXPECT_NE(stampOf(std::stoi(process)), std::nullopt);
  EXPECT_EQ(whoItIs().front(), std::to_string(::getuid()));
}

TEST_F(Application, IsOpenedWithTheWholeIdentityOfAnotherUser) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root to become another user";
  const ProcessUser nobody = ProcessUser::lookUp(65'534);
  openApplication({application, 65'534}, *makeSystemFileSystem(),
                  *makeSystemBundleLoader(makeSystemFileSystem()));
  const std::string group = std::to_string(nobody.group);
  const std::vector<std::string> lines = whoItIs();
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[0], "65534");
  EXPECT_EQ(lines[1], group);
  EXPECT_EQ(lines[2], group) << "no group of root's is left";
  EXPECT_EQ(lines[3], nobody.homeDirectory);
  EXPECT_EQ(lines[4], nobody.name);
  EXPECT_EQ(failure([&] {
              openApplication({application, 4'000'000}, *makeSystemFileSystem(),
                              *makeSystemBundleLoader(makeSystemFileSystem()));
            }),
            ENOENT);
}

TEST_F(Application, IsNotOpenedWhenItIsNone) {
  EXPECT_EQ(failure([&] {
              openApplication({folder / "None.app", std::nullopt}, *makeSystemFileSystem(),
                              *makeSystemBundleLoader(makeSystemFileSystem()));
            }),
            ENOEXEC);
  fs::permissions(application / "Contents/MacOS/Editor", fs::perms(0644));
  EXPECT_EQ(failure([&] {
              openApplication({application, std::nullopt}, *makeSystemFileSystem(),
                              *makeSystemBundleLoader(makeSystemFileSystem()));
            }),
            EACCES);
}

TEST(PrivilegedProgram, MustBeRootsAloneAllTheWayUp) {
  EXPECT_EQ(requirePrivilegedProgram("/bin/sh"), fs::canonical("/bin/sh"));
  if (::getuid() != 0) GTEST_SKIP() << "needs root to make files of root";
  const TemporaryFolder folder("/root");
  fs::permissions(folder.path(), fs::perms(0755));
  const fs::path program = folder.write("bin/program", "x");
  EXPECT_EQ(requirePrivilegedProgram(program), program);
  fs::create_symlink(program, folder / "link");
  EXPECT_EQ(requirePrivilegedProgram(folder / "link"), program);

  const auto refusal = [&] { return failure([&] { (void)requirePrivilegedProgram(program); }); };
  for (const fs::path& item : {program, folder / "bin", folder.path()}) {
    const fs::perms before = fs::status(item).permissions();
    for (const auto change : {fs::perms::group_write, fs::perms::others_write}) {
      fs::permissions(item, before | change);
      EXPECT_EQ(refusal(), EPERM) << item;
    }
    fs::permissions(item, before);
    ASSERT_EQ(::chown(item.c_str(), 65'534, 0), 0);
    EXPECT_EQ(refusal(), EPERM) << item;
    ASSERT_EQ(::chown(item.c_str(), 0, 0), 0);
  }
  EXPECT_EQ(refusal(), 0);
  // The folder for temporary files is anybody's, whoever owns the program in it.
  const TemporaryFolder shared;
  EXPECT_EQ(failure([&] { (void)requirePrivilegedProgram(shared.write("program", "x")); }), EPERM);
  EXPECT_EQ(failure([&] { (void)requirePrivilegedProgram("/no/such"); }), ENOENT);
}

TEST(Authorization, IsGrantedToRootAndRefusedWhereNobodyCanBeAsked) {
  const auto client = makeSystemSecurityAuthorizationClient();
  AuthorizationReference reference = nullptr;
  ASSERT_EQ(client->authorizationCreate(0, reference), 0);
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(client->authorizationCopyRights(nullptr, {"r"}, 3, {}), -60002);
  EXPECT_EQ(client->authorizationRightSet(reference, "com.example.right", "authenticate-admin", "Please"), 0);
  if (::getuid() == 0) {
    EXPECT_EQ(client->authorizationCopyRights(reference, {"com.example.right"}, 3, {}), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
      if (::setresuid(65'534, 65'534, 65'534) != 0) ::_exit(1);
      ::_exit(client->authorizationCopyRights(reference, {"com.example.right"}, 3, {}) == -60005 ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(client->authorizationFree(reference, 0), 0);
}

// The agent for jobs of the system, spoken to as an ordinary user's process would, or would not.
struct Agent : testing::Test {
  TemporaryFolder folder;
  FileDescriptor socket;
  pid_t process = 0;

  void SetUp() override {
    if (::getuid() != 0) GTEST_SKIP() << "needs root";
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    socket = FileDescriptor(ends[0]);
    process = ::fork();
    if (process == 0) {
      ::dup2(ends[1], STDIN_FILENO);
      ::close(ends[0]);
      ::close(ends[1]);
      std::string program = "service";
      std::string argument = jobs_agent::agentArgument;
      std::array<char*, 3> arguments = {program.data(), argument.data(), nullptr};
      const auto control =
          makeSystemJobControl(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));
      ::_exit(runAsJobsAgent(2, arguments.data(), *control, {"/bin/sh", ".test-label"}).value_or(1));
    }
    ::close(ends[1]);
    EXPECT_EQ(jobs_agent::receive(socket.get()), jobs_agent::Texts{"ready"});
  }
  void TearDown() override {
    if (process == 0) return;
    socket.reset();
    int status = 1;
    ::waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::string ask(const jobs_agent::Texts& request) const {
    EXPECT_TRUE(jobs_agent::send(socket.get(), request));
    std::string line;
    for (const std::string& text : jobs_agent::receive(socket.get()).value_or(jobs_agent::Texts{"nothing"})) {
      line += (line.empty() ? "" : " ") + text;
    }
    return line;
  }
  [[nodiscard]] std::string job() const {
    return "echo $$ > " + (folder / "pid").string() + "; exec sleep 100";
  }
  [[nodiscard]] pid_t jobsProcess() const {
    pid_t identifier = 0;
    (void)becomesTrue([&] { return static_cast<bool>(std::ifstream(folder / "pid") >> identifier); });
    return identifier;
  }
};

TEST_F(Agent, DoesNothingButJobsOfRootsPrograms) {
  const fs::path program = folder.write("program", "x");
  const std::string refusal = "failed NSPOSIXErrorDomain ";
  EXPECT_TRUE(ask({"submit", "a.test-label", "0", program}).starts_with(refusal + "1 "));
  EXPECT_TRUE(ask({"submit", "a.test-label", "0", "/usr/bin/open", "/E.app"})
                  .starts_with(refusal + "1 an application"));
  EXPECT_TRUE(ask({"submit", "a.test-label", "0", "bin/sh"}).starts_with(refusal));
  EXPECT_TRUE(ask({"submit", "a.test-label", "0"}).starts_with(refusal + "22 "));
  // Root's own, but not what an administrator was asked for.
  EXPECT_TRUE(
      ask({"submit", "a.test-label", "0", "/usr/bin/env", "sh"}).starts_with(refusal + "1 not the program"));
  EXPECT_TRUE(
      ask({"submit", "ssh", "0", "/bin/sh"}).starts_with(refusal + "1 not a job of this program: ssh"));
  EXPECT_TRUE(ask({"remove", "ssh", "wait"}).starts_with(refusal + "1 not a job of this program: ssh"));
  EXPECT_TRUE(ask({"format", "everything"}).starts_with(refusal + "22 "));
}

TEST_F(Agent, KeepsOneJobThatSomebodyHasHeardOf) {
  const std::string label = "com.example.heard.test-label";
  EXPECT_EQ(ask({"submit", label, "0", "/bin/sh", "-c", job()}), "done");
  EXPECT_TRUE(jobs_agent::send(socket.get(), {"keep"}));
  const pid_t heard = jobsProcess();
  EXPECT_EQ(jobs_agent::receive(socket.get()), std::nullopt) << "its work is done";
  EXPECT_NE(stampOf(heard), std::nullopt);
  const auto control =
      makeSystemJobControl(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));
  EXPECT_TRUE(
      control->remove(JobControlDomain::systemLaunchd, label, nullptr, JobRemoval::waitsForTheEnd).succeeded);
}

TEST_F(Agent, TakesAJobBackThatNobodyHasHeardOf) {
  EXPECT_EQ(ask({"submit", "com.example.unheard.test-label", "0", "/bin/sh", "-c", job()}), "done");
  const pid_t unheard = jobsProcess();
  EXPECT_NE(stampOf(unheard), std::nullopt);
  socket.reset();
  EXPECT_TRUE(becomesTrue([&] { return !stampOf(unheard); }));
}

}  // namespace
}  // namespace pellam
