#include <cstdio>
#include <thread>

#include "examples/editor/editor_update.h"
#include "foundation/decimal.h"
#include "foundation/sleeping.h"
#include "host/main_thread_queue.h"
#include "host/system_host.h"
#include "platform/interrupts.h"

// A small application that keeps itself current. Its Info.plist says where its feed is ("PellamFeedURL"),
// where it logs ("EditorLogPath"), and for how many seconds it goes on running when there is nothing left to
// do
// ("EditorLingerSeconds").
int main() {
  using namespace pellam;
  const auto mainThread = std::make_shared<MainThreadQueue>();
  CancellationSource cancellation;
  const auto interrupts = watchInterrupts([&] {
    cancellation.cancel();
    mainThread->stop();
  });

  const std::shared_ptr<FileSystem> fileSystem = makeSystemFileSystem();
  const std::shared_ptr<BundleLoading> bundles = makeSystemBundleLoader(fileSystem);
  const std::optional<Bundle> bundle = bundles->bundleAt(bundles->mainBundlePath());
  if (!bundle || !bundle->bundleIdentifier()) {
    std::fprintf(stderr, "Editor: this program runs from inside its application bundle\n");
    return 1;
  }
  SystemHost host = makeSystemHost(bundle->path, std::nullopt, mainThread);
  EditorLog log(bundle->informationString("EditorLogPath"), host.application.identity,
                host.process->processIdentifier(), host.clock);
  log.write("started");

  const auto linger = std::chrono::seconds(
      parseDecimal<std::int64_t>(bundle->informationString("EditorLingerSeconds")).value_or(0));
  const std::optional<URL> feed = URL::parse(bundle->informationString("PellamFeedURL"));
  std::thread worker([&] {
    if (feed) {
      EditorUpdate update(host.application, host.check, host.coordinator, host.reports, host.identifiers,
                          log);
      UpdateCheckOptions options;
      options.currentOSVersion = host.process->operatingSystemVersion().text();
      (void)update.updateIfOffered(*feed, options, *mainThread, cancellation.token());
    }
    try {
      systemSleep(static_cast<std::uint64_t>(std::chrono::nanoseconds(linger).count()), cancellation.token());
    } catch (const OperationCancelled&) {
      log.write("interrupted");
    }
    mainThread->stop();
  });
  mainThread->run();
  worker.join();
  log.write("ended");
  return 0;
}
