#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>

#include "pellam/installer_error.h"
#include "pellam/main_thread_queue.h"
#include "platform/identifiers.h"
#include "tests/support/coordinator_fakes.h"
#include "tests/support/temporary_folder.h"

namespace pellam::testing_support {

// A coordinator with everything around it in the test's hands, and an Editor to install an update of.
class CoordinatorFixture : public testing::Test {
 protected:
  CoordinatorFixture() {
    helper_ = folder_.write("Editor.app/Contents/MacOS/PellamUpdateInstaller", "#!/bin/sh\n");
    std::filesystem::permissions(helper_, std::filesystem::perms::owner_all);
    network_->answers["http://a/Editor.zip"] = 200;
  }

  OrvoUpdateInstallerCoordinator::Collaborators collaborators() {
    return {.fileManager = files_,
            .networkClient = network_,
            .unzipper = unzipper_,
            .launcher = opener_,
            .appBundleValidator = validator_,
            .replacementLauncher = launcher_,
            .launchUserContextProvider = adasContext,
            .environment = fakeEnvironment(mainThread_, clock_,
                                           [this](const std::string& line) { log_.push_back(line); })};
  }

  OrvoUpdateInstallerCoordinator& coordinator() {
    if (!coordinator_) {
      coordinator_ = std::make_shared<OrvoUpdateInstallerCoordinator>(collaborators());
    }
    return *coordinator_;
  }

  OrvoAppBundleUpdateRequest request() const {
    OrvoAppBundleUpdateRequest request;
    request.archiveURL = URL::parse("http://a/Editor.zip");
    request.archiveFileName = "Editor.zip";
    request.applicationName = "Editor";
    request.installedApplicationURL = folder_ / "Editor.app";
    request.hostIdentity = {"com.example.editor", "1.0", 100, "TEAM", false};
    request.helperExecutableURL = helper_;
    request.installerSubdirectoryName = "SeamlessInstaller";
    request.failureReportAttemptIdentifier = "attempt";
    return request;
  }

  // Runs the work on a worker while this thread is the main thread, as in a host.
  template <typename Work>
  void onWorker(const Work& work) {
    std::exception_ptr failure;
    std::thread worker([&] {
      try {
        work();
      } catch (...) {
        failure = std::current_exception();
      }
      mainThread_->stop();
    });
    mainThread_->run();
    worker.join();
    if (failure) std::rethrow_exception(failure);
  }

  // The case that an install of the request ends with.
  OrvoUpdateInstallerError::Case failureOf(const OrvoAppBundleUpdateRequest& request) {
    try {
      coordinator().installAppBundleUpdate(request, nullptr, [](const auto&) {}, {});
    } catch (const OrvoUpdateInstallerError& error) {
      return error.errorCase();
    }
    ADD_FAILURE() << "the installation did not fail";
    return OrvoUpdateInstallerError::Case::relaunchFailed;
  }

  TemporaryFolder folder_;
  std::filesystem::path helper_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<ScriptedNetwork> network_ = std::make_shared<ScriptedNetwork>();
  std::shared_ptr<FolderMaker> unzipper_ = std::make_shared<FolderMaker>();
  std::shared_ptr<RecordingOpener> opener_ = std::make_shared<RecordingOpener>();
  std::shared_ptr<RecordingValidator> validator_ = std::make_shared<RecordingValidator>();
  std::shared_ptr<RecordingLauncher> launcher_ = std::make_shared<RecordingLauncher>();
  std::shared_ptr<MainThreadQueue> mainThread_ = std::make_shared<MainThreadQueue>();
  std::vector<std::string> log_;  // of the coordinator
  std::shared_ptr<PellamClock> clock_ = std::make_shared<FixedClock>();
  std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator_;
};

}  // namespace pellam::testing_support
