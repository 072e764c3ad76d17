#include <gtest/gtest.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

#include "platform/authorization.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/job_control.h"
#include "platform/linux/jobs/job_process.h"
#include "tests/support/temporary_folder.h"

// The whole way of an ordinary user to a job of the system, with the real authority, the real job manager,
// and an administrator who answers by program. Runs where systemd is the first process.
namespace pellam {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

constexpr const char* authority = "org.freedesktop.PolicyKit1";
constexpr const char* authorityPath = "/org/freedesktop/PolicyKit1/Authority";
constexpr const char* authorityInterface = "org.freedesktop.PolicyKit1.Authority";
constexpr const char* agentPath = "/org/pellam/test/agent";

// Answers every question about one process: grants it, or closes the dialog.
class Administrator {
 public:
  enum class Answer { grants, dismisses };

  Administrator(pid_t process, Answer answer) : answer_(answer) {
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
        sd_bus_wait(bus_, 50'000);
      }
    });
  }
  Administrator(const Administrator&) = delete;
  Administrator& operator=(const Administrator&) = delete;
  ~Administrator() {
    isEnding_ = true;
    thread_.join();
    sd_bus_flush_close_unref(bus_);
  }

  [[nodiscard]] bool isRegistered() const { return isRegistered_; }
  // The actions that were asked about, once the process that asked has ended.
  [[nodiscard]] std::string questions() const {
    const std::lock_guard guard(lock_);
    return questions_;
  }

 private:
  static int begin(sd_bus_message* message, void* self, sd_bus_error* error) {
    auto& administrator = *static_cast<Administrator*>(self);
    const char* action = nullptr;
    const char* cookie = nullptr;
    const char* kind = nullptr;
    const char* key = nullptr;
    std::uint32_t user = 0;
    if (sd_bus_message_read(message, "sss", &action, nullptr, nullptr) < 0 ||
        sd_bus_message_skip(message, "a{ss}") < 0 || sd_bus_message_read(message, "s", &cookie) < 0 ||
        sd_bus_message_enter_container(message, 'a', "(sa{sv})") < 0 ||
        sd_bus_message_read(message, "(sa{sv})", &kind, 1, &key, "u", &user) < 0) {
      return -EBADMSG;
    }
    {
      const std::lock_guard guard(administrator.lock_);
      administrator.questions_ += std::string(action) + ";";
    }
    if (administrator.answer_ == Answer::dismisses) {
      return sd_bus_error_set(error, "org.freedesktop.PolicyKit1.Error.Cancelled", "closed");
    }
    const int result = sd_bus_call_method(administrator.bus_, authority, authorityPath, authorityInterface,
                                          "AuthenticationAgentResponse2", error, nullptr, "us(sa{sv})", 0U,
                                          cookie, kind, 1, key, "u", user);
    return result < 0 ? result : sd_bus_reply_method_return(message, "");
  }
  static int cancel(sd_bus_message* message, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(message, "");
  }

  Answer answer_;
  sd_bus* bus_ = nullptr;
  bool isRegistered_ = false;
  mutable std::mutex lock_;
  std::string questions_;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
};

class AdministratorTest : public testing::Test {
 protected:
  static constexpr const char* installedPolicy = "/usr/share/polkit-1/actions/org.pellam.update.policy";

  void SetUp() override {
    if (::access("/run/systemd/system", F_OK) != 0) GTEST_SKIP() << "systemd is not running";
    const char* user = std::getenv("PELLAM_TEST_SESSION_USER");
    if (::getuid() != 0 || user == nullptr) GTEST_SKIP() << "no throw-away system with an ordinary user";
    user_ = static_cast<uid_t>(std::stoul(user));
    fs::permissions(folder_.path(), fs::perms(0777));
    fs::remove("/etc/polkit-1/rules.d/00-pellam-test.rules");
  }

  // The policy as it is shipped, in the eyes of somebody at the machine or of somebody who is not.
  static void installPolicy(bool isAtTheMachine) {
    std::string policy = TemporaryFolder::read(PELLAM_POLICY_FILE);
    const std::string remote = "<allow_any>auth_admin<";
    ASSERT_NE(policy.find(remote), std::string::npos);
    // Nobody sits at this machine: what holds for a person who does is made to hold for anybody.
    if (isAtTheMachine) policy.replace(policy.find(remote), remote.size(), "<allow_any>auth_admin_keep<");
    std::ofstream(installedPolicy) << policy;
    std::this_thread::sleep_for(std::chrono::seconds(1));  // until the authority has noticed
  }

  void TearDown() override {
    std::error_code ignored;
    fs::remove(installedPolicy, ignored);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
  }

  struct Outcome {
    std::string answers;    // the authorization's status, and how the submission ended
    std::string questions;  // what the administrator was asked
  };

  // What a launcher service of the ordinary user does, in a process of its own.
  Outcome elevate(Administrator::Answer answer) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) {
      char go = 0;
      if (::setresuid(user_, user_, user_) != 0 || ::read(ready[0], &go, 1) != 1) ::_exit(1);
      std::ofstream(folder_ / "answers") << submitAsService();
      ::_exit(0);
    }
    ::close(ready[0]);
    Outcome outcome;
    {
      const Administrator administrator(child, answer);
      EXPECT_TRUE(administrator.isRegistered());
      EXPECT_EQ(::write(ready[1], "g", 1), 1);
      ::close(ready[1]);
      ::waitpid(child, nullptr, 0);
      outcome.questions = administrator.questions();
    }
    outcome.answers = TemporaryFolder::read(folder_ / "answers");
    return outcome;
  }

  std::string submitAsService() const {
    const auto client = makeSystemSecurityAuthorizationClient();
    AuthorizationReference reference = nullptr;
    (void)client->authorizationCreate(0, reference);
    (void)client->authorizationRightSet(reference, "com.example.pellam-update", "authenticate-admin",
                                        "Editor needs permission to update the installed app.");
    const std::int32_t status = client->authorizationCopyRights(
        reference, {"com.example.pellam-update", "com.apple.ServiceManagement.daemons.modify"}, 3);
    std::string answers = std::to_string(status);
    if (status == 0) {
      const std::string script = "id -u > " + (folder_ / "who").string();
      const auto control =
          makeSystemJobControl(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));
      (void)control->remove(JobControlDomain::systemLaunchd, "com.example.pellam-updater", reference,
                            JobRemoval::waitsForTheEnd);
      const JobControlOutcome job =
          control->submit(JobControlDomain::systemLaunchd,
                          {{"Label", "com.example.pellam-updater"},
                           {"ProgramArguments", PropertyListArray{"/bin/sh", "-c", script}}},
                          reference);
      answers += job.succeeded ? " started" : " " + job.error->description;
    }
    (void)client->authorizationFree(reference, 0);
    return answers;
  }

  [[nodiscard]] bool jobRanAsRoot() const {
    for (int count = 0; count < 300 && TemporaryFolder::read(folder_ / "who").empty(); ++count) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return TemporaryFolder::read(folder_ / "who") == "0\n";
  }

  TemporaryFolder folder_;
  uid_t user_ = 0;
};

TEST_F(AdministratorTest, GrantsAnUpdateWithOneAnswerToWhoeverIsAtTheMachine) {
  installPolicy(true);
  const Outcome outcome = elevate(Administrator::Answer::grants);
  EXPECT_EQ(outcome.answers, "0 started");
  EXPECT_EQ(outcome.questions, "org.pellam.update.install;");
  EXPECT_TRUE(jobRanAsRoot());
}

TEST_F(AdministratorTest, IsAskedOnceMoreByTheJobManagerForWhoeverIsNot) {
  installPolicy(false);
  const Outcome outcome = elevate(Administrator::Answer::grants);
  EXPECT_EQ(outcome.answers, "0 started");
  EXPECT_EQ(outcome.questions, "org.pellam.update.install;org.freedesktop.systemd1.manage-units;");
  EXPECT_TRUE(jobRanAsRoot());
}

TEST_F(AdministratorTest, CancelsByClosingTheDialog) {
  installPolicy(true);
  const Outcome outcome = elevate(Administrator::Answer::dismisses);
  EXPECT_EQ(outcome.answers, "-60006");
  EXPECT_EQ(outcome.questions, "org.pellam.update.install;");
}

}  // namespace
}  // namespace pellam
