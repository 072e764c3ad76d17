#include <cstdio>

#include "installer/exit_status.h"
#include "installer/launchd_relauncher.h"
#include "installer/replacement_run.h"
#include "launcher-protocol/helper_command_line.h"
#include "platform/authorization.h"
#include "platform/bundle_loading.h"
#include "platform/interrupts.h"
#include "platform/job_control.h"
#include "platform/system_log.h"
#include "platform/workspace.h"

namespace {

using namespace pellam;

ReplacementRun::Collaborators systemCollaborators(const OrvoAppBundleReplacementRequest& request) {
  ReplacementRun::Collaborators with;
  with.fileSystem = makeSystemFileSystem();
  const std::shared_ptr<BundleLoading> bundles = makeSystemBundleLoader(with.fileSystem);
  // The tools of the bundle that this helper belongs to, never those of the staged one.
  with.childProcesses = makeSystemChildProcessRunner(bundles->mainBundlePath() / "Contents/MacOS");
  with.processInformation = makeSystemProcessInformation();
  with.effectiveUser = makeSystemEffectiveUserSwitching();
  with.identifiers = makeSystemUUIDGenerator();
  with.clock = std::make_shared<PellamSystemClock>();
  with.privilegeChecker =
      std::make_shared<OrvoAppBundleReplacementProcessPrivilegeChecker>(with.processInformation);
  with.relauncher =
      std::make_shared<OrvoAppBundleLaunchdRelauncher>(OrvoAppBundleLaunchdRelauncher::Collaborators{
          .workspaceRelauncher = std::make_shared<OrvoAppBundleWorkspaceRelauncher>(
              makeSystemWorkspace(with.fileSystem, bundles)),
          .privilegeChecker = with.privilegeChecker,
          .authorizationProvider = std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(
              makeSystemSecurityAuthorizationClient()),
          .jobSubmitter = std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(
              makeSystemJobControl(with.fileSystem, bundles)),
          .bundles = bundles,
          .launchUserContext = request.launchUserContext});
  with.systemLog = makeSystemLog();
  with.refuseInterrupts = refuseInterrupts;
  return with;
}

void complain(const std::string& message) {
  std::fprintf(stderr, "PellamUpdateInstaller: %s\n", visibleText(message).c_str());
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const std::vector<std::string> words(arguments + 1, arguments + count);
    const HelperCommandLine line = parseHelperCommandLine(words);
    ReplacementRun run(systemCollaborators(line.request));
    const ReplacementRun::Outcome outcome = run.run(line);
    if (outcome.failure) complain(*outcome.failure);
    return outcome.exitStatus;
  } catch (const HelperCommandLineError& error) {
    complain(error.what());
    return exit_status::malformedCommandLine;
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_status::unexpectedError;
  }
}
