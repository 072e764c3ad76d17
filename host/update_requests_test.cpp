#include "host/update_requests.h"

#include <gtest/gtest.h>

#include "foundation/text_format.h"

namespace pellam {
namespace {

TEST(UpdateRequestsTest, AnInstallerRequestTakesWhatTheEntryStates) {
  const PropertyListDictionary feed = {{"installer", "https://example.com/a/Foo%202.zip?x=1"},
                                       {"installer-name", "Setup.pkg"}};
  const auto request = OrvoUpdateInstallerRequest::makeFromFeed(feed, "Foo", "%@ Installer.pkg", "Staging");
  EXPECT_EQ(request.archiveURL->text(), "https://example.com/a/Foo%202.zip?x=1");
  EXPECT_EQ(request.fallbackArchiveURL, std::nullopt);
  EXPECT_EQ(request.archiveFileName, "Foo 2.zip");
  EXPECT_EQ(request.installerFileName, "Setup.pkg");
  EXPECT_EQ(request.applicationName, "Foo");
  EXPECT_EQ(request.installerSubdirectoryName, "Staging");
}

TEST(UpdateRequestsTest, WhatIsNoAddressIsAbsent) {
  const PropertyListDictionary feeds[] = {
      {{"installer", 7}, {"app-installer", 7}},
      {{"installer", ""}, {"app-installer", ""}},
      {{"installer", "http://a b/"}, {"app-installer", "http://a b/"}},
      {{"installer-name", ""}},
  };
  for (const PropertyListDictionary& feed : feeds) {
    const auto installer = OrvoUpdateInstallerRequest::makeFromFeed(feed, "Foo", "%@ Installer.pkg", "S");
    EXPECT_EQ(installer.archiveURL, std::nullopt);
    EXPECT_EQ(installer.archiveFileName, "");
    EXPECT_EQ(installer.installerFileName, "Foo Installer.pkg");
    const auto bundle =
        OrvoAppBundleUpdateRequest::makeFromFeed(feed, {.applicationName = "Foo",
                                                        .installedApplicationURL = "/A/Foo.app",
                                                        .hostIdentity = {},
                                                        .helperExecutableURL = std::nullopt,
                                                        .installerSubdirectoryName = "S"});
    EXPECT_EQ(bundle.archiveURL, std::nullopt);
    EXPECT_EQ(bundle.archiveFileName, "");
  }
}

TEST(UpdateRequestsTest, ABundleRequestCopiesItsArguments) {
  const OrvoAppBundleUpdateHostIdentity identity{"com.example.foo", "1.0", 1, "TEAM", true};
  const auto request = OrvoAppBundleUpdateRequest::makeFromFeed(
      {{"app-installer", "http://example.com/Foo.zip"}}, {.applicationName = "Foo",
                                                          .installedApplicationURL = "/A/Foo.app",
                                                          .hostIdentity = identity,
                                                          .helperExecutableURL = "/helper",
                                                          .installerSubdirectoryName = "S",
                                                          .failureReportAttemptIdentifier = "attempt"});
  EXPECT_EQ(request.applicationName, "Foo");
  EXPECT_EQ(request.installerSubdirectoryName, "S");
  EXPECT_EQ(request.archiveFileName, "Foo.zip");
  EXPECT_EQ(request.hostIdentity, identity);
  EXPECT_EQ(request.installedApplicationURL, "/A/Foo.app");
  EXPECT_EQ(request.helperExecutableURL, "/helper");
  EXPECT_EQ(request.failureReportAttemptIdentifier, "attempt");
}

TEST(TextFormatTest, ArgumentsGoWhereTheTranslatorPutThem) {
  EXPECT_EQ(formatText("%@ of %@", {"1", "2"}), "1 of 2");
  EXPECT_EQ(formatText("%2$@ / %1$@", {"1", "2"}), "2 / 1");
  EXPECT_EQ(formatText("100%% %@ %@ %d", {"x"}), "100% x  %d");
  EXPECT_EQ(formatText("%3$@%0$@%", {"x"}), "%0$@%");
  EXPECT_EQ(formatText("%1 %1$ %1$d %-1$@ %99999999999999999999$@", {"x"}),
            "%1 %1$ %1$d %-1$@ %99999999999999999999$@");
}

}  // namespace
}  // namespace pellam
