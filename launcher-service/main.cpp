#include <cstdio>
#include <cstring>
#include <memory>

#include "launcher-protocol/replacement_request.h"
#include "launcher-service/helper_launcher.h"
#include "launcher-service/launch_tasks.h"
#include "launcher-service/service_delegate.h"
#include "platform/service_connection.h"
#include "platform/uptime.h"

int main(int argumentCount, char** arguments) {
  if (argumentCount == 2 && std::strcmp(arguments[1], "--check-runtime") == 0) {
    return std::puts("Pellam updater runtime check passed") >= 0 && std::fflush(stdout) == 0 ? 0 : 1;
  }
  using namespace pellam;
  ServicePlatform platform;
  platform.fileSystem = makeSystemFileSystem();
  platform.bundles = makeSystemBundleLoader(platform.fileSystem);
  platform.jobControl = makeSystemJobControl(platform.fileSystem, platform.bundles);
  // Tools and helper come from the application that embeds this service, two folders above the service's own.
  const auto contents = platform.bundles->mainBundlePath().parent_path().parent_path();
  const JobsAgentScope scope{contents / "MacOS" / OrvoAppBundleUpdateHelperIdentity::executableName,
                             OrvoAppBundleLaunchdHelperLauncher::launchdLabelEnding};
  if (const auto status = runAsJobsAgent(argumentCount, arguments, *platform.jobControl, scope))
    return *status;

  // A system that hands its main thread over leaves what the listener calls to the process, up to its very
  // end: nothing of it is ever destroyed.
  static const auto& listener = *new auto(makeServiceListener());
  platform.processes = makeSystemChildProcessRunner(contents / "MacOS");
  platform.processInformation = makeSystemProcessInformation();
  platform.identifiers = makeSystemUUIDGenerator();
  platform.securityClient = makeSystemSecurityAuthorizationClient();
  platform.uptime = systemUptimeNanoseconds;

  static const auto& tasks = *new auto(std::make_shared<LaunchTasks>());
  static auto& delegate = *new PellamUpdateInstallerLauncherServiceDelegate(std::move(platform), tasks);
  listener->setDelegate(&delegate);
  const int status = listener->resume();
  tasks->waitUntilIdle();
  return status;
}
