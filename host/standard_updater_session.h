#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/automatic_check_schedule.h"
#include "host/standard_updater.h"
#include "host/update_check.h"
#include "host/update_settings.h"
#include "host/update_worker.h"
#include "pellam/cancellation.h"
#include "pellam/installer_error.h"
#include "ui/presented_progress_window.h"
#include "ui/update_alert_presenter.h"
#include "ui/update_prompt_presenter.h"

namespace pellam {

// Where attempts are staged below the application's own folder; the helper knows the folder by this name.
inline constexpr const char* installerSubdirectoryName = "SeamlessInstaller";

// What the standard updater does on the main thread: it decides what happens next, shows it, and gives the
// worker its jobs. Results come back as work for the main thread that holds the session weakly; whoever runs
// an alert or the host's code holds it for that time. Nothing happens after end().
class StandardUpdaterSession : public std::enable_shared_from_this<StandardUpdaterSession> {
 public:
  StandardUpdaterSession(OrvoStandardUpdaterConfiguration configuration,
                         OrvoStandardUpdaterCollaborators collaborators,
                         std::shared_ptr<UpdateWorker> worker);

  void start();
  void checkForUpdates();
  void cancelInstallation() { installCancellation_.cancel(); }
  [[nodiscard]] bool isInstalling() const { return isInstalling_; }
  // Cancels what runs and closes the prompt; the coordinator closes the progress window.
  void end();
  void closeProgressWindow();

 private:
  // How a fetch has ended. Plain values: an exception stays on the thread where it was thrown.
  struct FetchOutcome {
    std::optional<std::vector<FeedEntry>> feed;  // absent: it failed
    bool isCancelled = false;
    bool isOffline = false;
    std::string failure;
  };
  struct InstallOutcome {
    enum class Kind { launched, installerOpened, cancelled, failed };
    Kind kind = Kind::failed;
    std::optional<OrvoUpdateInstallerError> error;  // absent: a failure of another type
    std::string detail;
  };

  void prepare();
  void drawStaggerGroup();
  void setAlarm();
  void alarmFired();

  void startCheck();
  void finishCheck(const FetchOutcome& outcome);
  void decide(const std::vector<FeedEntry>& feed, bool isManual);
  void tellNothingWasOffered(bool updateCheckPerformedOK);
  void tellCheckFailed(bool isOffline);

  [[nodiscard]] bool presentPrompt(const FeedEntry& entry, bool isManual);
  void answered(const OrvoUpdatePromptAction& action);

  void install(const FeedEntry& entry);
  [[nodiscard]] std::function<InstallOutcome()> installation(const FeedEntry& entry,
                                                             const std::string& attemptIdentifier);
  void finishInstallation(const InstallOutcome& outcome, const std::optional<URL>& manualUpdateURL);
  void tellInstallationFailed(const InstallOutcome& outcome, const std::optional<URL>& manualUpdateURL);
  void tellHelperFailed(const std::optional<URL>& manualUpdateURL);

  // Work for the main thread that is dropped when the session is over by then. Any thread may call what this
  // returns.
  [[nodiscard]] std::function<void(std::function<void(StandardUpdaterSession&)>)> poster();
  // Runs the work now, or when the alert that is open has been answered. Alerts go through `alert`.
  void whenNoAlertIsOpen(std::function<void()> work);
  void alert(std::function<void()> present);
  void log(const std::string& message, PellamLogLevel level = PellamLogLevel::info);

  const OrvoStandardUpdaterConfiguration configuration_;
  const OrvoStandardUpdaterCollaborators collaborators_;
  const std::filesystem::path localizationBundle_;
  const std::shared_ptr<UpdateWorker> worker_;
  const std::shared_ptr<UpdateSettings> settings_;
  const std::shared_ptr<UpdateCheck> check_;
  AutomaticCheckSchedule schedule_;
  OrvoUpdatePromptPresenter promptPresenter_;
  OrvoUpdateAlertPresenter alertPresenter_;

  std::shared_ptr<PresentedProgressWindow> progressWindow_;
  CancellationSource checkCancellation_;
  CancellationSource installCancellation_;
  bool isPrepared_ = false;
  bool checksAutomatically_ = false;
  bool isChecking_ = false;
  bool isManualCheckRequested_ = false;  // the check that is on its way answers to the user
  bool isInstalling_ = false;
  bool isEnded_ = false;
  bool isAlertOpen_ = false;
  std::deque<std::function<void()>> waitingForAlert_;
};

}  // namespace pellam
