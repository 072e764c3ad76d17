#include "host/launcher_client.h"

#include <cstdint>
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

}  // namespace

Result OrvoAppBundleXPCUpdateHelperLauncher::launchReplacement(const OrvoAppBundleReplacementRequest& request,
                                                               const LaunchProgressHandler& progressHandler) {
  const auto watchdog = OrvoAppBundleXPCLaunchWatchdog::make(
      static_cast<std::uint64_t>(timeouts_.preAuthorization.count()),
      static_cast<std::uint64_t>(timeouts_.postAuthorization.count()), watchdogSleep_);
  const auto promise = std::make_shared<std::promise<Result>>();
  std::future<Result> completion = promise->get_future();
  const auto session =
      std::make_shared<OrvoAppBundleXPCLaunchSession>([watchdog, promise](const Result& result) {
        watchdog->cancel();
        promise->set_value(result);
      });
  const auto timedOut = [session](Phase phase) { session->finish(Result::timedOut(phase)); };

  auto connection = connectionFactory_->makeConnection(
      serviceName_,
      [session](const BridgedError& error) {
        session->finish(Result::protocolFailure(
            OrvoAppBundleInstallerFailureDiagnostic::fromError(Phase::xpcConnection, error)));
      },
      [watchdog, timedOut, progressHandler](const Progress& progress) {
        progressHandler(progress);
        if (progress.event == Progress::Event::authorizationBegan) {
          watchdog->pause();
        } else if (progress.event == Progress::Event::authorizationEnded) {
          watchdog->armTimeout(watchdog->postAuthorizationTimeoutNanoseconds(), Phase::postAuthorization,
                               timedOut);
        }
      });
  if (!connection) return Result::helperUnavailable();

  session->setConnection(connection);
  try {
    connection->resume();
  } catch (const std::exception& error) {
    return Result::protocolFailure(
        OrvoAppBundleInstallerFailureDiagnostic::fromError(Phase::xpcConnection, bridge(error)));
  }
  const bool isSent = connection->launchReplacement(
      OrvoAppBundleXPCReplacementMessage{request}.propertyList(),
      [watchdog, timedOut] {
        watchdog->armTimeout(watchdog->preAuthorizationTimeoutNanoseconds(), Phase::preAuthorization,
                             timedOut);
      },
      [session](const Result& result) { session->finish(result); });
  if (!isSent) session->finish(Result::helperUnavailable());
  Result result = completion.get();
  // No handler and no timer runs any more when the caller goes on.
  connection.reset();
  watchdog->cancelAndWait();
  return result;
}

}  // namespace pellam
