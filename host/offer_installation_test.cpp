#include "host/offer_installation.h"

#include "tests/support/coordinator_fixture.h"

namespace pellam {
namespace {

using namespace testing_support;
using Case = OrvoUpdateInstallerError::Case;
using Outcome = InstallResult::Outcome;

class OfferInstallationTest : public CoordinatorFixture {
 protected:
  InstallResult install(const FeedEntry& entry) {
    InstalledApplication application;
    application.path = folder_ / "Editor.app";
    application.identity = {"Editor", "com.example.editor", "1.0", "100"};
    application.build = 100;
    (void)coordinator();
    const OfferInstallation installations(application, coordinator_);
    OfferInstallation::Attempt attempt{"attempt-1"};
    attempt.window = window_;
    InstallResult result;
    onWorker([&] { result = installations.install(entry, attempt); });
    return result;
  }
  std::shared_ptr<RecordingWindow> window_ = std::make_shared<RecordingWindow>();
};

TEST_F(OfferInstallationTest, AnAddressInPlaceComesFirst) {
  const InstallResult result =
      install({{"app-installer", "http://a/Editor.zip"}, {"installer", "http://b/Other.zip"}});
  EXPECT_EQ(network_->requests, std::vector<std::string>{"http://a/Editor.zip"});
  ASSERT_EQ(launcher_->requests.size(), 1U);
  EXPECT_EQ(result, (InstallResult{Outcome::handedOver, folder_ / "Editor.app",
                                   launcher_->requests.front().stagedApplicationURL}));
  EXPECT_EQ(launcher_->requests.front().failureReportAttemptIdentifier, "attempt-1");
  EXPECT_EQ(launcher_->requests.front().hostIdentity->bundleIdentifier, "com.example.editor");
  EXPECT_TRUE(opener_->opened.empty());
}

TEST_F(OfferInstallationTest, AnInstallerIsOpened) {
  const InstallResult result = install({{"app-installer", " "}, {"installer", "http://a/Editor.zip"}});
  ASSERT_EQ(opener_->opened.size(), 1U);
  EXPECT_EQ(opener_->opened.front().filename(), "Editor Installer.pkg");
  EXPECT_EQ(result, (InstallResult{Outcome::installerOpened, opener_->opened.front(), {}}));
  EXPECT_TRUE(launcher_->requests.empty());
}

TEST_F(OfferInstallationTest, AnEntryWithNeitherFailsAndClosesTheWindow) {
  for (const FeedEntry& entry : {FeedEntry{}, FeedEntry{{"app-installer", ""}, {"installer", " \n"}}}) {
    window_->shown.clear();
    mainThread_ = std::make_shared<MainThreadQueue>();
    coordinator_.reset();
    try {
      (void)install(entry);
      ADD_FAILURE() << "it did not fail";
    } catch (const OrvoUpdateInstallerError& error) {
      EXPECT_EQ(error.errorCase(), Case::missingArchiveURL);
    }
    EXPECT_EQ(window_->shown, std::vector<std::string>{"closed"});
  }
  EXPECT_TRUE(network_->requests.empty());
}

}  // namespace
}  // namespace pellam
