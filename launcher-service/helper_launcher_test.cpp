#include "launcher-service/helper_launcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "launcher-service/phase_budget.h"
#include "tests/support/service_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;
using Budget = OrvoAppBundleInstallerLaunchPhaseBudget;
using std::chrono::nanoseconds;

TEST(PhaseBudget, AllowsUpToAndIncludingTheDeadline) {
  std::uint64_t now = 100;
  Budget budget({.preAuthorization = nanoseconds(10), .postAuthorization = nanoseconds(5)},
                [&] { return now; });
  EXPECT_FALSE(budget.postAuthorizationShouldProceed());
  now = 110;
  EXPECT_TRUE(budget.preAuthorizationShouldProceed());
  now = 111;
  EXPECT_FALSE(budget.preAuthorizationShouldProceed());

  budget.beginPostAuthorizationPhase();
  now = 116;
  EXPECT_TRUE(budget.postAuthorizationShouldProceed());
  now = 117;
  EXPECT_FALSE(budget.postAuthorizationShouldProceed());
  budget.beginPostAuthorizationPhase();
  EXPECT_TRUE(budget.postAuthorizationShouldProceed());
}

TEST(PhaseBudget, NeverAllowsAPeriodOfZeroAndSaturates) {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t now = 0;
  Budget zero({}, [&] { return now; });
  EXPECT_FALSE(zero.preAuthorizationShouldProceed());
  zero.beginPostAuthorizationPhase();
  EXPECT_FALSE(zero.postAuthorizationShouldProceed());

  now = largest - 5;
  Budget huge({.preAuthorization = nanoseconds(10), .postAuthorization = nanoseconds(10)},
              [&] { return now; });
  huge.beginPostAuthorizationPhase();
  now = largest;
  EXPECT_TRUE(huge.preAuthorizationShouldProceed());
  EXPECT_TRUE(huge.postAuthorizationShouldProceed());
}

struct Launch : testing::Test {
  Journal journal;
  std::shared_ptr<FakeSecurityClient> client = std::make_shared<FakeSecurityClient>(journal);
  std::shared_ptr<FakeJobControl> control = std::make_shared<FakeJobControl>(journal);
  std::shared_ptr<FakeChecks> checks = std::make_shared<FakeChecks>();
  std::shared_ptr<FakeBundles> bundles = std::make_shared<FakeBundles>();
  std::uint64_t now = 1'000;
  std::deque<bool> preAnswers;  // of both, then true
  std::deque<bool> postAnswers;
  CancellationSource hostHasGone;
  OrvoAppBundleReplacementRequest request;

  Launch() {
    request.stagedApplicationURL = "/stage/New.app";
    request.installedApplicationURL = "/Applications/Editor.app";
    request.helperExecutableURL = "/Applications/Editor.app/Contents/MacOS/PellamUpdateInstaller";
    request.hostIdentity = OrvoAppBundleUpdateHostIdentity{"com.example.E", "1", 1, std::nullopt, false};
    request.shouldRequestAuthorizationIfNeeded = true;
  }

  Result launch() {
    OrvoAppBundleLaunchdHelperLauncher::Collaborators with;
    with.permissionChecker = checks;
    with.ownershipMatcher = checks;
    with.authorizationProvider = std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(client);
    with.jobSubmitter = std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(control);
    with.processIdentifierProvider = [] { return 77; };
    with.launchUserContextProvider = [] {
      return OrvoAppBundleLaunchdUserContext{501, 20, "provided", "/home/provided"};
    };
    const auto next = [](std::deque<bool>& answers) {
      if (answers.empty()) return true;
      const bool answer = answers.front();
      answers.pop_front();
      return answer;
    };
    with.preAuthorizationShouldProceed = [this, next] { return next(preAnswers); };
    with.beginPostAuthorizationPhase = [this] { journal.emplace_back("begin post"); };
    with.postAuthorizationShouldProceed = [this, next] { return next(postAnswers); };
    with.monotonicTimeProvider = [this] { return now += 250; };
    with.bundles = bundles;
    with.hostHasGone = hostHasGone.token();
    OrvoAppBundleLaunchdHelperLauncher launcher(std::move(with));
    return launcher.launchReplacement(request, [this](const Progress& progress) {
      std::string line = "progress";
      for (const auto& [key, value] : progress.xpcDictionary()) line += " " + value.description();
      journal.push_back(line);
    });
  }
};

constexpr const char* askedBothRights =
    "copy com.example.E.pellam-update com.apple.ServiceManagement.daemons.modify flags=3";

TEST_F(Launch, SubmitsAUserJobWithoutAskingWhereNothingStandsInTheWay) {
  EXPECT_EQ(launch(), Result::launched());
  EXPECT_EQ(journal, (Journal{"create flags=0", "begin post", "remove user com.example.E.pellam-updater wait",
                              "submit user", "progress jobSubmitted", "free flags=0"}));
  PropertyListArray arguments{"/Applications/Editor.app/Contents/MacOS/PellamUpdateInstaller"};
  for (const std::string& argument : request.helperArguments(
           77, OrvoAppBundleLaunchdUserContext{501, 20, "provided", "/home/provided"}, std::nullopt)) {
    arguments.emplace_back(argument);
  }
  EXPECT_EQ(*control->submitted.find("ProgramArguments"), PropertyListValue(arguments));
}

TEST_F(Launch, AsksFirstAndSubmitsASystemJobWhereRightsAreNeeded) {
  checks->canMatch = false;
  request.launchUserContext = OrvoAppBundleLaunchdUserContext{7, 8, "own", "/home/own"};
  EXPECT_EQ(launch(), Result::launched());
  EXPECT_EQ(journal,
            (Journal{"progress false true authorizationRequired", "create flags=0",
                     "set com.example.E.pellam-update authenticate-admin \"Editor needs permission to update "
                     "the installed app.\"",
                     "progress authorizationBegan", askedBothRights, "progress 250 authorizationEnded",
                     "begin post", "remove system com.example.E.pellam-updater wait", "submit system",
                     "progress jobSubmitted", "free flags=0"}));
  const PropertyListArray& arguments = *control->submitted.find("ProgramArguments")->array();
  EXPECT_NE(std::find(arguments.begin(), arguments.end(), PropertyListValue("own")), arguments.end());
}

TEST_F(Launch, IsDeniedWithoutAskingWhenTheHostDoesNotWantAQuestion) {
  checks->isWritable = false;
  request.shouldRequestAuthorizationIfNeeded = false;
  EXPECT_EQ(launch(), Result::authorizationDenied(-60005));
  EXPECT_EQ(journal, (Journal{"progress true false authorizationRequired"}));
}

TEST_F(Launch, IsUnavailableWithoutAHelper) {
  request.helperExecutableURL.reset();
  EXPECT_EQ(launch(), Result::helperUnavailable());
  EXPECT_TRUE(journal.empty());
}

TEST_F(Launch, StopsAtEachDeadline) {
  struct Row {
    std::deque<bool> preAnswers;
    bool isWritable;
    Journal journal;
  };
  const Row rows[] = {
      {{false}, true, {}},
      {{true, false}, true, {"create flags=0", "free flags=0"}},
      {{true, true, false},
       false,
       {"progress true false authorizationRequired", "create flags=0",
        "set com.example.E.pellam-update authenticate-admin \"Editor needs permission to update the "
        "installed "
        "app.\"",
        "free flags=0"}},
  };
  for (const Row& row : rows) {
    journal.clear();
    preAnswers = row.preAnswers;
    checks->isWritable = row.isWritable;
    EXPECT_EQ(launch(), Result::timedOut(Phase::preAuthorization));
    EXPECT_EQ(journal, row.journal);
  }
  journal.clear();
  checks->isWritable = true;
  postAnswers = {false};
  EXPECT_EQ(launch(), Result::timedOut(Phase::postAuthorization));
  EXPECT_EQ(journal, (Journal{"create flags=0", "begin post", "free flags=0"}));
  // The time may have gone on the removal of an earlier job.
  journal.clear();
  postAnswers = {true, false};
  EXPECT_EQ(launch(), Result::timedOut(Phase::postAuthorization));
  EXPECT_EQ(journal, (Journal{"create flags=0", "begin post", "remove user com.example.E.pellam-updater wait",
                              "free flags=0"}));
}

TEST_F(Launch, AsksAndStartsNothingForAHostThatHasGone) {
  client->whileAsking = [this] { hostHasGone.cancel(); };
  checks->isWritable = false;
  EXPECT_EQ(launch(), Result::timedOut(Phase::postAuthorization));
  EXPECT_EQ(journal[journal.size() - 2], "begin post") << "answered, and nothing removed or submitted";

  journal.clear();
  EXPECT_EQ(launch(), Result::timedOut(Phase::preAuthorization));
  EXPECT_EQ(std::count(journal.begin(), journal.end(), askedBothRights), 0);

  checks->isWritable = true;
  EXPECT_EQ(launch(), Result::launched()) << "without a question the host is not needed";
}

TEST_F(Launch, MapsEveryFailureToItsResult) {
  client->createStatus = -60008;
  EXPECT_EQ(launch(), Result::authorizationDenied(-60008));
  client->createStatus = 0;

  checks->isWritable = false;
  client->copyStatus = -60006;
  EXPECT_EQ(launch(), Result::authorizationCancelled(-60006));
  EXPECT_EQ(journal[journal.size() - 2], "begin post");
  client->copyStatus = 0;

  control->submission = {false, BridgedError{"D", 9, "text"}};
  EXPECT_EQ(launch(), Result::launchFailed({Phase::jobSubmission, "D", 9, "text"}));
  control->submission = {true, std::nullopt};

  // An error that nobody expects is still one result.
  checks->isWritable = true;
  request.helperExecutableURL = "/x";
  struct Broken final : OrvoAppBundleLaunchdJobSubmitting {
    void submit(const OrvoAppBundleLaunchdJob&, const OrvoAppBundleLaunchdAuthorization&,
                const std::function<bool()>&) override {
      throw Error(Error::Case::replacementFailed);
    }
    using Error = OrvoUpdateInstallerError;
  };
  OrvoAppBundleLaunchdHelperLauncher::Collaborators with{
      checks,
      checks,
      std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(client),
      std::make_shared<Broken>(),
      [] { return 1; },
      [] { return OrvoAppBundleLaunchdUserContext{}; },
      [] { return true; },
      [] {},
      [] { return true; },
      [] { return std::uint64_t{0}; },
      bundles};
  OrvoAppBundleLaunchdHelperLauncher launcher(std::move(with));
  const Result result = launcher.launchReplacement(request, [](const Progress&) {});
  EXPECT_EQ(result.kind, Result::Kind::launchFailed);
  EXPECT_EQ(result.diagnostic.phase, Phase::jobSubmission);
  EXPECT_EQ(result.diagnostic.errorDomain, "PellamCore.OrvoUpdateInstallerError");
  EXPECT_EQ(result.diagnostic.errorCode, 22);
}

TEST_F(Launch, ReportsNoNegativeDuration) {
  checks->isWritable = false;
  std::uint64_t backwards = 10'000;
  OrvoAppBundleLaunchdHelperLauncher::Collaborators with{
      checks,
      checks,
      std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(client),
      std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(control),
      [] { return 1; },
      [] { return OrvoAppBundleLaunchdUserContext{}; },
      [] { return true; },
      [] {},
      [] { return true; },
      [&] { return backwards -= 5; },
      bundles};
  OrvoAppBundleLaunchdHelperLauncher launcher(std::move(with));
  std::vector<Progress> events;
  (void)launcher.launchReplacement(request, [&](const Progress& progress) { events.push_back(progress); });
  EXPECT_EQ(events.at(2), Progress::authorizationEnded(0));
}

TEST_F(Launch, NamesRightLabelAndPromptAfterTheApplication) {
  using Launcher = OrvoAppBundleLaunchdHelperLauncher;
  request.hostIdentity->bundleIdentifier = "";
  EXPECT_EQ(Launcher::launchdLabel(request), "com.tarnvale.pellam.pellam-updater");
  EXPECT_EQ(Launcher::authorizationRightName(request), "com.tarnvale.pellam.pellam-update");
  request.hostIdentity.reset();
  EXPECT_EQ(Launcher::launchdLabel(request), "com.tarnvale.pellam.pellam-updater");

  bundles->main = "/Host.app/Contents/XPCServices/S.xpc";
  Launcher::Collaborators with;
  with.bundles = bundles;
  const Launcher launcher(std::move(with));
  EXPECT_EQ(launcher.authorizationPrompt(request), "Editor needs permission to update the installed app.");
  constexpr const char* key = "%@ needs permission to update the installed app.";
  const FakeBundles::LookUp inService{"/Host.app/Contents/XPCServices/S.xpc", "Updates", key};
  EXPECT_EQ(bundles->lookedUp.back(), inService);
  bundles->bundles["/Applications/Editor.app"] = {};
  bundles->translations = {{key, "Zum Aktualisieren braucht %@ eine Genehmigung."}};
  EXPECT_EQ(launcher.authorizationPrompt(request), "Zum Aktualisieren braucht Editor eine Genehmigung.");
  EXPECT_EQ(bundles->lookedUp.back().bundle, "/Applications/Editor.app");
  bundles->translations.clear();
  request.installedApplicationURL = "";
  EXPECT_EQ(launcher.authorizationPrompt(request), "The app needs permission to update the installed app.");
}

}  // namespace
}  // namespace pellam
