#include "host/standard_updater_session.h"

#include <utility>

#include "host/install_attempt_record.h"
#include "host/update_failure_notice.h"
#include "pellam/bridged_error.h"

namespace pellam {

namespace {
constexpr const char* logCategory = "update";
}

StandardUpdaterSession::StandardUpdaterSession(OrvoStandardUpdaterConfiguration configuration,
                                               StandardUpdaterCollaborators collaborators,
                                               std::shared_ptr<UpdateWorker> worker)
    : configuration_(std::move(configuration)),
      collaborators_(std::move(collaborators)),
      localizationBundle_(configuration_.localizationBundle.empty() ? collaborators_.application.path
                                                                    : configuration_.localizationBundle),
      worker_(std::move(worker)),
      settings_(std::make_shared<UpdateSettings>(collaborators_.settings)),
      check_(std::make_shared<UpdateCheck>(collaborators_.network, settings_, collaborators_.clock)),
      schedule_(collaborators_.settings, settings_),
      promptPresenter_(collaborators_.toolkit, collaborators_.bundles, collaborators_.workspace),
      alertPresenter_(
          collaborators_.toolkit, collaborators_.bundles,
          [workspace = collaborators_.workspace](const URL& url) { return workspace->open(url); }),
      installations_(collaborators_.application, collaborators_.coordinator) {}

void StandardUpdaterSession::start() {
  if (life_ == Life::ended || wanted_ == Schedule::automatic) return;
  wanted_ = Schedule::automatic;
  prepare();
  setAlarm();
}

void StandardUpdaterSession::checkForUpdates() {
  if (life_ == Life::ended) return;
  prepare();
  if (installation_) {
    installation_->window->bringToFront();
    return;
  }
  const bool isOnItsWay = checking_ != Checking::none;
  checking_ = Checking::manual;
  if (!isOnItsWay) startCheck();
}

void StandardUpdaterSession::cancelInstallation() {
  if (installation_) installation_->cancellation.cancel();
}

void StandardUpdaterSession::end() {
  life_ = Life::ended;
  alerts_.clear();
  checkCancellation_.cancel();
  cancelInstallation();
  promptPresenter_.dismissPrompt();
}

void StandardUpdaterSession::closeProgressWindow() {
  if (installation_) installation_->window->close();
}

void StandardUpdaterSession::prepare() {
  if (life_ != Life::made) return;
  life_ = Life::prepared;
  drawStaggerGroup();
  const std::optional<InstallAttemptRecord> record = InstallAttemptRecord::load(*collaborators_.settings);
  InstallAttemptRecord::remove(*collaborators_.settings);
  worker_->perform([application = collaborators_.application, reports = collaborators_.reports,
                    installations = installations_, record, post = poster()] {
    const auto report =
        reports->consumeFailureReport(application.identity.bundleIdentifier,
                                      record ? std::optional(record->attemptIdentifier) : std::nullopt);
    installations.removeStaleAttempts();
    if (!report) return;
    post([description = report->errorDescription,
          url = record ? record->manualUpdateURL : std::nullopt](StandardUpdaterSession& session) {
      session.log("an earlier update failed: " + description, PellamLogLevel::error);
      session.tellHelperFailed(url ? url : manualUpdateAddress({}, session.configuration_.manualUpdateURL));
    });
  });
}

void StandardUpdaterSession::drawStaggerGroup() {
  if (configuration_.staggerDays <= 1 || settings_->staggerGroup()) return;
  const auto days = static_cast<std::uint64_t>(configuration_.staggerDays);
  settings_->setStaggerGroup(static_cast<std::int64_t>(collaborators_.random() % days));
}

// While something runs there is no alarm; what runs sets it when it ends.
void StandardUpdaterSession::setAlarm() {
  if (life_ == Life::ended || wanted_ == Schedule::onDemand || isBusy()) return;
  const Date date = schedule_.nextCheckDate(collaborators_.clock->now());
  worker_->setAlarm(
      date, [post = poster()] { post([](StandardUpdaterSession& session) { session.alarmFired(); }); });
}

void StandardUpdaterSession::alarmFired() {
  if (isBusy()) return;
  const Date now = collaborators_.clock->now();
  if (schedule_.nextCheckDate(now) > now) {
    setAlarm();
  } else {
    checking_ = Checking::automatic;
    startCheck();
  }
}

void StandardUpdaterSession::startCheck() {
  checkCancellation_ = CancellationSource();
  log(checking_ == Checking::manual ? "checking, because the user asked" : "checking");
  worker_->perform(
      [check = check_, feed = configuration_.feedURL, token = checkCancellation_.token(), post = poster()] {
        FetchOutcome outcome;
        try {
          outcome.feed = check->fetch(feed, token);
        } catch (const OperationCancelled&) {
          outcome.isCancelled = true;
        } catch (const URLLoadingError& error) {
          outcome.isOffline = isOfflineError(error);
          outcome.failure = error.what();
        } catch (const std::exception& error) {
          outcome.failure = error.what();
        }
        post([outcome = std::move(outcome)](StandardUpdaterSession& session) {
          session.alerts_.whenNoAlertIsOpen([&session, outcome] { session.finishCheck(outcome); });
        });
      });
}

void StandardUpdaterSession::finishCheck(const FetchOutcome& outcome) {
  const bool isManual = std::exchange(checking_, Checking::none) == Checking::manual;
  if (installation_ || outcome.isCancelled) {
    // The user has accepted an offer meanwhile; its window is the answer.
    if (isManual && installation_) installation_->window->bringToFront();
    setAlarm();
    return;
  }
  if (outcome.feed) {
    decide(*outcome.feed, isManual ? CheckReason::manual : CheckReason::automatic);
    return;
  }
  log("the check failed: " + outcome.failure, PellamLogLevel::warn);
  schedule_.noteFailure(collaborators_.clock->now());
  setAlarm();
  if (isManual) tellCheckFailed(outcome);
}

void StandardUpdaterSession::decide(const std::vector<FeedEntry>& feed, CheckReason reason) {
  const bool isManual = reason == CheckReason::manual;
  UpdateCheckOptions options;
  options.reason = reason;
  options.preferredLanguageCode = configuration_.preferredLanguageCode;
  options.acceptedSKUs = configuration_.acceptedSKUs;
  options.currentOSVersion = configuration_.currentOSVersion;
  options.shouldConfirmNoUpdatesDialog = isManual;
  if (configuration_.staggerDays <= 1) options.staggerGroup = 0;
  bool cannotBeShown = false;
  const UpdateCheckResult result =
      check_->decide(feed, collaborators_.application, options, [&](const UpdateOffer& offer) {
        const bool isShown = presentPrompt(offer.entry, reason);
        cannotBeShown = !isShown;
        return isShown;
      });
  schedule_.noteCheck(collaborators_.clock->now(), result.application.resolvedSleepInterval
                                                       ? AutomaticCheckSchedule::Interval::stated
                                                       : AutomaticCheckSchedule::Interval::usual);
  setAlarm();
  const bool isOffered = result.application.shouldHideNoUpdatesFoundDialog;
  if (isOffered) {
    log("offered " + result.pipeline.selectedCandidate->display.resolvedFeedIdentifier.value_or(""));
  } else if (cannotBeShown && promptPresenter_.isPromptOpen()) {
    log("an earlier offer is still open");
  } else if (cannotBeShown) {
    log("the offer could not be shown", PellamLogLevel::warn);
  } else {
    log("nothing to offer");
  }
  if (isOffered || !isManual) return;
  // An offer that cannot be shown is not "no update".
  const bool wasPerformed = result.application.shouldMarkUpdateCheckPerformedOK && !cannotBeShown;
  tellNothingWasOffered(wasPerformed ? CheckCompletion::performed : CheckCompletion::failed);
}

bool StandardUpdaterSession::presentPrompt(const FeedEntry& entry, CheckReason reason) {
  OrvoUpdatePromptInput input;
  input.feed = entry;
  input.isManualCheck = reason == CheckReason::manual;
  input.allowInstallAction = configuration_.allowsInstalling;
  input.applicationName = collaborators_.application.identity.displayName;
  input.applicationVersion = collaborators_.application.identity.versionString;
  input.applicationBuild = collaborators_.application.build;
  input.applicationLogoImageName = configuration_.applicationLogoImageName;
  input.localizationBundle = localizationBundle_;
  input.defaultWindowWidth = configuration_.promptWidth;
  input.defaultWindowHeight = configuration_.promptHeight;
  return promptPresenter_.presentUpdatePrompt(
      input, [weak = weak_from_this()](const OrvoUpdatePromptAction& action) {
        const auto self = weak.lock();
        if (self && self->life_ != Life::ended) self->answered(action);
      });
}

void StandardUpdaterSession::answered(const OrvoUpdatePromptAction& action) {
  switch (action.kind) {
    case OrvoUpdatePromptAction::Kind::install:
      log("the user installs the update");
      install(action.feed);
      return;
    case OrvoUpdatePromptAction::Kind::remindLater:
      log("the user wants to be reminded");
      schedule_.noteReminder(collaborators_.clock->now());
      setAlarm();
      return;
    case OrvoUpdatePromptAction::Kind::dismissed:
      log("the user dismissed the offer");
      return;
  }
}

std::function<void(std::function<void(StandardUpdaterSession&)>)> StandardUpdaterSession::poster() {
  return [mainThread = collaborators_.mainThread,
          weak = weak_from_this()](std::function<void(StandardUpdaterSession&)> work) {
    mainThread->perform([weak, work = std::move(work)] {
      const auto self = weak.lock();
      if (self && self->life_ != Life::ended) work(*self);
    });
  };
}

void StandardUpdaterSession::log(const std::string& message, PellamLogLevel level) {
  const auto line = [message] { return escapedLineBreaks(message); };  // it may come from a feed or a path
  if (collaborators_.logger) collaborators_.logger->log(line, level, logCategory);
}

}  // namespace pellam
