#include "host/system_host.h"

#include "host/launcher_client.h"
#include "host/xpc_service_connection.h"
#include "installer/code_signature_validator.h"
#include "launcher-protocol/service_info.h"
#include "platform/service_connection.h"
#include "platform/settings_store.h"
#include "platform/system_log.h"
#include "platform/url_session.h"

namespace pellam {

SystemHost makeSystemHost(const std::filesystem::path& hostBundle,
                          const std::optional<std::filesystem::path>& settingsFolder,
                          std::shared_ptr<MainThread> mainThread) {
  SystemHost host;
  host.fileSystem = makeSystemFileSystem();
  host.bundles = makeSystemBundleLoader(host.fileSystem);
  host.process = makeSystemProcessInformation();
  host.identifiers = makeSystemUUIDGenerator();
  host.clock = std::make_shared<PellamSystemClock>();
  const std::filesystem::path bundle =
      host.fileSystem->resolvingSymlinks(std::filesystem::absolute(hostBundle));
  const std::shared_ptr<ChildProcessRunning> tools = makeSystemChildProcessRunner(bundle / "Contents/MacOS");
  host.application = readInstalledApplication(bundle, *host.bundles, *tools);
  const std::string& identifier = host.application.identity.bundleIdentifier;

  const std::filesystem::path settingsFile =
      settingsFolder ? *settingsFolder / (identifier + ".plist")
                     : systemSettingsFile(host.process->homeDirectory(), identifier);
  host.settings = makeSystemSettingsStore(settingsFile, host.fileSystem);
  host.network = std::make_shared<PellamURLSessionNetworkClient>();
  host.check = std::make_shared<UpdateCheck>(host.network, std::make_shared<UpdateSettings>(host.settings),
                                             host.clock);
  host.reports = std::make_shared<OrvoAppBundleUpdateFailureReportStore>(host.fileSystem, host.clock);

  const auto launcherClient = std::make_shared<OrvoAppBundleXPCUpdateHelperLauncher>(
      std::make_shared<OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory>(
          makeSystemServiceConnections(bundle)),
      OrvoAppBundleInstallerLauncherServiceInfo::serviceName(identifier),
      hostPreAuthorizationTimeoutNanoseconds, hostPostAuthorizationTimeoutNanoseconds);
  host.coordinator = std::make_shared<OrvoUpdateInstallerCoordinator>(
      host.fileSystem, std::make_shared<OrvoUpdateURLSessionInstallerNetworkClient>(makeSystemURLSessions()),
      std::make_shared<OrvoUpdateSystemUnzipper>(tools, makeSystemLog()),
      std::make_shared<OrvoUpdateWorkspaceInstallerLauncher>(makeSystemWorkspace()),
      std::make_shared<OrvoAppBundleCodeSignatureValidator>(host.fileSystem, tools, host.process,
                                                            makeSystemLog()),
      launcherClient,
      [process = host.process] { return OrvoAppBundleLaunchdUserContext::currentProcess(*process); },
      OrvoUpdateInstallerCoordinatorEnvironment{std::move(mainThread), host.bundles, bundle, host.identifiers,
                                                host.clock, makeSystemLog()});
  return host;
}

}  // namespace pellam
