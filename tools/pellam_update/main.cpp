#include <algorithm>
#include <cstdio>
#include <thread>

#include "foundation/safe_text.h"
#include "host/system_host.h"
#include "pellam/main_thread_queue.h"
#include "platform/interrupts.h"
#include "platform/terminal.h"
#include "platform/uptime.h"
#include "platform/user_languages.h"
#include "tools/pellam_update/update_session.h"

namespace {

using namespace pellam;

void complain(const std::string& message) {
  std::fprintf(stderr, "pellam-update: %s\n", visibleText(message).c_str());
}

UpdateReporter makeReporter(bool printsJSON) {
  return {stdout,
          printsJSON                   ? UpdateReporter::Form::json
          : standardOutputIsTerminal() ? UpdateReporter::Form::terminal
                                       : UpdateReporter::Form::plain,
          systemUptimeNanoseconds};
}

// Only somebody at a terminal can be asked; everybody else is told how to agree.
enum class Asking { atTheTerminal, tellsHow, silent };
bool confirm(Asking asking, const CancellationToken& cancellation) {
  if (asking == Asking::tellsHow) std::printf("Run again with --yes to install it.\n");
  if (asking != Asking::atTheTerminal) return false;
  std::printf("Install it now? [y/N] ");
  std::fflush(stdout);
  const std::optional<std::string> answer = readTerminalLine(cancellation);
  if (!answer) std::printf("\n");
  return answer && (*answer == "y" || *answer == "Y" || *answer == "yes");
}

UpdateCheckOptions checkOptions(const UpdateCommandLine& line, const ProcessInformation& process) {
  UpdateCheckOptions options;
  options.reason = line.isAutomatic ? CheckReason::automatic : CheckReason::manual;
  options.checkForBetaReleases = line.acceptsBeta;
  options.preferredLanguageCode = line.language ? line.language : preferredUserLanguage();
  options.acceptedSKUs = line.acceptedSKUs;
  options.currentOSVersion =
      line.operatingSystemVersion ? *line.operatingSystemVersion : process.operatingSystemVersion().text();
  options.staggerGroup = line.staggerGroup;
  options.shouldConfirmNoUpdatesDialog = !line.isAutomatic;
  options.remembersWhatIsShown = !line.checkOnly;
  return options;
}

UpdateExitStatus run(const UpdateCommandLine& line, UpdateReporter& reporter) {
  const auto mainThread = std::make_shared<MainThreadQueue>();
  CancellationSource cancellation;
  const auto interrupts = watchInterrupts([&] { cancellation.cancel(); });

  SystemHost host = makeSystemHost(line.application, line.stateFolder, mainThread);
  const UpdateCheckOptions options = checkOptions(line, *host.process);
  const bool canAsk = standardOutputIsTerminal() && standardInputIsTerminal();
  const Asking asking = line.printsJSON ? Asking::silent : canAsk ? Asking::atTheTerminal : Asking::tellsHow;
  UpdateSession session({.application = host.application,
                         .check = host.check,
                         .coordinator = host.coordinator,
                         .reports = host.reports,
                         .identifiers = host.identifiers,
                         .mainThread = mainThread,
                         .reporter = reporter,
                         .confirm = [&](const CancellationToken& token) { return confirm(asking, token); },
                         .complain = complain},
                        line, options);
  UpdateExitStatus status = UpdateExitStatus::failed;
  std::thread worker([&] {
    status = session.run(cancellation.token());
    mainThread->stop();
  });
  mainThread->run();
  worker.join();
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  UpdateReporter reporter = makeReporter(std::find(words.begin(), words.end(), "--json") != words.end());
  try {
    const UpdateCommandLine line = parseUpdateCommandLine(words);
    if (line.showsHelp) {
      std::fputs(updateUsageText().c_str(), stdout);
      return 0;
    }
    return static_cast<int>(run(line, reporter));
  } catch (const UsageError& error) {
    reporter.failed("usage", error.what());
    complain(std::string(error.what()) + " (see --help)");
    return static_cast<int>(UpdateExitStatus::usage);
  } catch (const std::exception& error) {
    reporter.failed(bridge(error).domain, error.what());
    complain(error.what());
    return static_cast<int>(UpdateExitStatus::failed);
  }
}
