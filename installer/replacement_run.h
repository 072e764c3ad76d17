#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/diagnostic_log.h"
#include "installer/leftover_collector.h"
#include "installer/relaunching.h"
#include "installer/replacement_checks.h"
#include "launcher-protocol/helper_command_line.h"
#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/effective_user.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/interrupts.h"
#include "platform/process_information.h"

namespace pellam {

// One run of the installer helper, from its parsed command line to its exit status:
//   1. waits until the host has ended, at most `hostEndLimit`; a host that still runs, or that cannot be
//      waited for, ends the run: nothing is touched and nothing is relaunched;
//   2. puts an interrupted earlier replacement right, and removes what it left, unless another helper is at
//      work in the application's folder;
//   3. replaces; as root from a private copy of the staged bundle, so that what is validated is installed;
//   4. on any failure writes the failure report, before the application that is then installed is relaunched,
//      so that it finds the report complete; after a success removes whatever else of ours is left there, in
//      the folder of attempts and in that of reports.
// From step 2 on, and for as long as the object lives, the process cannot be told to stop. Single-threaded
// and blocking; one object per process.
class ReplacementRun {
 public:
  static constexpr std::chrono::seconds hostEndLimit{120};

  struct Collaborators {
    std::shared_ptr<FileSystem> fileSystem;
    std::shared_ptr<ChildProcessRunning> childProcesses;
    std::shared_ptr<ProcessInformation> processInformation;
    std::shared_ptr<EffectiveUserSwitching> effectiveUser;
    std::shared_ptr<UUIDGenerating> identifiers;
    std::shared_ptr<PellamClock> clock;
    std::shared_ptr<OrvoAppBundleReplacementRelaunching> relauncher;
    std::shared_ptr<OrvoAppBundleReplacementPrivilegeChecking> privilegeChecker;
    DiagnosticLog systemLog;
    // Called before the first change. Absent: nothing.
    std::function<std::unique_ptr<InterruptRefusal>()> refuseInterrupts{};
  };

  explicit ReplacementRun(Collaborators collaborators) : collaborators_(std::move(collaborators)) {}

  // The exit status (installer/exit_status.h). A failure is also one line for standard error.
  struct Outcome {
    int exitStatus = 0;
    std::optional<std::string> failure;
  };
  [[nodiscard]] Outcome run(const HelperCommandLine& commandLine);

 private:
  void putRight(const OrvoAppBundleReplacementRequest& request);
  void collectLeftovers(const OrvoAppBundleReplacementRequest& request);
  [[nodiscard]] LeftoverCollector collector() const;
  [[nodiscard]] std::optional<std::string> waitForTheEndOf(std::int32_t host);
  void replace(const OrvoAppBundleReplacementRequest& request, std::optional<std::string>& failure);
  void replacePrivately(const OrvoAppBundleReplacementRequest& request, std::optional<std::string>& failure);
  // `shown` is what texts call the staged bundle.
  void execute(const OrvoAppBundleReplacementRequest& request, const std::filesystem::path& shown,
               std::optional<std::string> reasonInAdvance, std::optional<std::string>& failure);
  void asLaunchUser(const OrvoAppBundleReplacementRequest& request, const std::function<void()>& work);
  void removeStaged(const OrvoAppBundleReplacementRequest& request);
  void writeFailureReport(const OrvoAppBundleReplacementRequest& request, const std::string& description);

  Collaborators collaborators_;
  std::unique_ptr<InterruptRefusal> refusal_;
  std::unique_ptr<FolderLock> lock_;  // of the application's folder
};

// What a failure report says: the error's summary, what the validator found, and the system's error behind
// it, on one line.
[[nodiscard]] std::string failureDescription(const std::exception& error,
                                             const std::optional<std::string>& diagnosticLine);

}  // namespace pellam
