#include "launcher-protocol/launch_result.h"

#include <gtest/gtest.h>

#include "pellam/launch_progress.h"
#include "platform/security_status.h"

namespace pellam {
namespace {

using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

const Result invalidResult = Result::protocolFailure(
    {Phase::xpcReply, "Pellam.XPCReply", std::nullopt, "The launcher service returned an invalid result."});

TEST(LaunchResult, EncodesExactlyItsKeysAndDecodesBack) {
  struct Row {
    Result result;
    PropertyListDictionary encoded;
  };
  const PropertyListValue denied = *securityErrorMessage(-60005);
  const Row rows[] = {
      {Result::launched(), {{"result", "launched"}}},
      {Result::helperUnavailable(), {{"result", "helperUnavailable"}}},
      {Result::launchFailed({Phase::jobSubmission, "D", -7, ""}),
       {{"result", "launchFailed"},
        {"phase", "jobSubmission"},
        {"errorDomain", "D"},
        {"errorCode", -7},
        {"errorDescription", ""}}},
      {Result::protocolFailure({Phase::messageResolution, std::nullopt, std::nullopt, std::nullopt}),
       {{"result", "protocolFailure"}, {"phase", "messageResolution"}}},
      {Result::authorizationDenied(-60005),
       {{"result", "authorizationDenied"},
        {"phase", "authorization"},
        {"errorDomain", "NSOSStatusErrorDomain"},
        {"errorCode", -60005},
        {"errorDescription", denied}}},
      {Result::authorizationCancelled(12345),
       {{"result", "authorizationCancelled"},
        {"phase", "authorization"},
        {"errorDomain", "NSOSStatusErrorDomain"},
        {"errorCode", 12345}}},
      {Result::timedOut(Phase::postAuthorization), {{"result", "timedOut"}, {"phase", "postAuthorization"}}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.result.xpcDictionary(), row.encoded);
    EXPECT_EQ(Result::fromXPCDictionary(row.encoded), row.result);
  }
}

TEST(LaunchResult, ToleratesForeignTypesOnlyWhereTheyDoNotMatter) {
  EXPECT_EQ(Result::fromXPCDictionary({{"result", "launchFailed"},
                                       {"phase", "xpcReply"},
                                       {"errorDomain", 5},
                                       {"errorCode", "5"},
                                       {"errorDescription", true}}),
            Result::launchFailed({Phase::xpcReply, std::nullopt, std::nullopt, std::nullopt}));
  EXPECT_EQ(Result::fromXPCDictionary({{"result", "authorizationDenied"},
                                       {"phase", "authorization"},
                                       {"errorDomain", "anything"},
                                       {"errorCode", std::uint32_t{7}}}),
            Result::authorizationDenied(7));
}

TEST(LaunchResult, TurnsEveryInvalidReplyIntoOneProtocolFailure) {
  const PropertyListDictionary replies[] = {
      {},
      {{"result", true}},
      {{"result", "Launched"}},
      {{"result", "launchFailed"}},
      {{"result", "protocolFailure"}, {"phase", "XpcReply"}},
      {{"result", "timedOut"}, {"phase", 1}},
      {{"result", "timedOut"}},
      {{"result", "authorizationDenied"}, {"phase", "authorization"}},
      {{"result", "authorizationDenied"}, {"phase", "authorization"}, {"errorCode", "-60005"}},
      {{"result", "authorizationDenied"}, {"phase", "jobSubmission"}, {"errorCode", -60005}},
      {{"result", "authorizationCancelled"}, {"phase", "authorization"}, {"errorCode", 2147483648}},
      {{"result", "authorizationCancelled"}, {"errorCode", -60006}},
  };
  for (const PropertyListDictionary& reply : replies) {
    EXPECT_EQ(Result::fromXPCDictionary(reply), invalidResult) << PropertyListValue(reply).description();
  }
}

TEST(LaunchProgress, EncodesExactlyItsKeysAndDecodesBack) {
  struct Row {
    Progress progress;
    PropertyListDictionary encoded;
  };
  const Row rows[] = {
      {Progress::handoffStarted(), {{"event", "handoffStarted"}}},
      {Progress::authorizationRequired(true, false),
       {{"event", "authorizationRequired"},
        {"destinationParentIsWritable", true},
        {"canPreserveInstalledOwnership", false}}},
      {Progress::authorizationBegan(), {{"event", "authorizationBegan"}}},
      {Progress::authorizationEnded(UINT64_MAX),
       {{"event", "authorizationEnded"}, {"elapsedNanoseconds", UINT64_MAX}}},
      {Progress::jobSubmitted(), {{"event", "jobSubmitted"}}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.progress.xpcDictionary(), row.encoded);
    EXPECT_EQ(Progress::fromXPCDictionary(row.encoded), row.progress);
  }
}

TEST(LaunchProgress, DropsWhatIsNoEvent) {
  const PropertyListDictionary dictionaries[] = {
      {},
      {{"event", 1}},
      {{"event", "handoffstarted"}},
      {{"Event", "handoffStarted"}},
      {{"event", "authorizationRequired"}, {"destinationParentIsWritable", true}},
      {{"event", "authorizationRequired"},
       {"destinationParentIsWritable", "maybe"},
       {"canPreserveInstalledOwnership", true}},
      {{"event", "authorizationEnded"}},
      {{"event", "authorizationEnded"}, {"elapsedNanoseconds", -1}},
      {{"event", "authorizationEnded"}, {"elapsedNanoseconds", "1"}},
  };
  for (const PropertyListDictionary& dictionary : dictionaries) {
    EXPECT_EQ(Progress::fromXPCDictionary(dictionary), std::nullopt)
        << PropertyListValue(dictionary).description();
  }
}

}  // namespace
}  // namespace pellam
