#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/standard_updater_core.h"
#include "host/update_settings.h"
#include "pellam/feed_entry.h"
#include "platform/identifiers.h"
#include "tests/support/coordinator_fakes.h"
#include "tests/support/recording_toolkit.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/updater_fakes.h"

namespace pellam::testing_support {

// A standard updater with everything around it in the test's hands: the windows, the clock, the feed, the
// downloads, the disk. The test is the main thread.
class StandardUpdaterFixture : public testing::Test {
 protected:
  StandardUpdaterFixture() {
    const auto helper = folder_.write("Editor.app/Contents/MacOS/PellamUpdateInstaller", "#!/bin/sh\n");
    std::filesystem::permissions(helper, std::filesystem::perms::owner_all);
    downloads_->answers["https://a/Editor.zip"] = 200;
    feed_->serve({entry()});
    makeUpdater();
  }

  static FeedEntry entry(const FeedEntry& changes = {}) {
    FeedEntry entry = {{"type", "update"},
                       {"id", "editor-2"},
                       {"url", "https://a/notes.html"},
                       {"title", "Editor 2.0"},
                       {"current", "2.0"},
                       {"interval", "7200"},
                       {"app-installer", "https://a/Editor.zip"}};
    for (const auto& [key, value] : changes) entry.set(key, value);
    return entry;
  }
  static FeedEntry installerEntry() {
    FeedEntry changed = entry({{"installer", "https://a/Editor.zip"}});
    changed.erase("app-installer");
    return changed;
  }

  // The application starts anew: what is on disk and in the settings stays.
  void makeUpdater() {
    updater_.reset();
    const auto coordinator = std::make_shared<OrvoUpdateInstallerCoordinator>(
        OrvoUpdateInstallerCoordinator::Collaborators{.fileManager = files_,
                                                      .networkClient = downloads_,
                                                      .unzipper = unzipper_,
                                                      .launcher = opener_,
                                                      .appBundleValidator = validator_,
                                                      .replacementLauncher = launcher_,
                                                      .launchUserContextProvider = adasContext,
                                                      .environment = fakeEnvironment(mainThread_, time_)});
    InstalledApplication application;
    application.path = folder_ / "Editor.app";
    application.identity = {"Editor", "com.example.editor", "1.0", "100"};
    application.build = 100;
    OrvoStandardUpdaterConfiguration configuration{.feedURL = *URL::parse("https://a/feed.plist")};
    configuration.manualUpdateURL = manualUpdateURL_;
    StandardUpdaterCollaborators collaborators{application,
                                               mainThread_,
                                               toolkit_,
                                               std::make_shared<FakeBundles>(),
                                               workspace_,
                                               settings_,
                                               feed_,
                                               coordinator,
                                               reports_,
                                               makeSystemUUIDGenerator(),
                                               time_,
                                               time_->sleep(),
                                               [this](const std::function<void()>& job) {
                                                 ++jobs_;
                                                 job();
                                               },
                                               [this] {
                                                 ++draws_;
                                                 return std::uint64_t{10};
                                               },
                                               logger_,
                                               [this] {
                                                 ++terminations_;
                                                 if (onTerminate_) onTerminate_();
                                               }};
    updater_ = std::make_unique<StandardUpdaterCore>(configuration, std::move(collaborators));
  }

  // Is the main thread until that is so.
  void until(const std::function<bool()>& isDone) { mainThread_->serviceUntil(isDone); }
  void untilLogged(const std::string& line, int times = 1) {
    until([&] { return logger_->count(line) >= times; });
  }
  // The open window; waits for one with a button of that title when one is named.
  std::shared_ptr<RecordedWindow> window() { return toolkit_->openWindow(); }
  void untilPrompt() {
    until([&] { return window() && window()->prompt; });
  }
  // Accepts the offer and, when the update is ready, its installation.
  void installOffer(bool confirms = true) {
    untilPrompt();
    ASSERT_TRUE(window()->click("Install Update"));
    if (!confirms) return;
    until([&] { return window() && window()->click("Install and Relaunch"); });
  }
  UpdateSettings remembered() { return UpdateSettings(settings_); }

  TemporaryFolder folder_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<ScriptedNetwork> downloads_ = std::make_shared<ScriptedNetwork>();
  std::shared_ptr<FolderMaker> unzipper_ = std::make_shared<FolderMaker>();
  std::shared_ptr<RecordingOpener> opener_ = std::make_shared<RecordingOpener>();
  std::shared_ptr<RecordingValidator> validator_ = std::make_shared<RecordingValidator>();
  std::shared_ptr<RecordingLauncher> launcher_ = std::make_shared<RecordingLauncher>();
  std::shared_ptr<ServicedMainThread> mainThread_ = ServicedMainThread::make(std::make_shared<NoMainLoop>());
  std::shared_ptr<RecordingToolkit> toolkit_ = std::make_shared<RecordingToolkit>();
  std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
  std::shared_ptr<MemorySettings> settings_ = std::make_shared<MemorySettings>();
  std::shared_ptr<ScriptedFeed> feed_ = std::make_shared<ScriptedFeed>();
  std::shared_ptr<ManualTime> time_ = std::make_shared<ManualTime>();
  std::shared_ptr<RecordingLogger> logger_ = std::make_shared<RecordingLogger>();
  std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports_ =
      std::make_shared<OrvoAppBundleUpdateFailureReportStore>(files_, time_);
  std::optional<URL> manualUpdateURL_;
  int draws_ = 0;
  std::atomic<int> jobs_ = 0;
  int terminations_ = 0;
  std::function<void()> onTerminate_;
  std::unique_ptr<StandardUpdaterCore> updater_;
};

}  // namespace pellam::testing_support
