#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "launcher-service/helper_launcher.h"
#include "launcher-service/phase_budget.h"
#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/platform_authorization.h"
#include "platform/uptime.h"
#include "tests/support/service_fakes.h"
#include "tests/support/temporary_folder.h"

// The whole way of an ordinary user's launch to a job of the system, with the real authority, the real job
// manager, the real agent, and an administrator who answers by program. Runs where systemd is the first
// process; what holds without it is tried by processes that do not see it.
namespace pellam {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* authority = "org.freedesktop.PolicyKit1";
constexpr const char* authorityPath = "/org/freedesktop/PolicyKit1/Authority";
constexpr const char* authorityInterface = "org.freedesktop.PolicyKit1.Authority";
constexpr const char* agentPath = "/org/pellam/test/agent";

// What happens, in its order, whichever process it happens in.
class Trace {
 public:
  explicit Trace(fs::path file) : file_(std::move(file)) {
    std::ofstream(file_).close();
    fs::permissions(file_, fs::perms(0666));
  }
  void add(const std::string& event) const {
    const std::string line = event + "; ";
    const FileDescriptor file(::open(file_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    (void)!::write(file.get(), line.data(), line.size());
  }
  [[nodiscard]] std::string text() const { return TemporaryFolder::read(file_); }
  [[nodiscard]] std::size_t count(const std::string& event) const {
    const std::string events = text();
    std::size_t count = 0;
    for (auto at = events.find(event); at != std::string::npos; at = events.find(event, at + 1)) ++count;
    return count;
  }

 private:
  fs::path file_;
};

// Too late: once the question has been withdrawn.
enum class Answer { grants, dismisses, denies, grantsTooLate };

// Is asked about one process, thinks about each question for a while, and gives the answers in their order;
// the last one is also that to all later questions.
class Administrator {
 public:
  Administrator(pid_t process, const Trace& trace, std::vector<Answer> answers, milliseconds thinking)
      : trace_(trace), answers_(std::move(answers)), thinking_(thinking) {
    static const std::array<sd_bus_vtable, 4> table = {
        {SD_BUS_VTABLE_START(0),
         SD_BUS_METHOD("BeginAuthentication", "sssa{ss}sa(sa{sv})", "", begin, SD_BUS_VTABLE_UNPRIVILEGED),
         SD_BUS_METHOD("CancelAuthentication", "s", "", cancel, SD_BUS_VTABLE_UNPRIVILEGED),
         SD_BUS_VTABLE_END}};
    const auto stamp = stampOf(process);
    isRegistered_ =
        stamp && sd_bus_open_system(&bus_) >= 0 &&
        sd_bus_add_object_vtable(bus_, nullptr, agentPath, "org.freedesktop.PolicyKit1.AuthenticationAgent",
                                 table.data(), this) >= 0 &&
        sd_bus_call_method(bus_, authority, authorityPath, authorityInterface, "RegisterAuthenticationAgent",
                           nullptr, nullptr, "(sa{sv})ss", "unix-process", 2, "pid", "u",
                           static_cast<std::uint32_t>(process), "start-time", "t", stamp->startTime,
                           "en_US.UTF-8", agentPath) >= 0;
    thread_ = std::thread([this] {
      while (!isEnding_) {
        while (sd_bus_process(bus_, nullptr) > 0) {
        }
        while (!dialogs_.empty() && dialogs_.front().due <= Clock::now()) {
          answer(dialogs_.front());
          dialogs_.pop_front();
          --openDialogs_;
        }
        sd_bus_wait(bus_, 20'000);
      }
    });
  }
  Administrator(const Administrator&) = delete;
  Administrator& operator=(const Administrator&) = delete;
  ~Administrator() {
    isEnding_ = true;
    thread_.join();
    for (Dialog& dialog : dialogs_) sd_bus_message_unref(dialog.message);
    sd_bus_flush_close_unref(bus_);
  }

  [[nodiscard]] bool isRegistered() const { return isRegistered_; }
  void waitUntilAllIsAnswered() const {
    while (openDialogs_ > 0) std::this_thread::sleep_for(milliseconds(20));
  }

 private:
  struct Dialog {
    Answer answer;
    Clock::time_point due;
    sd_bus_message* message;
    std::string cookie;
    std::uint32_t user;
  };

  static int begin(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& administrator = *static_cast<Administrator*>(self);
    const char* action = nullptr;
    const char* cookie = nullptr;
    std::uint32_t user = 0;
    if (sd_bus_message_read(message, "sss", &action, nullptr, nullptr) < 0 ||
        sd_bus_message_skip(message, "a{ss}") < 0 || sd_bus_message_read(message, "s", &cookie) < 0 ||
        sd_bus_message_enter_container(message, 'a', "(sa{sv})") < 0 ||
        sd_bus_message_read(message, "(sa{sv})", nullptr, 1, nullptr, "u", &user) < 0) {
      return -EBADMSG;
    }
    administrator.trace_.add(std::string("asked ") + action);
    const std::vector<Answer>& answers = administrator.answers_;
    const std::size_t number = std::min(administrator.count_++, answers.size() - 1);
    const bool isLate = answers[number] == Answer::grantsTooLate;
    const milliseconds delay = isLate ? forgotten : administrator.thinking_;
    ++administrator.openDialogs_;
    administrator.dialogs_.push_back(
        {answers[number], Clock::now() + delay, sd_bus_message_ref(message), cookie, user});
    return 1;
  }

  void answer(const Dialog& dialog) {
    if (dialog.answer == Answer::dismisses) {
      (void)sd_bus_reply_method_errorf(dialog.message, "org.freedesktop.PolicyKit1.Error.Cancelled",
                                       "closed");
    } else {
      if (dialog.answer != Answer::denies) {
        (void)sd_bus_call_method(bus_, authority, authorityPath, authorityInterface,
                                 "AuthenticationAgentResponse2", nullptr, nullptr, "us(sa{sv})", 0U,
                                 dialog.cookie.c_str(), "unix-user", 1, "uid", "u", dialog.user);
      }
      (void)sd_bus_reply_method_return(dialog.message, "");
    }
    sd_bus_message_unref(dialog.message);
  }

  static int cancel(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& administrator = *static_cast<Administrator*>(self);
    administrator.trace_.add("withdrawn");
    for (Dialog& dialog : administrator.dialogs_) dialog.due = Clock::now() + milliseconds(200);
    return sd_bus_reply_method_return(message, "");
  }

  static constexpr milliseconds forgotten{6'000};  // by a question that should have been withdrawn

  const Trace& trace_;
  std::vector<Answer> answers_;
  milliseconds thinking_;
  sd_bus* bus_ = nullptr;
  bool isRegistered_ = false;
  std::atomic<int> openDialogs_ = 0;
  // The thread's own.
  std::size_t count_ = 0;
  std::list<Dialog> dialogs_;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
};

// Where the ordinary user is, and the question that follows the one about the update.
struct Surroundings {
  const char* name;
  bool isAtTheMachine;  // the answer is kept for a while
  bool hasSystemd;
  bool hasElevator;
  const char* secondQuestion;
};

constexpr Surroundings everySurroundings[] = {
    {"AtTheMachine", true, true, true, ""},
    {"Remote", false, true, true, "asked org.freedesktop.policykit.exec; "},
    {"RemoteWithoutElevator", false, true, false, "asked org.freedesktop.systemd1.manage-units; "},
    {"WithoutSystemd", true, false, true, "asked org.freedesktop.policykit.exec; "},
};

struct Scene {
  std::vector<Answer> answers = {Answer::grants};
  milliseconds thinking{0};
  bool hostLeavesDuringLastQuestion = false;
  bool hasTrustedAgent = true;
};

class AdministratorTest : public testing::TestWithParam<Surroundings> {
 protected:
  static constexpr const char* installedPolicy = "/usr/share/polkit-1/actions/org.pellam.update.policy";
  static constexpr const char* trustedAgent =
      "/usr/lib/pellam-test/Editor.app/Contents/XPCServices/test.xpc/Contents/MacOS/service";
  static constexpr const char* helper =
      "/usr/lib/pellam-test/Editor.app/Contents/MacOS/PellamUpdateInstaller";
  static constexpr const char* firstQuestion = "asked org.pellam.update.install; ";
  static constexpr milliseconds limit{1'500};

  void SetUp() override {
    if (::access("/run/systemd/system", F_OK) != 0) GTEST_SKIP() << "systemd is not running";
    const char* user = std::getenv("PELLAM_TEST_SESSION_USER");
    if (::getuid() != 0 || user == nullptr) GTEST_SKIP() << "no throw-away system with an ordinary user";
    if (::access("/usr/bin/pkexec", X_OK) != 0) GTEST_SKIP() << "needs pkexec";
    user_ = static_cast<uid_t>(std::stoul(user));
    fs::permissions(folder_.path(), fs::perms(0777));
    fs::create_directories(fs::path(trustedAgent).parent_path());
    fs::create_directories(fs::path(helper).parent_path());
    fs::copy_file(PELLAM_SERVICE_PROGRAM, trustedAgent, fs::copy_options::overwrite_existing);
    fs::copy_file(PELLAM_SERVICE_PROGRAM, folder_ / "service");
    std::ofstream(helper) << "#!/bin/sh\nid -u > " << (folder_ / "who").string() << "\n";
    fs::permissions(helper, fs::perms(0755));
    fs::remove("/etc/polkit-1/rules.d/00-pellam-test.rules");
    installPolicy();
  }

  // The policy as it is shipped, in the eyes of somebody at the machine or of somebody who is not.
  static void installPolicy() {
    std::string policy = TemporaryFolder::read(PELLAM_POLICY_FILE);
    const std::string remote = "<allow_any>auth_admin<";
    ASSERT_NE(policy.find(remote), std::string::npos);
    // Nobody sits at this machine: what holds for a person who does is made to hold for anybody.
    if (GetParam().isAtTheMachine)
      policy.replace(policy.find(remote), remote.size(), "<allow_any>auth_admin_keep<");
    std::ofstream(installedPolicy) << policy;
    std::this_thread::sleep_for(std::chrono::seconds(1));  // until the authority has noticed
  }

  void TearDown() override {
    std::error_code ignored;
    fs::remove(installedPolicy, ignored);
    std::this_thread::sleep_for(milliseconds(500));
  }

  // What a launcher service of the ordinary user does, in a process of its own. The result is all that
  // happened.
  std::string play(const Scene& scene) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return {};
    const Trace trace(folder_ / "trace");
    const pid_t child = ::fork();
    if (child == 0) {
      char go = 0;
      if (!hideWhatIsMissing() || ::setresuid(user_, user_, user_) != 0 || ::read(ready[0], &go, 1) != 1)
        ::_exit(1);
      launch(scene, trace);
      ::_exit(0);
    }
    ::close(ready[0]);
    const Administrator administrator(child, trace, scene.answers, scene.thinking);
    EXPECT_TRUE(administrator.isRegistered());
    EXPECT_EQ(::write(ready[1], "g", 1), 1);
    ::close(ready[1]);
    ::waitpid(child, nullptr, 0);
    administrator.waitUntilAllIsAnswered();
    return trace.text();
  }

  static bool hideWhatIsMissing() {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
      return false;
    if (!GetParam().hasSystemd && ::mount("none", "/run/systemd", "tmpfs", 0, nullptr) != 0) return false;
    return GetParam().hasElevator || ::mount("/dev/null", "/usr/bin/pkexec", nullptr, MS_BIND, nullptr) == 0;
  }

  void launch(const Scene& scene, const Trace& trace) const {
    const auto fileSystem = makeSystemFileSystem();
    const auto bundles = makeSystemBundleLoader(fileSystem);
    OrvoAppBundleInstallerLaunchPhaseBudget budget({.preAuthorization = limit, .postAuthorization = limit},
                                                   systemUptimeNanoseconds);
    CancellationSource hostHasGone;
    std::thread host;
    if (scene.hostLeavesDuringLastQuestion) {
      host = std::thread([&] {
        while (trace.count("asked") < scene.answers.size()) std::this_thread::sleep_for(milliseconds(20));
        trace.add("host leaves");
        hostHasGone.cancel();
      });
    }
    const auto checks = std::make_shared<FakeChecks>();
    checks->isWritable = false;
    OrvoAppBundleLaunchdHelperLauncher launcher(
        {.permissionChecker = checks,
         .ownershipMatcher = checks,
         .authorizationProvider =
             std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(makeSecurityAuthorizationClient(
                 scene.hasTrustedAgent ? fs::path(trustedAgent) : folder_ / "service")),
         .jobSubmitter = std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(
             makeSystemJobControl(fileSystem, bundles)),
         .processIdentifierProvider = [] { return 1; },
         .launchUserContextProvider = [] { return OrvoAppBundleLaunchdUserContext{}; },
         .preAuthorizationShouldProceed = [&] { return budget.preAuthorizationShouldProceed(); },
         .beginPostAuthorizationPhase = [&] { budget.beginPostAuthorizationPhase(); },
         .postAuthorizationShouldProceed = [&] { return budget.postAuthorizationShouldProceed(); },
         .monotonicTimeProvider = systemUptimeNanoseconds,
         .bundles = bundles,
         .hostHasGone = hostHasGone.token()});
    OrvoAppBundleReplacementRequest request;
    request.installedApplicationURL = "/opt/Editor.app";
    request.helperExecutableURL = helper;
    request.hostIdentity = OrvoAppBundleUpdateHostIdentity{"com.example", "1", 1, std::nullopt, false};
    request.shouldRequestAuthorizationIfNeeded = true;
    const auto result =
        launcher.launchReplacement(request, [&](const OrvoAppBundleInstallerLaunchProgress& progress) {
          trace.add(std::string(progress.xpcDictionary().findString("event")->view()));
        });
    if (host.joinable()) host.join();
    std::string line;
    const PropertyListDictionary reply = result.xpcDictionary();
    for (const char* key : {"result", "errorCode", "errorDescription"}) {
      const PropertyListValue* value = reply.find(key);
      if (value != nullptr) line += (line.empty() ? "" : " ") + value->description();
    }
    trace.add(line);
  }

  [[nodiscard]] bool jobRanAsRoot() const {
    for (int count = 0; count < 300 && TemporaryFolder::read(folder_ / "who").empty(); ++count) {
      std::this_thread::sleep_for(milliseconds(10));
    }
    return TemporaryFolder::read(folder_ / "who") == "0\n";
  }
  // Long enough for whatever might still come.
  [[nodiscard]] bool nothingRan() const {
    std::this_thread::sleep_for(milliseconds(300));
    return !fs::exists(folder_ / "who") && std::system("pgrep -f -- [-]-system-jobs >/dev/null") != 0;
  }

  static constexpr const char* began = "authorizationRequired; authorizationBegan; ";
  static constexpr const char* cancelled =
      "authorizationEnded; authorizationCancelled -60006 The user canceled the authorization.; ";
  static constexpr const char* denied =
      "authorizationEnded; authorizationDenied -60005 Authorization was denied.; ";
  static std::string secondQuestion() { return GetParam().secondQuestion; }
  static bool hasSecondQuestion() { return !secondQuestion().empty(); }

  TemporaryFolder folder_;
  uid_t user_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Every, AdministratorTest, testing::ValuesIn(everySurroundings),
                         [](const auto& surroundings) { return std::string(surroundings.param.name); });

TEST_P(AdministratorTest, MayTakeLongerThanAnyLimitForEveryQuestion) {
  EXPECT_EQ(
      play({.thinking = limit + milliseconds(200)}),
      began + std::string(firstQuestion) + secondQuestion() + "authorizationEnded; jobSubmitted; launched; ");
  EXPECT_TRUE(jobRanAsRoot());
}

TEST_P(AdministratorTest, IsUnderstoodWhicheverQuestionIsRefused) {
  EXPECT_EQ(play({.answers = {Answer::dismisses}}), began + std::string(firstQuestion) + cancelled);
  EXPECT_EQ(play({.answers = {Answer::denies}}), began + std::string(firstQuestion) + denied);
  if (hasSecondQuestion()) {
    const std::string asked = began + std::string(firstQuestion) + secondQuestion();
    EXPECT_EQ(play({.answers = {Answer::grants, Answer::denies}}), asked + denied);
    // The manager reports its own question as denied either way.
    EXPECT_EQ(play({.answers = {Answer::grants, Answer::dismisses}}),
              asked + (GetParam().hasElevator ? cancelled : denied));
  }
  // Nobody is asked for a program that others could have changed.
  const std::string refused = play({.hasTrustedAgent = false});
  EXPECT_TRUE(refused.starts_with(began + std::string("authorizationEnded; launchFailed 1 "))) << refused;
  EXPECT_NE(refused.find(" can be changed by others than root: Operation not permitted; "), std::string::npos)
      << refused;
  EXPECT_TRUE(nothingRan());
}

TEST_P(AdministratorTest, IsNoLongerAskedOnceTheHostHasGone) {
  // The dialog's end is told to another process than the launch's.
  const auto playUntilWithdrawn = [this](const Scene& scene) {
    std::string trace = play(scene);
    const std::string withdrawn = "withdrawn; ";
    const std::size_t found = trace.find(withdrawn);
    return found == std::string::npos ? "never withdrawn: " + trace : trace.erase(found, withdrawn.size());
  };
  const std::string left = std::string("host leaves; ") + cancelled;
  EXPECT_EQ(playUntilWithdrawn({.answers = {Answer::grantsTooLate}, .hostLeavesDuringLastQuestion = true}),
            began + std::string(firstQuestion) + left);
  if (hasSecondQuestion()) {
    EXPECT_EQ(playUntilWithdrawn(
                  {.answers = {Answer::grants, Answer::grantsTooLate}, .hostLeavesDuringLastQuestion = true}),
              began + std::string(firstQuestion) + secondQuestion() + left);
  }
  EXPECT_TRUE(nothingRan());
}

}  // namespace
}  // namespace pellam
