#include <gtest/gtest.h>

#include "installer/launchd_relauncher.h"
#include "tests/support/service_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using Error = OrvoUpdateInstallerError;
using Phase = OrvoAppBundleInstallerLaunchPhase;

// What the work threw, or "" when it did not.
std::string thrown(const std::function<void()>& work) {
  try {
    work();
    return "";
  } catch (const Error& error) {
    return error.summary();
  }
}

TEST(LaunchdJob, HasExactlySevenEntries) {
  const OrvoAppBundleLaunchdJob job{"L", OrvoAppBundleLaunchdJobDomain::system, {"/p", "a b"}};
  EXPECT_EQ(job.launchdDictionary(),
            (PropertyListDictionary{{"Label", "L"},
                                    {"ProgramArguments", PropertyListArray{"/p", "a b"}},
                                    {"EnableTransactions", false},
                                    {"RunAtLoad", true},
                                    {"Nice", 0},
                                    {"ProcessType", "Interactive"},
                                    {"LaunchOnlyOnce", true}}));
}

struct Authorization : testing::Test {
  Journal journal;
  std::shared_ptr<FakeSecurityClient> client = std::make_shared<FakeSecurityClient>(journal);
  OrvoAppBundleSecurityAuthorizationProvider provider{client};

  std::string request(OrvoAppBundleLaunchdAuthorization& authorization, bool refuseToBegin = false) {
    return thrown([&] {
      provider.requestAdministratorRights(
          authorization, {.customRightName = "custom",
                          .serviceManagementRightName = "management",
                          .prompt = "Please",
                          .interactionWillBegin =
                              [&] {
                                journal.emplace_back("will begin");
                                if (refuseToBegin)
                                  throw Error::replacementHelperLaunchTimedOut(Phase::preAuthorization);
                              },
                          .interactionDidEnd = [&] { journal.emplace_back("did end"); }});
    });
  }
};

TEST_F(Authorization, IsMadeOnceAndFreedOnce) {
  { const auto authorization = provider.makeAuthorization(); }
  EXPECT_EQ(journal, (Journal{"create flags=0", "free flags=0"}));
}

TEST_F(Authorization, PassesOnWhyItCouldNotBeMade) {
  struct Row {
    std::int32_t status;
    bool givesReference;
    const char* error;
  };
  for (const Row& row : {Row{-60006, false, "authorizationCancelled status=-60006"},
                         Row{-60008, false, "authorizationDenied status=-60008"},
                         Row{0, false, "authorizationDenied status=0"}}) {
    client->createStatus = row.status;
    client->givesReference = row.givesReference;
    EXPECT_EQ(thrown([&] { (void)provider.makeAuthorization(); }), row.error);
  }
}

TEST_F(Authorization, DefinesTheRightThenAsksForBothRights) {
  OrvoAppBundleLaunchdAuthorization authorization(fakeReference());
  EXPECT_EQ(request(authorization), "");
  EXPECT_EQ(journal, (Journal{"set custom authenticate-admin \"Please\"", "will begin",
                              "copy custom management flags=3", "did end"}));
}

TEST_F(Authorization, StopsWhereItFailsAndAlwaysEndsTheInteraction) {
  OrvoAppBundleLaunchdAuthorization none;
  EXPECT_EQ(request(none), "authorizationDenied status=-60002");
  EXPECT_TRUE(journal.empty());

  OrvoAppBundleLaunchdAuthorization authorization(fakeReference());
  for (const auto& [status, error] : {std::pair{-60006, "authorizationCancelled status=-60006"},
                                      std::pair{-60001, "authorizationDenied status=-60001"}}) {
    journal.clear();
    client->setStatus = status;
    EXPECT_EQ(request(authorization), error);
    EXPECT_EQ(journal.size(), 1U);
    client->setStatus = 0;

    journal.clear();
    client->copyStatus = status;
    EXPECT_EQ(request(authorization), error);
    EXPECT_EQ(journal.back(), "did end");
    client->copyStatus = 0;
  }
  journal.clear();
  EXPECT_EQ(request(authorization, true), "replacementHelperLaunchTimedOut phase=preAuthorization");
  EXPECT_EQ(journal.back(), "will begin");
}

TEST_F(Authorization, AsksForTheManagementRightAloneWithoutInteraction) {
  OrvoAppBundleLaunchdAuthorization none;
  EXPECT_EQ(thrown([&] { provider.requestServiceManagementRightsWithoutInteraction(none, "management"); }),
            "authorizationDenied status=-60002");
  OrvoAppBundleLaunchdAuthorization authorization(fakeReference());
  client->copyStatus = -60007;
  EXPECT_EQ(
      thrown([&] { provider.requestServiceManagementRightsWithoutInteraction(authorization, "management"); }),
      "authorizationDenied status=-60007");
  EXPECT_EQ(journal, (Journal{"copy management flags=2"}));
}

struct Submission : testing::Test {
  Journal journal;
  std::shared_ptr<FakeJobControl> control = std::make_shared<FakeJobControl>(journal);
  OrvoAppBundleServiceManagementJobSubmitter submitter{control};
  OrvoAppBundleLaunchdAuthorization authorization{fakeReference()};

  std::string submit(OrvoAppBundleLaunchdJobDomain domain, bool shouldProceed) {
    return thrown([&] {
      submitter.submit({"L", domain, {"/p"}}, authorization, [&] {
        journal.emplace_back("proceed?");
        return shouldProceed;
      });
    });
  }
};

TEST_F(Submission, ReplacesAnOldJobAndIgnoresThatThereWasNone) {
  EXPECT_EQ(submit(OrvoAppBundleLaunchdJobDomain::user, true), "");
  EXPECT_EQ(submit(OrvoAppBundleLaunchdJobDomain::system, true), "");
  EXPECT_EQ(journal, (Journal{"remove user L wait", "proceed?", "submit user", "remove system L wait",
                              "proceed?", "submit system"}));
}

TEST_F(Submission, SubmitsNothingAfterTheDeadline) {
  EXPECT_EQ(submit(OrvoAppBundleLaunchdJobDomain::user, false),
            "replacementHelperLaunchTimedOut phase=postAuthorization");
  EXPECT_EQ(journal, (Journal{"remove user L wait", "proceed?"}));
}

TEST_F(Submission, ReportsARefusalWithAndWithoutAnError) {
  control->submission = {false, BridgedError{"CFErrorDomainLaunchd", 9, "in use"}};
  EXPECT_EQ(submit(OrvoAppBundleLaunchdJobDomain::user, true),
            "replacementHelperLaunchFailed phase=jobSubmission domain=CFErrorDomainLaunchd code=9 "
            "description=in use");
  control->submission = {false, std::nullopt};
  EXPECT_EQ(submit(OrvoAppBundleLaunchdJobDomain::user, true),
            "replacementHelperLaunchFailed phase=jobSubmission domain=ServiceManagement.SMJobSubmit "
            "description=SMJobSubmit returned false without an error.");
}

struct Relaunch : Submission {
  std::shared_ptr<FakeSecurityClient> client = std::make_shared<FakeSecurityClient>(journal);
  std::shared_ptr<FakeChecks> checks = std::make_shared<FakeChecks>();
  std::shared_ptr<FakeRelauncher> workspace = std::make_shared<FakeRelauncher>(journal);
  std::shared_ptr<FakeBundles> bundles = std::make_shared<FakeBundles>();
  std::optional<OrvoAppBundleLaunchdUserContext> user;

  OrvoAppBundleLaunchdRelauncher relauncher() {
    return OrvoAppBundleLaunchdRelauncher(
        {.workspaceRelauncher = workspace,
         .privilegeChecker = checks,
         .authorizationProvider = std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(client),
         .jobSubmitter = std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(control),
         .bundles = bundles,
         .launchUserContext = user});
  }
};

TEST_F(Relaunch, LeavesAnOrdinaryProcessToTheWorkspace) {
  workspace->answer = false;
  EXPECT_FALSE(relauncher().relaunchApplication("/E.app"));
  EXPECT_EQ(journal, (Journal{"workspace /E.app"}));
}

TEST_F(Relaunch, SubmitsAUserJobWithoutAUserAndASystemJobForOne) {
  checks->isPrivileged = true;
  EXPECT_TRUE(relauncher().relaunchApplication("/E.app"));
  EXPECT_EQ(*control->submitted.find("ProgramArguments"),
            PropertyListValue(PropertyListArray{"/usr/bin/open", "/E.app"}));
  EXPECT_EQ(journal, (Journal{"create flags=0", "remove user com.tarnvale.pellam-relaunch wait",
                              "submit user", "free flags=0"}));

  journal.clear();
  user = OrvoAppBundleLaunchdUserContext{501, 20, "ada", "/Users/ada"};
  bundles->bundles["/E.app"] = {{"CFBundleIdentifier", "com.example.E"}};
  EXPECT_TRUE(relauncher().relaunchApplication("/E.app"));
  EXPECT_EQ(
      *control->submitted.find("ProgramArguments"),
      PropertyListValue(PropertyListArray{"/bin/launchctl", "asuser", "501", "/usr/bin/open", "/E.app"}));
  EXPECT_EQ(journal,
            (Journal{"create flags=0", "copy com.apple.ServiceManagement.daemons.modify flags=2",
                     "remove system com.example.E.pellam-relaunch wait", "submit system", "free flags=0"}));
}

TEST_F(Relaunch, AnswersFalseForWhateverFails) {
  checks->isPrivileged = true;
  user = OrvoAppBundleLaunchdUserContext{501, 20, "ada", "/Users/ada"};
  client->copyStatus = -60005;
  EXPECT_FALSE(relauncher().relaunchApplication("/E.app"));
  client->copyStatus = 0;
  control->submission = {false, std::nullopt};
  EXPECT_FALSE(relauncher().relaunchApplication("/E.app"));
  client->createStatus = -60008;
  EXPECT_FALSE(relauncher().relaunchApplication("/E.app"));
  bundles->bundles["/E.app"] = {{"CFBundleIdentifier", ""}};
  EXPECT_EQ(relauncher().relaunchLabel("/E.app"), "com.tarnvale.pellam-relaunch");
}

}  // namespace
}  // namespace pellam
