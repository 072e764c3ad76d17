#include "examples/editor/editor_update.h"

#include "examples/editor/logged_progress.h"
#include "pellam/errors.h"

namespace pellam {

bool updateIfOffered(UpdateHost& host, const URL& feed, EditorLog& log,
                     const CancellationToken& cancellation) {
  try {
    const auto failure = host.takeFailureReport();
    if (failure) log.write("report " + failure->description);
    const UpdateDecision decision =
        host.decide(host.fetch(feed, cancellation), {}, [](const UpdateOffer&) { return true; });
    if (!decision.offer || !decision.offer->isDue) {
      log.write("decision nothing to offer");
      return false;
    }
    log.write("decision offer " + decision.offer->version);
    // What has just failed is not tried again at once: the application would replace itself for ever.
    if (failure) return false;
    const InstallResult result = host.install(
        *decision.offer,
        {.window = std::make_shared<LoggedProgress>(log),
         .launchProgress = [&](const auto& progress) { log.write("launch " + launchText(progress)); },
         .cancellation = cancellation});
    if (result.outcome != InstallResult::Outcome::handedOver) return false;
    log.write("staged " + result.stagedBundle.string());
    log.write("launched");
    return true;
  } catch (const OrvoUpdateInstallerError& error) {
    log.write("failed " + std::string(error.caseName()) + ": " + installerErrorText(error));
  } catch (const std::exception& error) {
    log.write(std::string("failed ") + error.what());
  }
  return false;
}

}  // namespace pellam
