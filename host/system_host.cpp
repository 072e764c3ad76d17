#include "host/system_host.h"

#include "foundation/user_agent.h"
#include "host/launcher_client.h"
#include "host/service_launcher_connection.h"
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
  host.settings = makeSystemSettingsStore(settingsFile, host.fileSystem, makeSystemLog());
  const std::shared_ptr<URLSessionMaking> sessions =
      makeSystemURLSessions(userAgentText(host.application.identity));
  host.network = std::make_shared<PellamURLSessionNetworkClient>(sessions);
  host.check = std::make_shared<UpdateCheck>(host.network, std::make_shared<UpdateSettings>(host.settings),
                                             host.clock);
  host.reports = std::make_shared<OrvoAppBundleUpdateFailureReportStore>(host.fileSystem, host.clock);

  const auto launcherClient = std::make_shared<OrvoAppBundleXPCUpdateHelperLauncher>(
      std::make_shared<OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory>(
          makeSystemServiceConnections(bundle, host.fileSystem, host.bundles)),
      OrvoAppBundleInstallerLauncherServiceInfo::serviceName(identifier), hostLaunchTimeouts, systemSleep);
  host.coordinator =
      std::make_shared<OrvoUpdateInstallerCoordinator>(OrvoUpdateInstallerCoordinator::Collaborators{
          .fileManager = host.fileSystem,
          .networkClient = std::make_shared<OrvoUpdateURLSessionInstallerNetworkClient>(sessions),
          .unzipper = std::make_shared<OrvoUpdateSystemUnzipper>(tools, makeSystemLog()),
          .launcher = std::make_shared<OrvoUpdateWorkspaceInstallerLauncher>(
              makeSystemWorkspace(host.fileSystem, host.bundles)),
          .appBundleValidator = std::make_shared<OrvoAppBundleCodeSignatureValidator>(
              host.fileSystem, tools, host.process, makeSystemLog()),
          .replacementLauncher = launcherClient,
          .launchUserContextProvider =
              [process = host.process] { return OrvoAppBundleLaunchdUserContext::currentProcess(*process); },
          .environment = {.mainThread = std::move(mainThread),
                          .bundles = host.bundles,
                          .localizationBundle = bundle,
                          .identifiers = host.identifiers,
                          .clock = host.clock,
                          .systemLog = makeSystemLog(),
                          .effectiveUserID = host.process->effectiveUserID()}});
  return host;
}

}  // namespace pellam
