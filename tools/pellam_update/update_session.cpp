#include "tools/pellam_update/update_session.h"

#include <atomic>

#include "foundation/date_text.h"
#include "host/offer_installation.h"
#include "pellam/installer_error.h"
#include "pellam/installer_error_text.h"
#include "tools/pellam_update/console_progress_window.h"

namespace pellam {

UpdateExitStatus UpdateSession::run(const CancellationToken& cancellation) {
  const auto fail = [this](const std::string& error, const std::string& message) {
    parts_.reporter.failed(error, message);
    parts_.complain(message);
    return UpdateExitStatus::failed;
  };
  try {
    return runOrThrow(cancellation);
  } catch (const OperationCancelled&) {
    parts_.reporter.cancelled();
    parts_.complain("cancelled; nothing was installed");
    return UpdateExitStatus::failed;
  } catch (const OrvoUpdateInstallerError& error) {
    return fail(std::string(error.caseName()), installerErrorText(error));
  } catch (const std::exception& error) {
    return fail(bridge(error).domain, error.what());
  }
}

UpdateExitStatus UpdateSession::runOrThrow(const CancellationToken& cancellation) {
  const InstalledApplication& application = parts_.application;
  if (const auto report =
          parts_.reports->consumeFailureReport(application.identity.bundleIdentifier, std::nullopt)) {
    parts_.reporter.earlierFailure(report->errorDescription, iso8601Text(report->failedAt));
  }
  OfferInstallation(application, parts_.coordinator).removeStaleAttempts();

  parts_.reporter.checking(application.identity, commandLine_.feed->text());
  const std::vector<FeedEntry> feed = parts_.check->fetch(*commandLine_.feed, cancellation);
  UpdateCheckResult result;
  parts_.mainThread->performAndWait([&] {
    result = parts_.check->decide(feed, application, options_, [](const UpdateOffer&) { return true; });
  });

  const std::optional<OrvoUpdateFeedProcessingCandidate>& candidate = result.pipeline.selectedCandidate;
  if (!candidate || !candidate->display.shouldDisplayNow) {
    constexpr std::size_t mostReasons = 20;
    parts_.reporter.nothingToOffer(application.identity,
                                   parts_.check->obstacles(feed, application, options_, mostReasons));
    return UpdateExitStatus::nothingToOffer;
  }
  parts_.reporter.offer(application.identity, *candidate);
  if (result.application.resolvedSleepInterval) {
    parts_.reporter.nextCheck(*result.application.resolvedSleepInterval);
  }
  if (commandLine_.checkOnly) return UpdateExitStatus::done;
  const bool isAgreed = commandLine_.installWithoutAsking || parts_.confirm(cancellation);
  cancellation.throwIfCancelled();
  if (!isAgreed) return UpdateExitStatus::done;
  install(candidate->feed, cancellation);
  return UpdateExitStatus::done;
}

void UpdateSession::install(const FeedEntry& feed, const CancellationToken& cancellation) {
  const InstalledApplication& application = parts_.application;
  const auto window = std::make_shared<ConsoleProgressWindow>(parts_.reporter);
  OfferInstallation::Attempt attempt{parts_.identifiers->makeUUID()};
  attempt.window = window;
  // Nobody listens to an interrupt any more once the launcher service is at work; it is answered all the
  // same.
  enum class Phase { before, handedOff, answered };
  const auto phase = std::make_shared<std::atomic<Phase>>(Phase::before);
  const auto answer = [phase, &reporter = parts_.reporter] {
    Phase handedOff = Phase::handedOff;
    if (phase->compare_exchange_strong(handedOff, Phase::answered)) reporter.tooLateToCancel();
  };
  const CancellationRegistration registration = cancellation.onCancel(answer);
  attempt.launchProgress = [&](const OrvoAppBundleInstallerLaunchProgress& progress) {
    parts_.reporter.launchProgress(progress);
    if (progress.event != OrvoAppBundleInstallerLaunchProgress::Event::handoffStarted) return;
    *phase = Phase::handedOff;
    if (cancellation.isCancelled()) answer();
  };
  attempt.cancellation = cancellation;
  const InstallResult result = OfferInstallation(application, parts_.coordinator).install(feed, attempt);
  if (result.outcome == InstallResult::Outcome::installerOpened) {
    parts_.reporter.openedInstaller(result.path.string());
  } else {
    parts_.reporter.launched(result.path.string());
  }
}

}  // namespace pellam
