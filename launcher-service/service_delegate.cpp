#include "launcher-service/service_delegate.h"

#include "launcher-service/launcher_service.h"

namespace pellam {

namespace {

constexpr std::uint64_t preAuthorizationTimeoutNanoseconds = 25'000'000'000;
constexpr std::uint64_t postAuthorizationTimeoutNanoseconds = 10'000'000'000;

}  // namespace

bool PellamUpdateInstallerLauncherServiceDelegate::shouldAcceptNewConnection(
    IncomingServiceConnection& connection) {
  const std::int32_t hostProcessIdentifier = connection.processIdentifier();
  auto identityResolver = std::make_shared<OrvoAppBundleInstallerLauncherServiceHostIdentityResolver>(
      platform_.bundles, platform_.processes);
  auto launchResolver = std::make_shared<OrvoAppBundleInstallerLauncherServiceLaunchResolver>(
      nullptr, std::move(identityResolver),
      [process = platform_.processInformation] {
        return OrvoAppBundleLaunchdUserContext::currentProcess(*process);
      },
      [hostProcessIdentifier] { return hostProcessIdentifier; }, platform_.fileSystem, platform_.bundles);

  // A host that takes no progress, or that has gone, still has its launch carried out.
  auto progressProxy = connection.remoteObjectProxy([](const BridgedError&) {});
  auto service = std::make_shared<OrvoAppBundleInstallerLauncherService>(
      std::move(launchResolver), preAuthorizationTimeoutNanoseconds, postAuthorizationTimeoutNanoseconds,
      platform_.uptime,
      [progressProxy](const OrvoAppBundleInstallerLaunchProgress& progress) {
        if (progressProxy) progressProxy->reportProgress(progress.xpcDictionary());
      },
      tasks_, platform_);
  connection.setExportedObject(std::move(service));
  connection.resume();
  return true;
}

}  // namespace pellam
