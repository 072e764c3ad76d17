#pragma once

#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "host/installer_coordinator.h"
#include "pellam/installer_error.h"
#include "tests/support/fake_bundles.h"
#include "tests/support/fake_clock.h"
#include "tests/support/forwarding_file_system.h"

// Substitutes for the coordinator's collaborators that write down what they were asked.
namespace pellam::testing_support {

// The disk, with the user's folders in the test's own folder; folders can be made unusable.
class RedirectedFileSystem : public ForwardingFileSystem {
 public:
  explicit RedirectedFileSystem(std::filesystem::path home) : home_(std::move(home)) {}
  std::optional<std::filesystem::path> applicationSupportDirectory() const override {
    return hasSupport ? std::optional(home_ / "Support") : std::nullopt;
  }
  std::filesystem::path temporaryDirectory() const override { return home_ / temporaryName; }
  void writeFileAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) override {
    if (!fullVolume.empty() && path.string().starts_with(fullVolume.string())) {
      throw std::system_error(ENOSPC, std::generic_category(), path.string());
    }
    ForwardingFileSystem::writeFileAtomically(path, bytes);
  }
  void removeItem(const std::filesystem::path& path) override {
    if (path == unremovable) throw std::system_error(EACCES, std::generic_category(), path.string());
    ForwardingFileSystem::removeItem(path);
  }
  void moveItem(const std::filesystem::path& source, const std::filesystem::path& destination) override {
    if (onMove) onMove(source, destination);
    ForwardingFileSystem::moveItem(source, destination);
  }
  FileAttributes attributes(const std::filesystem::path& path) const override {
    FileAttributes attributes = ForwardingFileSystem::attributes(path);
    if (const auto date = creationDates.find(path.filename().string()); date != creationDates.end()) {
      attributes.creationDate = date->second;
    }
    return attributes;
  }

  std::filesystem::path fullVolume;
  std::filesystem::path unremovable;
  std::map<std::string, Date> creationDates;
  bool hasSupport = true;
  std::string temporaryName = "Temporary";  // made by whom it concerns
  std::function<void(const std::filesystem::path&, const std::filesystem::path&)> onMove;

 private:
  std::filesystem::path home_;
};

// Answers each address with what was prepared for it: a status, or an error.
struct ScriptedNetwork final : OrvoUpdateInstallerNetworkClient {
  using OrvoUpdateInstallerNetworkClient::data;
  NetworkData data(const URL& url, const CancellationToken& cancellation) override {
    requests.push_back(url.text());
    if (onRequest) onRequest();
    if (cancellation.isCancelled()) throw URLLoadingError(URLLoadingError::Code::cancelled, "cancelled");
    const auto answer = answers.find(url.text());
    if (answer == answers.end()) throw URLLoadingError(URLLoadingError::Code::cannotConnectToHost, "refused");
    return {ByteBuffer(std::string_view("archive")), URLResponse{url, answer->second, std::nullopt}};
  }
  std::map<std::string, std::optional<int>> answers;
  std::vector<std::string> requests;
  std::function<void()> onRequest;
};

// "Unpacks" by making the folders and files it was told to make; overwrites nothing, as the real one.
struct FolderMaker final : OrvoUpdateArchiveUnzipping {
  bool unzip(const std::string& archivePath, const std::string& destinationPath) override {
    archive = archivePath;
    for (const std::string& folder : folders)
      std::filesystem::create_directories(std::filesystem::path(destinationPath) / folder);
    for (const auto& [name, text] : files) {
      const std::filesystem::path file = std::filesystem::path(destinationPath) / name;
      if (std::filesystem::exists(file)) return false;
      std::ofstream(file) << text;
    }
    if (!link.second.empty()) {
      std::filesystem::create_directory_symlink(link.first,
                                                std::filesystem::path(destinationPath) / link.second);
    }
    if (onUnzip) onUnzip();
    return succeeds;
  }
  std::vector<std::string> folders = {"Editor.app/Contents"};
  std::map<std::string, std::string> files = {{"Editor Installer.pkg", "installer"}};  // names and texts
  std::pair<std::string, std::string> link;  // a target and the link's name, when there is one
  std::string archive;
  bool succeeds = true;
  std::function<void()> onUnzip;
};

struct RecordingOpener final : OrvoUpdateInstallerLaunching {
  bool openInstaller(const std::filesystem::path& installer) override {
    opened.push_back(installer);
    return succeeds;
  }
  std::vector<std::filesystem::path> opened;
  bool succeeds = true;
};

struct RecordingValidator final : OrvoAppBundleUpdateValidating {
  void validateAppBundle(const std::filesystem::path& appBundle,
                         const OrvoAppBundleUpdateHostIdentity&) override {
    validated.push_back(appBundle);
    if (error) throw OrvoUpdateInstallerError(*error);
  }
  std::vector<std::filesystem::path> validated;
  std::optional<OrvoUpdateInstallerError::Case> error;
};

struct RecordingLauncher final : OrvoAppBundleUpdateHelperLaunching {
  OrvoAppBundleReplacementLaunchResult launchReplacement(const OrvoAppBundleReplacementRequest& request,
                                                         const LaunchProgressHandler& progress) override {
    requests.push_back(request);
    if (onLaunch) onLaunch();
    if (progress) progress(OrvoAppBundleInstallerLaunchProgress::handoffStarted());
    return result;
  }
  std::vector<OrvoAppBundleReplacementRequest> requests;
  std::function<void()> onLaunch;
  OrvoAppBundleReplacementLaunchResult result = OrvoAppBundleReplacementLaunchResult::launched();
};

// Writes down what the window would show; presses its button when told to.
struct RecordingWindow final : OrvoUpdateProgressWindow {
  void update(const OrvoUpdateProgressWindowState& state) override {
    // A chunk's progress is shown or, when the download ended meanwhile, dropped: not a step of its own.
    if (state.statusText && state.statusText->find(" of ") != std::string::npos) return;
    std::string line = state.title + "|" + state.statusText.value_or("-") + "|";
    line += state.progressFraction ? std::to_string(*state.progressFraction).substr(0, 4) : "-";
    shown.push_back(line);
  }
  void showReadyToInstallAndRelaunch(const std::string& title, const std::string& buttonTitle,
                                     std::function<void()> action) override {
    shown.push_back(title + "|" + buttonTitle);
    if (onReady) onReady(action);
  }
  void requestUserAttention() override { shown.emplace_back("attention"); }
  void close() override { shown.emplace_back("closed"); }
  std::vector<std::string> shown;
  std::function<void(const std::function<void()>&)> onReady = [](const std::function<void()>& action) {
    action();
  };
};

inline OrvoAppBundleLaunchdUserContext adasContext() { return {501, 20, "ada", "/Users/ada"}; }

// What a coordinator has around it besides its collaborators; this process's own user owns everything.
inline OrvoUpdateInstallerCoordinatorEnvironment fakeEnvironment(std::shared_ptr<MainThread> mainThread,
                                                                 std::shared_ptr<PellamClock> clock,
                                                                 DiagnosticLog systemLog = {}) {
  return {.mainThread = std::move(mainThread),
          .bundles = std::make_shared<FakeBundles>(),
          .localizationBundle = {},
          .identifiers = makeSystemUUIDGenerator(),
          .clock = std::move(clock),
          .systemLog = std::move(systemLog),
          .effectiveUserID = ::geteuid()};
}

}  // namespace pellam::testing_support
