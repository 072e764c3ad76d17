#include "host/launcher_client.h"

#include <exception>
#include <future>
#include <utility>

#include "host/launch_session.h"
#include "host/launch_watchdog.h"
#include "launcher-protocol/replacement_message.h"

namespace pellam {

namespace {

using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

Result connectionFailure(const BridgedError& error) {
  return Result::protocolFailure(
      OrvoAppBundleInstallerFailureDiagnostic::fromError(Phase::xpcConnection, error));
}

}  // namespace

Result OrvoAppBundleXPCUpdateHelperLauncher::launchReplacement(const OrvoAppBundleReplacementRequest& request,
                                                               const LaunchProgressHandler& progressHandler) {
  const auto watchdog = OrvoAppBundleXPCLaunchWatchdog::make(timeouts_, watchdogSleep_);
  const auto promise = std::make_shared<std::promise<Result>>();
  std::future<Result> completion = promise->get_future();
  const auto session =
      std::make_shared<OrvoAppBundleXPCLaunchSession>([watchdog, promise](const Result& result) {
        watchdog->cancel();
        promise->set_value(result);
      });
  const auto timedOut = [session](Phase phase) { session->finish(Result::timedOut(phase)); };

  std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> connection;
  // Whatever happens on the way is one result among others, of which the session lets the first count.
  try {
    connection = connectionFactory_->makeConnection(
        serviceName_, [session](const BridgedError& error) { session->finish(connectionFailure(error)); },
        [watchdog, timedOut, progressHandler](const Progress& progress) {
          try {
            if (progressHandler) progressHandler(progress);
          } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): it only listens, see the header
          }
          if (progress.event == Progress::Event::authorizationBegan) {
            watchdog->pause();
          } else if (progress.event == Progress::Event::authorizationEnded) {
            watchdog->armTimeout(watchdog->timeouts().postAuthorization, Phase::postAuthorization, timedOut);
          }
        });
    bool isSent = false;
    if (connection) {
      session->setConnection(connection);
      connection->resume();
      isSent = connection->launchReplacement(
          OrvoAppBundleXPCReplacementMessage{request}.propertyList(),
          [watchdog, timedOut] {
            watchdog->armTimeout(watchdog->timeouts().preAuthorization, Phase::preAuthorization, timedOut);
          },
          [session](const Result& result) { session->finish(result); });
    }
    if (!isSent) session->finish(Result::helperUnavailable());
  } catch (const std::exception& error) {
    session->finish(connectionFailure(bridge(error)));
  }
  Result result = completion.get();
  // No handler and no timer runs any more when the caller goes on.
  connection.reset();
  watchdog->cancelAndWait();
  return result;
}

}  // namespace pellam
