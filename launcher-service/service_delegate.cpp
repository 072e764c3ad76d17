#include "launcher-service/service_delegate.h"

#include "launcher-service/launcher_service.h"

namespace pellam {

bool PellamUpdateInstallerLauncherServiceDelegate::shouldAcceptNewConnection(
    IncomingServiceConnection& connection) {
  const std::int32_t hostProcessIdentifier = connection.processIdentifier();
  auto identityResolver = std::make_shared<OrvoAppBundleInstallerLauncherServiceHostIdentityResolver>(
      platform_.bundles, platform_.processes);
  auto launchResolver = std::make_shared<OrvoAppBundleInstallerLauncherServiceLaunchResolver>(
      OrvoAppBundleInstallerLauncherServiceLaunchResolver::Collaborators{
          .hostIdentityResolver = std::move(identityResolver),
          .launchUserContextProvider =
              [process = platform_.processInformation] {
                return OrvoAppBundleLaunchdUserContext::currentProcess(*process);
              },
          .hostProcessIdentifierProvider = [hostProcessIdentifier] { return hostProcessIdentifier; },
          .fileSystem = platform_.fileSystem,
          .bundles = platform_.bundles});

  // A host that takes no progress, or that has gone, still has its launch carried out.
  auto progressProxy = connection.remoteObjectProxy([](const BridgedError&) {});
  auto service = std::make_shared<OrvoAppBundleInstallerLauncherService>(
      OrvoAppBundleInstallerLauncherService::Collaborators{
          .launchResolver = std::move(launchResolver),
          .monotonicTimeProvider = platform_.uptime,
          .progressHandler =
              [progressProxy](const OrvoAppBundleInstallerLaunchProgress& progress) {
                if (progressProxy) progressProxy->reportProgress(progress.xpcDictionary());
              },
          .tasks = tasks_,
          .launcherFactory = makeDefaultLauncherFactory(platform_, platform_.uptime)});
  connection.setExportedObject(std::move(service));
  connection.resume();
  return true;
}

}  // namespace pellam
