#include <cstdio>
#include <exception>

#include "examples/editor/editor_console.h"
#include "examples/editor/editor_windows.h"
#include "platform/file_system.h"
#include "platform/interrupts.h"
#include "platform/process_information.h"

// A small application that keeps itself current. Its Info.plist says where its feed is ("PellamFeedURL"),
// where it logs ("EditorLogPath"), and whether it does without windows ("EditorHasNoWindows").
// What an application copies stands in examples/editor/updating, or, with windows, in editor_windows.cpp; the
// rest borrows the project's seams so that the sample needs no libraries of its own.
int main() {
  using namespace pellam;
  CancellationSource cancellation;
  const auto interrupts = watchInterrupts([&] { cancellation.cancel(); });

  const std::shared_ptr<FileSystem> fileSystem = makeSystemFileSystem();
  const std::shared_ptr<BundleLoading> bundles = makeSystemBundleLoader(fileSystem);
  const std::optional<Bundle> bundle = bundles->bundleAt(bundles->mainBundlePath());
  if (!bundle || !bundle->bundleIdentifier()) {
    (void)std::fprintf(stderr, "Editor: this program runs from inside its application bundle\n");
    return 1;
  }
  const PellamAppIdentity identity{
      bundle->informationString("CFBundleDisplayName"), *bundle->bundleIdentifier(),
      bundle->informationString("CFBundleShortVersionString"), bundle->informationString("CFBundleVersion")};
  EditorLog log(bundle->informationString("EditorLogPath"), identity,
                makeSystemProcessInformation()->processIdentifier(), std::make_shared<PellamSystemClock>());
  log.write("started");
  try {
    const PropertyListValue* hasNoWindows = bundle->informationDictionary.find("EditorHasNoWindows");
    if (hasNoWindows != nullptr && hasNoWindows->numberAsBoolean().value_or(false)) {
      runEditorWithoutWindows(*bundle, log, cancellation.token());
    } else {
      runEditorWithWindows(*bundle, *bundles, log, cancellation.token());
    }
  } catch (const std::exception& error) {
    (void)std::fprintf(stderr, "Editor: %s\n", error.what());
    log.write(std::string("failed ") + error.what());
    return 1;
  }
  log.write("ended");
  return 0;
}
