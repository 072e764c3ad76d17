#include "tools/pellam_update/update_session.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/process_information.h"
#include "tests/support/coordinator_fakes.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/updater_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;

// Everything is done where it is asked for.
struct ThisThread final : MainThread {
  void perform(std::function<void()> work) override { work(); }
  void performAndWait(const std::function<void()>& work) override { work(); }
};

// Reports the hand-off's steps and lets the test interfere between them.
struct SlowLauncher final : OrvoAppBundleUpdateHelperLaunching {
  OrvoAppBundleReplacementLaunchResult launchReplacement(const OrvoAppBundleReplacementRequest&,
                                                         const LaunchProgressHandler& progress) override {
    beforeHandOff();
    progress(OrvoAppBundleInstallerLaunchProgress::handoffStarted());
    afterHandOff();
    return OrvoAppBundleReplacementLaunchResult::launched();
  }
  std::function<void()> beforeHandOff = [] {};
  std::function<void()> afterHandOff = [] {};
};

class UpdateSessionTest : public testing::Test {
 protected:
  UpdateSessionTest() {
    const auto helper = folder_.write("Editor.app/Contents/MacOS/PellamUpdateInstaller", "#!/bin/sh\n");
    std::filesystem::permissions(helper, std::filesystem::perms::owner_all);
    downloads_->answers["https://a/Editor.zip"] = 200;
    feed_->serve({{{"type", "update"},
                   {"id", "editor-2"},
                   {"current", "2.0"},
                   {"app-installer", "https://a/Editor.zip"}}});
    line_.feed = URL::parse("https://a/feed.plist");
    line_.installWithoutAsking = true;
  }

  // The events of one run, and what was complained of.
  std::string run(const CancellationToken& cancellation = {}) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* output = ::open_memstream(&text, &size);
    UpdateReporter reporter(output, UpdateReporter::Form::json, [] { return std::uint64_t{0}; });
    const auto mainThread = std::make_shared<ThisThread>();
    const auto clock = std::make_shared<FixedClock>();
    InstalledApplication application;
    application.path = folder_ / "Editor.app";
    application.identity = {"Editor", "com.example.editor", "1.0", "100"};
    application.build = 100;
    UpdateSession session(
        {application,
         std::make_shared<UpdateCheck>(
             feed_, std::make_shared<UpdateSettings>(std::make_shared<MemorySettings>()), clock),
         std::make_shared<OrvoUpdateInstallerCoordinator>(OrvoUpdateInstallerCoordinator::Collaborators{
             .fileManager = files_,
             .networkClient = downloads_,
             .unzipper = std::make_shared<FolderMaker>(),
             .launcher = std::make_shared<RecordingOpener>(),
             .appBundleValidator = std::make_shared<RecordingValidator>(),
             .replacementLauncher = launcher_,
             .launchUserContextProvider = adasContext,
             .environment = fakeEnvironment(mainThread, clock)}),
         std::make_shared<OrvoAppBundleUpdateFailureReportStore>(files_, clock), makeSystemUUIDGenerator(),
         mainThread, reporter, [](const CancellationToken&) { return false; },
         [this](const std::string& complaint) { complaints_ += complaint; }},
        line_, options_);
    status_ = session.run(cancellation);
    (void)std::fclose(output);
    std::istringstream lines{std::string(text, size)};
    std::free(text);
    std::string events;
    for (std::string line; std::getline(lines, line);) {
      lastEvent_ = nlohmann::json::parse(line);
      const std::string event = lastEvent_["event"];
      if (event != "progress") events += (events.empty() ? "" : " ") + event;
    }
    return events;
  }

  TemporaryFolder folder_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<ScriptedNetwork> downloads_ = std::make_shared<ScriptedNetwork>();
  std::shared_ptr<ScriptedFeed> feed_ = std::make_shared<ScriptedFeed>();
  std::shared_ptr<SlowLauncher> launcher_ = std::make_shared<SlowLauncher>();
  UpdateCommandLine line_;
  UpdateCheckOptions options_;
  UpdateExitStatus status_ = UpdateExitStatus::failed;
  std::string complaints_;
  nlohmann::json lastEvent_;
};

TEST_F(UpdateSessionTest, AnInterruptAfterTheHandOffIsAnswered) {
  EXPECT_EQ(run(), "checking offer nextCheck launch launched");
  for (const bool isEarly : {false, true}) {
    CancellationSource interrupt;
    launcher_->beforeHandOff = [&] {
      if (isEarly) interrupt.cancel();  // too late for the coordinator, which looks no more
    };
    launcher_->afterHandOff = [&] { interrupt.cancel(); };
    EXPECT_EQ(run(interrupt.token()), "checking offer nextCheck launch tooLateToCancel launched") << isEarly;
    EXPECT_EQ(status_, UpdateExitStatus::done);
  }
  CancellationSource interrupt;
  downloads_->onRequest = [&] { interrupt.cancel(); };
  EXPECT_EQ(run(interrupt.token()), "checking offer nextCheck cancelled");
  EXPECT_EQ(status_, UpdateExitStatus::failed);
}

TEST_F(UpdateSessionTest, AFailureNamesThePathThatItIsAbout) {
  folder_.write("Support", "in the place of the folder with the failure reports");
  EXPECT_EQ(run(), "checking offer nextCheck failed");
  const std::string message = lastEvent_["message"];
  EXPECT_NE(message.find((folder_ / "Support").string()), std::string::npos) << message;
  EXPECT_NE(message.find(": Not a directory"), std::string::npos) << message;
  EXPECT_EQ(complaints_, message);
}

TEST_F(UpdateSessionTest, WhatIsNotOfferedIsExplained) {
  feed_->serve({{{"type", "news"}, {"id", "n"}},
                {{"type", "update"}, {"id", "old"}, {"current", "0.9"}},
                {{"type", "update"}, {"id", "pro"}, {"current", "2.0"}, {"sku", "pro"}}});
  EXPECT_EQ(run(), "checking nothingToOffer");
  EXPECT_EQ(status_, UpdateExitStatus::nothingToOffer);
  EXPECT_EQ(lastEvent_["entries"].dump(), R"([{"identifier":"old","reason":"notNewer","version":"0.9"},)"
                                          R"({"identifier":"pro","reason":"edition","version":"2.0"}])");
}

}  // namespace
}  // namespace pellam
