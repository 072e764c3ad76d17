// Measures what a user waits for between "Install and Relaunch" and the running helper: connecting to the
// launcher service, its checks and the submission of the job; and how long the service's self-test takes.
// usage: launch_benchmark APPLICATION SERVICE-NAME BUNDLE-IDENTIFIER [COUNT]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/launcher_client.h"
#include "host/service_launcher_connection.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/service_connection.h"

namespace {

using namespace pellam;

// Prints what one turn of the work takes; false as soon as one turn fails.
bool measure(const char* name, const char* target, int count, const std::function<bool()>& work) {
  std::vector<double> milliseconds;
  for (int turn = 0; turn < count; ++turn) {
    const auto begin = std::chrono::steady_clock::now();
    if (!work()) {
      (void)std::fprintf(stderr, "%s: failed\n", name);
      return false;
    }
    milliseconds.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  std::sort(milliseconds.begin(), milliseconds.end());
  const auto at = [&](std::size_t percent) {
    return milliseconds[(milliseconds.size() - 1) * percent / 100];
  };
  std::printf("%s, median of %d\t%.2f ms\t-\t95 %%: %.2f ms\t%s\n", name, count, at(50), at(95), target);
  return true;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount < 4) {
    (void)std::fputs("usage: launch_benchmark APPLICATION SERVICE-NAME BUNDLE-IDENTIFIER [COUNT]\n", stderr);
    return 64;
  }
  const std::filesystem::path application = std::filesystem::canonical(arguments[1]);
  const std::string service = arguments[2];
  const int count = argumentCount > 4 ? std::max(1, std::atoi(arguments[4])) : 100;

  OrvoAppBundleReplacementRequest request;
  request.stagedApplicationURL = "/nonexistent/New.app";
  request.installedApplicationURL = application;
  request.hostIdentity = OrvoAppBundleUpdateHostIdentity{arguments[3], "", 0, std::nullopt, false};
  const auto factory = std::make_shared<OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory>(
      makeSystemServiceConnections(application, makeSystemFileSystem(),
                                   makeSystemBundleLoader(makeSystemFileSystem())));
  OrvoAppBundleXPCUpdateHelperLauncher launcher(factory, service, serviceLaunchTimeouts, systemSleep);
  const auto tools = makeSystemChildProcessRunner(application / "Contents" / "MacOS");
  const auto program = application / "Contents" / "XPCServices" / (service + ".xpc") / "Contents" / "MacOS" /
                       "PellamUpdateInstallerLauncherService";
  const bool passed =
      measure("--check-runtime", "under 10 ms", count,
              [&] { return tools->run(program, {"--check-runtime"}).terminationStatus == 0; }) &&
      measure("from the hand-off to the running helper", "under 50 ms", count, [&] {
        return launcher.launchReplacement(request, [](const auto&) {}) ==
               OrvoAppBundleReplacementLaunchResult::launched();
      });
  return passed ? 0 : 1;
}
