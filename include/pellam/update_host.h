#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pellam/app_identity.h"
#include "pellam/cancellation.h"
#include "pellam/date.h"
#include "pellam/feed_entry.h"
#include "pellam/install_result.h"
#include "pellam/launch_progress.h"
#include "pellam/main_thread.h"
#include "pellam/progress_window.h"
#include "pellam/update_offer.h"
#include "pellam/url.h"

namespace [[gnu::visibility("default")]] pellam {

// What an installation that failed after the application had ended left behind.
struct InstallationFailure {
  std::string description;
  Date failedAt;
};

// The pieces for glue of one's own: an application that shows offers in its own way, a service without
// windows, a command line. It checks, decides and installs; when, and what people see of it, is the caller's.
// Applications whose windows are the system's take pellam/standard_updater.h instead, which does all of it.
//
// One for each application that is kept current, which need not be the running one. Everything that waits
// blocks its thread and is called on a worker, never on the main thread, which works off `mainThread`
// meanwhile. Operations may run side by side, but one installation at a time. Dropping it while an operation
// runs is the caller's mistake.
//
// For example:
//
//     const auto mainThread = std::make_shared<MainThreadQueue>();  // or the toolkit's own
//     std::thread worker([&] {
//       try {
//         UpdateHost host({.bundle = applicationBundle, .mainThread = mainThread});
//         (void)host.takeFailureReport();  // tell the user of it
//         host.removeStaleAttempts();
//         const CancellationSource cancellation;
//         const std::vector<FeedEntry> feed = host.fetch(feedAddress, cancellation.token());
//         const UpdateDecision decision = host.decide(feed, {}, [](const UpdateOffer&) { return true; });
//         if (decision.offer && decision.offer->isDue) {
//           const auto result = host.install(*decision.offer, {.cancellation = cancellation.token()});
//           const bool mustEnd = result.outcome == InstallResult::Outcome::handedOver;
//           if (mustEnd) std::puts("ends, so that it can be replaced");
//         }
//       } catch (const std::exception& error) {
//         std::puts(bridge(error).description.c_str());
//       }
//       mainThread->stop();
//     });
//     mainThread->run();
//     worker.join();
class UpdateHost {
 public:
  struct Surroundings {
    std::filesystem::path bundle;  // the application; its own launcher service and tools are used
    std::shared_ptr<MainThread> mainThread;
    // Where the settings are kept, in <identifier>.plist; absent: the user's preferences.
    std::optional<std::filesystem::path> settingsFolder{};
  };

  // What belongs to one installation.
  struct Installation {
    std::shared_ptr<OrvoUpdateProgressWindow> window{};  // without one, nobody is asked before the hand-off
    LaunchProgressHandler launchProgress{};              // any thread
    CancellationToken cancellation{};                    // heeded until the hand-off has begun
    std::string installerNameFormat = usualInstallerNameFormat;
  };

  // Reads the bundle and asks the signing tool for its team; blocks while the tool runs. Throws
  // InstalledApplicationError.
  explicit UpdateHost(Surroundings surroundings);
  ~UpdateHost();
  UpdateHost(const UpdateHost&) = delete;
  UpdateHost& operator=(const UpdateHost&) = delete;

  [[nodiscard]] const PellamAppIdentity& application() const;
  // Links resolved.
  [[nodiscard]] const std::filesystem::path& bundle() const;

  // Blocks. Throws URLLoadingError, FeedNotServed, OrvoUpdateFeedParserError or OperationCancelled.
  [[nodiscard]] std::vector<FeedEntry> fetch(const URL& feed, const CancellationToken& cancellation) const;

  // Picks the entry that is meant for this installation, and calls `show` with it on the main thread when it
  // is due; true from it means that the user has seen the offer. What is to be remembered is then in the
  // settings. The operating system's version and the user's language are filled in where the options leave
  // them out.
  UpdateDecision decide(const std::vector<FeedEntry>& feed, UpdateCheckOptions options,
                        const std::function<bool(const UpdateOffer&)>& show) const;

  // Downloads, unpacks, validates, asks and hands over, or opens the separate installer. Blocks. Throws
  // OrvoUpdateInstallerError, InstallationInProgress or OperationCancelled; the installed application is
  // untouched then, and the window is closed however it ends. How it is installed is read from the offer's
  // entry; one that has neither kind of address throws missingArchiveURL.
  [[nodiscard]] InstallResult install(const UpdateOffer& offer, const Installation& installation);

  // The report of an installation that failed, once; call it at each start. Never throws.
  [[nodiscard]] std::optional<InstallationFailure> takeFailureReport();
  // Removes what earlier attempts left behind; call it at each start. Returns how many there were. Never
  // throws.
  int removeStaleAttempts();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace pellam
