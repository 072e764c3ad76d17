#include "pellam/installer_error.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <system_error>

namespace pellam {
namespace {

using Case = OrvoUpdateInstallerError::Case;
using Phase = OrvoAppBundleInstallerLaunchPhase;

OrvoUpdateInstallerError made(int code) {
  switch (code) {
    case 0:
      return OrvoUpdateInstallerError::replacementHelperLaunchFailed({});
    case 1:
      return OrvoUpdateInstallerError::replacementHelperProtocolFailure({});
    case 2:
      return OrvoUpdateInstallerError::replacementHelperLaunchTimedOut(Phase::authorization);
    case 3:
      return OrvoUpdateInstallerError::authorizationDenied(-60005);
    case 4:
      return OrvoUpdateInstallerError::authorizationCancelled(-60006);
    default:
      return static_cast<Case>(code);
  }
}

// Names and codes appear in reports and logs: a change of either breaks what is stored.
TEST(InstallerErrorTest, NamesAndCodesNeverChange) {
  const char* const names[] = {"replacementHelperLaunchFailed",
                               "replacementHelperProtocolFailure",
                               "replacementHelperLaunchTimedOut",
                               "authorizationDenied",
                               "authorizationCancelled",
                               "missingArchiveURL",
                               "downloadFailed",
                               "writeFailed",
                               "unzipFailed",
                               "launchFailed",
                               "invalidArchive",
                               "noAppBundleFound",
                               "multipleAppBundlesFound",
                               "bundleIdentifierMismatch",
                               "teamIdentifierMismatch",
                               "nonNewerBundleVersion",
                               "minimumOSVersionUnsupported",
                               "missingExecutable",
                               "signatureValidationFailed",
                               "replacementHelperUnavailable",
                               "replacementLaunchFailed",
                               "destinationNotWritable",
                               "replacementFailed",
                               "relaunchFailed"};
  static_assert(std::size(names) == 24);
  for (int code = 0; code < 24; ++code) {
    const OrvoUpdateInstallerError error = made(code);
    EXPECT_EQ(error.caseName(), names[code]);
    EXPECT_EQ(error.bridged().code, code);
    EXPECT_EQ(error.bridged().domain, "PellamCore.OrvoUpdateInstallerError");
    for (int other = 0; other < 24; ++other) EXPECT_EQ(error == made(other), code == other);
  }
}

TEST(InstallerErrorTest, PayloadsTakePartInEquality) {
  EXPECT_NE(OrvoUpdateInstallerError::authorizationDenied(-60005),
            OrvoUpdateInstallerError::authorizationDenied(-60006));
  EXPECT_NE(OrvoUpdateInstallerError::authorizationDenied(-60006),
            OrvoUpdateInstallerError::authorizationCancelled(-60006));
  EXPECT_NE(OrvoUpdateInstallerError::replacementHelperLaunchFailed({Phase::jobSubmission, "d", 1, "a"}),
            OrvoUpdateInstallerError::replacementHelperLaunchFailed({Phase::jobSubmission, "d", 1, "b"}));
  EXPECT_THROW(OrvoUpdateInstallerError{Case::authorizationDenied}, std::logic_error);
  EXPECT_EQ(
      OrvoUpdateInstallerError::replacementHelperLaunchFailed({Phase::jobSubmission, "d", 1, ""}).summary(),
      "replacementHelperLaunchFailed phase=jobSubmission domain=d code=1");
  EXPECT_EQ(made(4).summary(), "authorizationCancelled status=-60006");
}

TEST(InstallerErrorTest, OtherErrorsAreBridgedByTheirKind) {
  EXPECT_EQ(bridge(made(6)).code, 6);
  const BridgedError system = bridge(std::system_error(ENOENT, std::generic_category()));
  EXPECT_EQ(system, (BridgedError{"NSPOSIXErrorDomain", ENOENT, "No such file or directory"}));
  EXPECT_EQ(bridge(std::runtime_error("x")), (BridgedError{"Pellam.Unexpected", 0, "x"}));
  EXPECT_EQ(launchPhaseFromRawValue("xpcReply"), Phase::xpcReply);
  EXPECT_EQ(launchPhaseFromRawValue("XPCReply"), std::nullopt);
}

}  // namespace
}  // namespace pellam
