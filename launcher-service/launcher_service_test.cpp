#include "launcher-service/launcher_service.h"

#include <gtest/gtest.h>

#include <future>

#include "launcher-protocol/launch_refusal.h"
#include "launcher-service/launch_tasks.h"
#include "pellam/installer_error.h"

namespace pellam {
namespace {

using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

struct FakeResolver final : OrvoAppBundleInstallerLauncherServiceLaunchResolving {
  std::function<OrvoAppBundleXPCReplacementLaunch()> answer;
  OrvoAppBundleXPCReplacementLaunch makeLaunch(const PropertyListDictionary&) override { return answer(); }
};

struct FakeLauncher final : OrvoAppBundleUpdateHelperLaunching {
  std::function<Result(const LaunchProgressHandler&)> answer;
  Result launchReplacement(const OrvoAppBundleReplacementRequest&,
                           const LaunchProgressHandler& progress) override {
    return answer(progress);
  }
};

struct Service : testing::Test {
  std::shared_ptr<FakeResolver> resolver = std::make_shared<FakeResolver>();
  std::shared_ptr<FakeLauncher> launcher = std::make_shared<FakeLauncher>();
  std::shared_ptr<LaunchTasks> tasks = std::make_shared<LaunchTasks>();
  std::uint64_t now = 100;
  std::vector<Progress> progress;
  std::vector<PropertyListDictionary> replies;
  std::vector<std::int32_t> launchersMade;
  CancellationToken hostHasGone;
  std::shared_ptr<OrvoAppBundleInstallerLaunchPhaseBudget> budget;

  void send() {
    auto service = std::make_shared<OrvoAppBundleInstallerLauncherService>(
        OrvoAppBundleInstallerLauncherService::Collaborators{
            .launchResolver = resolver,
            .monotonicTimeProvider = [this] { return now; },
            .progressHandler = [this](const Progress& event) { progress.push_back(event); },
            .tasks = tasks,
            .launcherFactory =
                [this](std::int32_t host,
                       const std::shared_ptr<OrvoAppBundleInstallerLaunchPhaseBudget>& given,
                       CancellationToken token) {
                  launchersMade.push_back(host);
                  EXPECT_FALSE(token.isCancelled());
                  hostHasGone = std::move(token);
                  budget = given;
                  return launcher;
                }});
    service->launchReplacement({}, [this](const PropertyListDictionary& reply) { replies.push_back(reply); });
    service.reset();  // as when the connection goes
    tasks->waitUntilIdle();
  }
};

TEST_F(Service, LaunchesAndRepliesOnceOnATaskOfItsOwn) {
  const auto caller = std::this_thread::get_id();
  resolver->answer = [] { return OrvoAppBundleXPCReplacementLaunch{{}, 77}; };
  launcher->answer = [&](const LaunchProgressHandler& report) {
    EXPECT_TRUE(std::this_thread::get_id() != caller);
    report(Progress::jobSubmitted());
    return Result::launched();
  };
  send();
  EXPECT_EQ(replies, (std::vector<PropertyListDictionary>{{{"result", "launched"}}}));
  EXPECT_EQ(progress, (std::vector{Progress::handoffStarted(), Progress::jobSubmitted()}));
  EXPECT_EQ(launchersMade, std::vector{77});
  EXPECT_TRUE(hostHasGone.isCancelled()) << "the connection has ended";
}

TEST_F(Service, AnswersRefusalsAtOnceWithTheirNumberAndText) {
  resolver->answer = []() -> OrvoAppBundleXPCReplacementLaunch {
    throw OrvoAppBundleInstallerLaunchRefusal::hostProcessIdentifierUnavailable(0);
  };
  send();
  resolver->answer = []() -> OrvoAppBundleXPCReplacementLaunch {
    throw OrvoUpdateInstallerError(OrvoUpdateInstallerError::Case::replacementHelperUnavailable);
  };
  send();
  resolver->answer = []() -> OrvoAppBundleXPCReplacementLaunch { throw std::runtime_error("unforeseen"); };
  send();
  EXPECT_EQ(replies,
            (std::vector<PropertyListDictionary>{
                {{"result", "protocolFailure"},
                 {"phase", "messageResolution"},
                 {"errorDomain", "PellamUpdatesAppKitUI.OrvoAppBundleInstallerLaunchRefusal"},
                 {"errorCode", 12},
                 {"errorDescription", "The trusted host process identifier is unavailable; receivedValue=0"}},
                {{"result", "helperUnavailable"}},
                {{"result", "protocolFailure"},
                 {"phase", "messageResolution"},
                 {"errorDomain", "Pellam.Unexpected"},
                 {"errorCode", 0},
                 {"errorDescription", "unforeseen"}}}));
  EXPECT_TRUE(launchersMade.empty());
  EXPECT_EQ(progress.size(), 3U);
}

TEST_F(Service, GrantsItsLaunchesThePeriodsThatItsHostsWaitFor) {
  constexpr std::uint64_t second = 1'000'000'000;
  resolver->answer = [&] {
    now += 25 * second;
    return OrvoAppBundleXPCReplacementLaunch{{}, 77};
  };
  launcher->answer = [](const LaunchProgressHandler&) { return Result::launched(); };
  send();
  ASSERT_NE(budget, nullptr);
  EXPECT_TRUE(budget->preAuthorizationShouldProceed());
  budget->beginPostAuthorizationPhase();
  now += 1;
  EXPECT_FALSE(budget->preAuthorizationShouldProceed());
  now += 10 * second - 1;
  EXPECT_TRUE(budget->postAuthorizationShouldProceed());
  now += 1;
  EXPECT_FALSE(budget->postAuthorizationShouldProceed());
}

TEST_F(Service, TimesOutWhenResolvingTookTooLong) {
  resolver->answer = [&] {
    now += 25'000'000'001;
    return OrvoAppBundleXPCReplacementLaunch{{}, 77};
  };
  send();
  EXPECT_EQ(replies,
            (std::vector<PropertyListDictionary>{{{"result", "timedOut"}, {"phase", "messageResolution"}}}));
  EXPECT_TRUE(launchersMade.empty());
}

TEST(LaunchTasks, WaitsForWorkInProgress) {
  std::promise<void> release;
  bool isDone = false;
  auto tasks = std::make_unique<LaunchTasks>();
  tasks->start([&, released = release.get_future().share()] {
    released.wait();
    isDone = true;
  });
  release.set_value();
  tasks.reset();
  EXPECT_TRUE(isDone);
}

}  // namespace
}  // namespace pellam
