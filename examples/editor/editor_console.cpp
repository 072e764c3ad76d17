#include "examples/editor/editor_console.h"

#include <thread>

#include "examples/editor/updating/editor_update.h"
#include "foundation/decimal.h"
#include "pellam/main_thread_queue.h"
#include "services/sleeping.h"

namespace pellam {

void runEditorWithoutWindows(const Bundle& bundle, EditorLog& log, const CancellationToken& cancellation) {
  const auto mainThread = std::make_shared<MainThreadQueue>();
  const auto ending = cancellation.onCancel([&] { mainThread->stop(); });
  UpdateHost host({.bundle = bundle.path, .mainThread = mainThread});
  const auto linger = std::chrono::seconds(
      parseDecimal<std::int64_t>(bundle.informationString("EditorLingerSeconds")).value_or(0));
  const std::optional<URL> feed = URL::parse(bundle.informationString("PellamFeedURL"));
  std::thread worker([&] {
    if (feed) {
      (void)updateIfOffered(
          host, *feed, [&](const std::string& line) { log.write(line); }, cancellation);
    }
    try {
      systemSleep(static_cast<std::uint64_t>(std::chrono::nanoseconds(linger).count()), cancellation);
    } catch (const OperationCancelled&) {
      log.write("interrupted");
    }
    mainThread->stop();
  });
  mainThread->run();
  worker.join();
}

}  // namespace pellam
