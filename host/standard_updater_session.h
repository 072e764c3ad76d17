#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/alert_queue.h"
#include "host/automatic_check_schedule.h"
#include "host/offer_installation.h"
#include "host/standard_updater_core.h"
#include "host/update_check.h"
#include "host/update_settings.h"
#include "host/update_worker.h"
#include "pellam/cancellation.h"
#include "pellam/installer_error.h"
#include "ui/presented_progress_window.h"
#include "ui/update_alert_presenter.h"
#include "ui/update_prompt_presenter.h"

namespace pellam {

// What the standard updater does on the main thread: it decides what happens next, shows it, and gives the
// worker its jobs. Results come back as work for the main thread that holds the session weakly; whoever runs
// an alert or the host's code holds it for that time. Nothing happens after end().
class StandardUpdaterSession : public std::enable_shared_from_this<StandardUpdaterSession> {
 public:
  StandardUpdaterSession(OrvoStandardUpdaterConfiguration configuration,
                         StandardUpdaterCollaborators collaborators, std::shared_ptr<UpdateWorker> worker);

  void start();
  void checkForUpdates();
  void cancelInstallation();
  [[nodiscard]] bool isInstalling() const { return installation_.has_value(); }
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
  // What a manual check that offered nothing came to.
  enum class CheckCompletion { performed, failed };
  // The session's own time: it works from prepare() to end().
  enum class Life { made, prepared, ended };
  enum class Schedule { onDemand, automatic };
  // The check that is on its way, and whom it answers.
  enum class Checking { none, automatic, manual };
  // The installation that is on its way.
  struct Installation {
    std::shared_ptr<PresentedProgressWindow> window;
    CancellationSource cancellation;
  };

  [[nodiscard]] bool isBusy() const { return checking_ != Checking::none || installation_; }
  void prepare();
  void drawStaggerGroup();
  void setAlarm();
  void alarmFired();

  void startCheck();
  void finishCheck(const FetchOutcome& outcome);
  void decide(const std::vector<FeedEntry>& feed, CheckReason reason);
  void tellNothingWasOffered(CheckCompletion completion);
  void tellCheckFailed(const FetchOutcome& outcome);

  [[nodiscard]] bool presentPrompt(const FeedEntry& entry, CheckReason reason);
  void answered(const OrvoUpdatePromptAction& action);

  void install(const FeedEntry& entry);
  [[nodiscard]] OfferInstallation::Attempt attempt(const std::string& attemptIdentifier) const;
  [[nodiscard]] static InstallOutcome outcomeOf(const OfferInstallation& installation, const FeedEntry& entry,
                                                const OfferInstallation::Attempt& attempt);
  void finishInstallation(const InstallOutcome& outcome, const std::optional<URL>& manualUpdateURL);
  void tellInstallationFailed(const InstallOutcome& outcome, const std::optional<URL>& manualUpdateURL);
  void tellHelperFailed(const std::optional<URL>& manualUpdateURL);

  // Work for the main thread that is dropped when the session is over by then. Any thread may call what this
  // returns.
  [[nodiscard]] std::function<void(std::function<void(StandardUpdaterSession&)>)> poster();
  // Every alert goes through here: the session outlives it, and nothing is presented after the end.
  void alert(std::function<void()> present);
  void log(const std::string& message, PellamLogLevel level = PellamLogLevel::info);

  const OrvoStandardUpdaterConfiguration configuration_;
  const StandardUpdaterCollaborators collaborators_;
  const std::filesystem::path localizationBundle_;
  const std::shared_ptr<UpdateWorker> worker_;
  const std::shared_ptr<UpdateSettings> settings_;
  const std::shared_ptr<UpdateCheck> check_;
  AutomaticCheckSchedule schedule_;
  OrvoUpdatePromptPresenter promptPresenter_;
  OrvoUpdateAlertPresenter alertPresenter_;

  const OfferInstallation installations_;

  Life life_ = Life::made;
  Schedule wanted_ = Schedule::onDemand;
  Checking checking_ = Checking::none;
  CancellationSource checkCancellation_;
  std::optional<Installation> installation_;
  AlertQueue alerts_;
};

}  // namespace pellam
