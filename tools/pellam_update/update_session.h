#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "host/installed_application.h"
#include "host/installer_coordinator.h"
#include "host/update_check.h"
#include "installer/failure_report.h"
#include "pellam/cancellation.h"
#include "tools/pellam_update/command_line.h"
#include "tools/pellam_update/update_reporter.h"

namespace pellam {

// The exit statuses of pellam-update.
enum class UpdateExitStatus : int { done = 0, failed = 1, usage = 2, nothingToOffer = 3 };

// One run of pellam-update from the check to the hand-off. Blocks; runs on a worker thread, never on the main
// thread. Never throws.
class UpdateSession {
 public:
  struct Collaborators {
    InstalledApplication application;
    std::shared_ptr<UpdateCheck> check;
    std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator;
    std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports;
    std::shared_ptr<UUIDGenerating> identifiers;
    std::shared_ptr<MainThread> mainThread;
    UpdateReporter& reporter;
    // Asks the user whether to install; only called without --yes and --check-only.
    std::function<bool(const CancellationToken&)> confirm;
    // Takes the one line that says why the run failed.
    std::function<void(const std::string&)> complain;
  };

  UpdateSession(Collaborators parts, UpdateCommandLine commandLine, UpdateCheckOptions options)
      : parts_(std::move(parts)), commandLine_(std::move(commandLine)), options_(std::move(options)) {}

  [[nodiscard]] UpdateExitStatus run(const CancellationToken& cancellation);

 private:
  UpdateExitStatus runOrThrow(const CancellationToken& cancellation);
  void install(const FeedEntry& feed, const CancellationToken& cancellation);

  Collaborators parts_;
  UpdateCommandLine commandLine_;
  UpdateCheckOptions options_;
};

}  // namespace pellam
